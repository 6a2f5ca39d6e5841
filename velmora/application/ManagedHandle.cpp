#include "velmora/application/ManagedHandle.h"

namespace Velmora
{

ReleaserBase::~ReleaserBase() = default;

} // namespace Velmora

#include "velmora/application/Cloneable.h"

namespace Velmora
{

Cloneable::~Cloneable() = default;

} // namespace Velmora

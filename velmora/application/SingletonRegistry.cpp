#include "velmora/application/SingletonRegistry.h"

namespace Velmora
{

SingletonRegistry::~SingletonRegistry() = default;

} // namespace Velmora

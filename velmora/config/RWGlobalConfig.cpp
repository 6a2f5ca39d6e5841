#include "velmora/config/RWGlobalConfig.h"

namespace Velmora
{

RWGlobalConfig::~RWGlobalConfig() = default;

} // namespace Velmora

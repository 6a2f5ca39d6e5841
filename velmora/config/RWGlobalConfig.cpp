// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/RWGlobalConfig.h"

namespace Velmora
{

RWGlobalConfig::~RWGlobalConfig() = default;

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/Version.h"

namespace Velmora
{

int getInfraVersion() noexcept { return VELMORA_VERSION; }

} // namespace Velmora

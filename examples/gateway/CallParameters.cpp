// SPDX-License-Identifier: BSD-2-Clause

#include "CallParameters.h"

#include "RequiredParameters.h"

namespace GatewayExample
{

std::chrono::milliseconds CallParameters::duration(const Velmora::ROConfiguration& in_config,
                                                   const char* in_szName)
{
    return std::chrono::milliseconds(requiredPositiveInt(in_config, in_szName));
}

} // namespace GatewayExample

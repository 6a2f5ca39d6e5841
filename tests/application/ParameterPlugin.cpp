// SPDX-License-Identifier: BSD-2-Clause

// A plug-in that registers a parameter when it is opened. Its texts are unmapped when it is closed.

#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"

namespace
{

using namespace Velmora;

constexpr ProgramParameter s_parameters[] = {{.szName = "plugin.greeting",
                                              .type = ParameterValue::STRING_TYPE,
                                              .szDefault = "hello",
                                              .szDescription = "What the plug-in says."}};

[[maybe_unused]] const bool s_bRegistered = ParameterInfoDB::registerParameters(s_parameters);

} // namespace

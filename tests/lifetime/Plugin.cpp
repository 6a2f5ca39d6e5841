// SPDX-License-Identifier: BSD-2-Clause

// A module that is opened by a program without the library.

#include "velmora/logging/LogMacros.h"

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.Plugin")

namespace
{

struct InStatics
{
    InStatics()
    {
        Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);
        VELMORA_FILE_LOG_WARN("plugin static constructor");
    }
    ~InStatics() { VELMORA_FILE_LOG_WARN("plugin static destructor"); }
} s_inStatics;

} // namespace

extern "C" [[gnu::visibility("default")]] void logFromPlugin()
{
    VELMORA_FILE_LOG_WARN("plugin function");
}

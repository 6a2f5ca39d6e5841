#include "velmora/application/Debug.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <log4cplus/logger.h>

#include <cstdlib>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Debug)

namespace Velmora
{

void abort()
{
    if (Logger::configurationOK())
        VELMORA_FILE_LOG_FATAL("aborting");
    log4cplus::Logger::shutdown();
    std::abort();
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdLogger.h"

using namespace Velmora;

/// Logs to the console with the default configuration.
int main()
{
    Logger().setLogLevel(WARN_LOG_LEVEL);
    LoggingIdLogger logger("keswardin.test");
    VELMORA_LOG(logger, WARN_LOG_LEVEL, "first");
    logger.addLoggingId("leg=2");
    logger.logCallId("x@y");
    VELMORA_LOG(logger, ERROR_LOG_LEVEL, "two\nlines");
    VELMORA_LOG(logger, FATAL_LOG_LEVEL, "last");
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LibraryLoggers.h"

// Loggers of sources that log no line. Configurations may name them.
VELMORA_LIBRARY_LOGGER(LoggingIdEvent)
VELMORA_LIBRARY_LOGGER(RemoteSyslogAppender)

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/AceCleanupLogger.h"

/// Gives a source file its own logger. Used once, at the top of the file and outside any namespace:
///
///     VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.Call")
///
/// It defines, private to the file:
/// - `fileScopeLogger()`: returns the logger, which the first call makes; the pointer stays the
///   same when the exit list deletes the logger;
/// - `liveFileScopeLogger()`: returns the logger, or null once the exit list has deleted it;
/// - `fileScopeLoggerName()`: returns its name;
/// - `__force_init_logger__`: makes the logger when the file's image is loaded.
///
/// Thread-safety: the functions may be called from any thread.
#define VELMORA_FILE_SCOPE_LOGGER(name)                             \
    namespace                                                       \
    {                                                               \
    [[maybe_unused]] ::Velmora::AceCleanupLogger* fileScopeLogger() \
    {                                                               \
        static ::Velmora::AceCleanupLogger* const s_pLogger =       \
            new ::Velmora::AceCleanupLogger(name);                  \
        return s_pLogger;                                           \
    }                                                               \
    VELMORA_FILE_SCOPE_LOGGER_HELPERS(name, fileScopeLogger())      \
    }

/// The part that all file-scope loggers share; not for direct use.
#define VELMORA_FILE_SCOPE_LOGGER_HELPERS(name, firstUse)                     \
    [[maybe_unused]] const ::Velmora::AceCleanupLogger* liveFileScopeLogger() \
    {                                                                         \
        return ::Velmora::AceCleanupLogger::ifAlive(fileScopeLogger());       \
    }                                                                         \
    [[maybe_unused]] const char* fileScopeLoggerName() { return name; }       \
    [[maybe_unused]] const ::Velmora::AceCleanupLogger* const __force_init_logger__ = firstUse;

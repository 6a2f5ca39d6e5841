#pragma once

#include "velmora/logging/AceCleanupLogger.h"

/// Gives a source file its own logger. Stands once at the top of the file, outside any namespace:
///
///     VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.Call")
///
/// It defines, private to the file:
/// - `fileScopeLogger()`: the logger, made on the first call and the same on each later one; its
///   pointer stays as it is when the exit list deletes the logger;
/// - `liveFileScopeLogger()`: the logger, or null once the exit list has deleted it;
/// - `fileScopeLoggerName()`: its name;
/// - `__force_init_logger__`, which makes the logger when the file's image is loaded.
///
/// Thread-safety: the functions may be called on any thread.
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

/// The part that all file-scope loggers share; not for use on its own.
#define VELMORA_FILE_SCOPE_LOGGER_HELPERS(name, firstUse)                     \
    [[maybe_unused]] const ::Velmora::AceCleanupLogger* liveFileScopeLogger() \
    {                                                                         \
        return ::Velmora::AceCleanupLogger::ifAlive(fileScopeLogger());       \
    }                                                                         \
    [[maybe_unused]] const char* fileScopeLoggerName() { return name; }       \
    [[maybe_unused]] const ::Velmora::AceCleanupLogger* const __force_init_logger__ = firstUse;

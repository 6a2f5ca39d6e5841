// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/LogText.h"
#include "velmora/logging/TraceScope.h"

/// The logging macros. Each is one statement, and takes as text what would follow `<<`:
///
///     VELMORA_LOG_INFO("call from " << caller << " took " << milliseconds << " ms");
///
/// The arguments are evaluated only if the line will be appended: if its level is enabled and the
/// logger has an appender. There are three forms:
///
/// - `VELMORA_LOG_<LEVEL>(text)`: in a member function of a class with a logger
///   (`ObjectWithLogger`); logs through that logger;
/// - `VELMORA_FILE_LOG_<LEVEL>(text)`: elsewhere; logs through the logger of the source file
///   (VELMORA_FILE_SCOPE_LOGGER), and drops the line once the exit list has deleted that logger;
/// - `VELMORA_LOG(logger, level, text)`: with any logger; evaluates logger and level once.

#define VELMORA_LOG_DEBUG(...) \
    VELMORA_LOG(this->getLogger(), ::Velmora::DEBUG_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_LOG_INFO(...) VELMORA_LOG(this->getLogger(), ::Velmora::INFO_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_LOG_WARN(...) VELMORA_LOG(this->getLogger(), ::Velmora::WARN_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_LOG_ERROR(...) \
    VELMORA_LOG(this->getLogger(), ::Velmora::ERROR_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_LOG_FATAL(...) \
    VELMORA_LOG(this->getLogger(), ::Velmora::FATAL_LOG_LEVEL, __VA_ARGS__)

#define VELMORA_FILE_LOG_DEBUG(...) VELMORA_FILE_LOG(::Velmora::DEBUG_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_FILE_LOG_INFO(...) VELMORA_FILE_LOG(::Velmora::INFO_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_FILE_LOG_WARN(...) VELMORA_FILE_LOG(::Velmora::WARN_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_FILE_LOG_ERROR(...) VELMORA_FILE_LOG(::Velmora::ERROR_LOG_LEVEL, __VA_ARGS__)
#define VELMORA_FILE_LOG_FATAL(...) VELMORA_FILE_LOG(::Velmora::FATAL_LOG_LEVEL, __VA_ARGS__)

#define VELMORA_LOG(logger, level, ...)                                                           \
    VELMORA_LOG_AS(VELMORA_UNIQUE_NAME(velmoraLogger), VELMORA_UNIQUE_NAME(velmoraLevel), logger, \
                   level, __VA_ARGS__)

#define VELMORA_FILE_LOG(level, ...)                                                           \
    VELMORA_FILE_LOG_AS(VELMORA_UNIQUE_NAME(velmoraLogger), VELMORA_UNIQUE_NAME(velmoraLevel), \
                        level, __VA_ARGS__)

/// Traces the enclosing scope: logs "entering `name`" and "exiting `name`" at TRACE. Declares the
/// `TraceScope` of the scope.
#define VELMORA_TRACE_SCOPE(name)                                       \
    const ::Velmora::TraceScope VELMORA_UNIQUE_NAME(velmoraTraceScope)( \
        this->getLogger(), #name, this->getLogger().getLogLevel())
#define VELMORA_FILE_TRACE_SCOPE(name)                                                          \
    const ::Velmora::TraceScope VELMORA_UNIQUE_NAME(velmoraTraceScope)(::liveFileScopeLogger(), \
                                                                       #name)

// The macros below implement those above. Each use gives the variables unique names, so that a use
// inside an argument of another one does not hide them.

#define VELMORA_UNIQUE_NAME(name) VELMORA_JOIN(name, __COUNTER__)
#define VELMORA_JOIN(first, second) VELMORA_JOIN_EXPANDED(first, second)
#define VELMORA_JOIN_EXPANDED(first, second) first##second

#define VELMORA_LOG_AS(loggerVariable, levelVariable, logger, level, ...) \
    do                                                                    \
    {                                                                     \
        const auto& loggerVariable = (logger);                            \
        const ::Velmora::LogLevel levelVariable = (level);                \
        VELMORA_LOG_IF_OPEN(loggerVariable, levelVariable, __VA_ARGS__);  \
    } while (false)

#define VELMORA_FILE_LOG_AS(loggerVariable, levelVariable, level, ...)                         \
    do                                                                                         \
    {                                                                                          \
        if (const ::Velmora::AceCleanupLogger* const loggerVariable = ::liveFileScopeLogger()) \
        {                                                                                      \
            const ::Velmora::LogLevel levelVariable = (level);                                 \
            VELMORA_LOG_IF_OPEN((*loggerVariable), levelVariable, __VA_ARGS__);                \
        }                                                                                      \
    } while (false)

#define VELMORA_LOG_IF_OPEN(logger, level, ...) \
    VELMORA_LOG_IF_OPEN_AS(VELMORA_UNIQUE_NAME(velmoraText), logger, level, __VA_ARGS__)

#define VELMORA_LOG_IF_OPEN_AS(textVariable, logger, level, ...)           \
    if (logger.isEnabledFor(level) && logger.getChainedNumAppender() != 0) \
    {                                                                      \
        ::Velmora::LogText textVariable;                                   \
        textVariable.stream() << __VA_ARGS__;                              \
        logger.forcedLog(level, textVariable.text(), __FILE__, __LINE__);  \
    }                                                                      \
    else                                                                   \
        static_cast<void>(0)

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/ThreadAnnotations.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/logging/LogLevel.h"
#include "velmora/logging/LogText.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velmora
{

class AceCleanupLogger;

/// What is wrong with a configuration, for the log that is configured from it: the lines at WARN
/// and ERROR that its loads log before that log exists, and for some names the line that states
/// where the name is and what to write.
///
/// Keeps at most 1000 lines, with at most 1 MiB of text, and counts the others.
///
/// Thread-safety: all operations may be called on any thread. No foreign code runs under the lock.
class LoadProblems
{
  public:
    LoadProblems() = default;
    LoadProblems(const LoadProblems&) = delete;
    LoadProblems& operator=(const LoadProblems&) = delete;

    /// Logs a line whose level is enabled, and keeps it unless `in_pKeeper` is null. A line about
    /// an unknown name is kept with that name.
    static void log(LoadProblems* in_pKeeper, const AceCleanupLogger& in_logger,
                    const char* in_szLogger, LogLevel in_level, const std::string& in_strText,
                    const char* in_szFile, int in_iLine, std::string_view in_unknownName = {});

    /// Keeps the lines from now on.
    void keep();
    /// Keeps no more lines: they reach the configured log.
    void stopKeeping();

    /// Logs the kept lines again, to the same loggers at the same levels, and forgets them. Does
    /// nothing while lines are kept. Returns whether lines reach the configured log by now.
    bool logAgain();

    /// Keeps the line that states where a name is and what to write.
    void note(const std::string& in_strName, std::string in_strText);
    /// Returns that line; an empty text if there is none.
    [[nodiscard]] std::string noteOf(const std::string& in_strName) const;

    /// Forgets the kept lines about an unknown name, unless lines are kept: the configured log has
    /// got them in another way.
    void forgetUnknown(std::string_view in_name);

  private:
    struct Line
    {
        const char* szLogger;
        LogLevel level;
        std::string strText;
        std::string strUnknownName;
    };

    void add(Line in_line);

    static constexpr std::size_t s_uiMostLines = 1000;
    static constexpr std::size_t s_uiMostBytes = std::size_t{1024} * 1024;

    mutable GatedMutex m_mutex;
    bool m_bKeeps VELMORA_GUARDED_BY(m_mutex) = true;
    std::vector<Line> m_lines VELMORA_GUARDED_BY(m_mutex);
    std::size_t m_uiBytes VELMORA_GUARDED_BY(m_mutex) = 0;
    /// The number of lines that were not kept.
    std::size_t m_uiMore VELMORA_GUARDED_BY(m_mutex) = 0;
    std::unordered_map<std::string, std::string> m_notes VELMORA_GUARDED_BY(m_mutex);
};

} // namespace Velmora

/// Logs as VELMORA_FILE_LOG does, and keeps the line in a `LoadProblems` unless the pointer is
/// null.
#define VELMORA_LOG_PROBLEM(keeper, level, ...) \
    VELMORA_LOG_PROBLEM_OF_NAME(keeper, level, std::string_view(), __VA_ARGS__)

/// Does the same for a line about an unknown name.
#define VELMORA_LOG_PROBLEM_OF_NAME(keeper, level, name, ...)                                    \
    do                                                                                           \
    {                                                                                            \
        const ::Velmora::AceCleanupLogger* const velmoraProblemLogger = ::liveFileScopeLogger(); \
        if (velmoraProblemLogger != nullptr && velmoraProblemLogger->isEnabledFor(level))        \
        {                                                                                        \
            ::Velmora::LogText velmoraProblemText;                                               \
            velmoraProblemText.stream() << __VA_ARGS__;                                          \
            ::Velmora::LoadProblems::log(keeper, *velmoraProblemLogger, ::fileScopeLoggerName(), \
                                         level, velmoraProblemText.text(), __FILE__, __LINE__,   \
                                         name);                                                  \
        }                                                                                        \
    } while (false)

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/LogFile.h"
#include "velmora/logging/RollSchedule.h"

#include <log4cplus/helpers/timehelper.h>
#include <log4cplus/loglevel.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

/// Writes lines to a log file: buffers them, rolls the file over, follows its path, and counts the
/// lines that are written and those that are lost.
///
/// Reports what goes wrong with the file to log4cplus's log, each problem once until it is over.
///
/// Thread-safety: none; the owner guards it. `openAgain`, `getLineCount` and `getLossCount` may be
/// called concurrently with the others.
/// Failure: `write` throws `std::bad_alloc` if it cannot keep the line. Nothing else throws.
class LogFileWriter
{
  public:
    /// A time that is read for each line. It is precise to some milliseconds.
    struct CoarseClock
    {
        using duration = std::chrono::nanoseconds;
        using time_point = std::chrono::time_point<CoarseClock, duration>;
        static time_point now() noexcept;
    };

    struct Options
    {
        LogFile::Location location{};
        bool bAppends = true;
        /// Whether each line is written at once.
        bool bImmediate = true;
        /// In bytes. Lines are written at the latest when they are as many.
        std::size_t uiBufferSize = 65536;
        /// A line of this level or above is written at once, with all before it.
        log4cplus::LogLevel flushLevel = log4cplus::WARN_LOG_LEVEL;
        /// The first line after this time is written at once, with all before it.
        std::chrono::seconds flushInterval{1};
        /// In bytes; the file rolls over before it is larger. 0 for no limit.
        std::uint64_t uiMaxFileSize = 0;
        std::optional<RollSchedule::Every> schedule{};
        unsigned int uiMaxBackupIndex = 1;
        /// Whether a file that has rolled over is compressed.
        bool bCompresses = false;
    };

    /// Appends the text of a line that reports lost lines.
    using FormatReport = std::function<void(std::string&, const std::string& in_strMessage)>;

    /// Opens the file. If that fails, each line tries it again.
    LogFileWriter(Options in_options, FormatReport in_formatReport);
    /// Writes what is buffered, and closes the file.
    ~LogFileWriter();
    LogFileWriter(const LogFileWriter&) = delete;
    LogFileWriter& operator=(const LogFileWriter&) = delete;

    /// Writes or buffers a line, which includes its end.
    void write(std::string_view in_line, log4cplus::LogLevel in_level,
               log4cplus::helpers::Time in_time);
    /// Counts a line that could not be formatted as lost.
    void lose(log4cplus::helpers::Time in_time) noexcept;
    /// Writes what is buffered.
    void flush() noexcept;
    /// Writes what is buffered, and closes the file.
    void close() noexcept;
    /// Forgets what the parent of a fork will write: what is buffered, and the report of lost
    /// lines.
    void forgetInChild() noexcept;

    /// Opens the path again, for `use`.
    [[nodiscard]] LogFile::Opened openAgain() const { return m_file.open(false); }
    /// Returns what it means for lines that the path cannot be opened, as the end of a message.
    [[nodiscard]] const char* meaningOfProblem() const noexcept;
    /// Writes what is buffered, and uses that file from now on. Returns the former one.
    OwnedDescriptor use(OwnedDescriptor in_descriptor) noexcept;

    [[nodiscard]] const std::string& getPath() const noexcept { return m_file.getPath(); }
    /// Returns the number of lines written to files.
    [[nodiscard]] std::uint64_t getLineCount() const noexcept
    {
        return m_uiLines.load(std::memory_order_relaxed);
    }
    /// Returns the number of lines lost.
    [[nodiscard]] std::uint64_t getLossCount() const noexcept
    {
        return m_uiLosses.load(std::memory_order_relaxed);
    }

  private:
    /// A problem that is reported once, until it is over.
    class Problem
    {
      public:
        /// Calls the function for the text of the report, if it is time for one.
        template <class Text>
        void report(Text in_text) noexcept;
        void end() noexcept { m_bReported = false; }

      private:
        bool m_bReported = false;
    };

    /// Lines that were lost and have not been reported in the file.
    struct Loss
    {
        std::uint64_t uiLines = 0;
        log4cplus::helpers::Time since{};
        int iError = 0;
    };

    void writeAtOnce(std::string_view in_line, log4cplus::helpers::Time in_time) noexcept;
    void keep(std::string_view in_line, log4cplus::helpers::Time in_time,
              CoarseClock::time_point in_now);
    [[nodiscard]] bool isFlushDue(log4cplus::LogLevel in_level,
                                  CoarseClock::time_point in_now) const noexcept;
    void settle(std::size_t in_uiWritten) noexcept;
    void forgetBuffer() noexcept;

    void failToWrite(std::uint64_t in_uiLines, log4cplus::helpers::Time in_since) noexcept;
    void addLoss(std::uint64_t in_uiLines, log4cplus::helpers::Time in_since,
                 int in_iError) noexcept;
    void reportLoss() noexcept;

    OwnedDescriptor exchange(OwnedDescriptor in_descriptor) noexcept;
    bool openPath() noexcept;
    void openIfClosed() noexcept;
    bool look(CoarseClock::time_point in_now) noexcept;

    [[nodiscard]] bool isRollDue(std::size_t in_uiLength, log4cplus::helpers::Time in_time,
                                 CoarseClock::time_point in_now);
    void roll(log4cplus::helpers::Time in_time, CoarseClock::time_point in_now) noexcept;
    [[nodiscard]] bool moveAside();
    void compress(const std::string& in_strPath);

    const Options m_options;
    const FormatReport m_formatReport;
    LogFile m_file;
    std::optional<RollSchedule> m_schedule;

    /// Whole lines, the end of each of them, and when the first was added.
    std::string m_strBuffer;
    std::vector<std::size_t> m_ends;
    log4cplus::helpers::Time m_firstTime{};
    CoarseClock::time_point m_firstAdded{};

    CoarseClock::time_point m_looked{};
    CoarseClock::time_point m_nextRoll{};
    Loss m_loss;
    /// Whether the file ends in a part of a line.
    bool m_bTorn = false;
    /// The error of the last attempt to open the file.
    int m_iOpenError = 0;
    Problem m_opening;
    Problem m_writing;
    Problem m_rolling;
    Problem m_compressing;
    /// Changed by the owner's lock, read without it.
    std::atomic<std::uint64_t> m_uiLines = 0;
    std::atomic<std::uint64_t> m_uiLosses = 0;
};

} // namespace Velmora

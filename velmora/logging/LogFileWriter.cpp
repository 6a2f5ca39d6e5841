// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogFileWriter.h"

#include "velmora/logging/Backups.h"
#include "velmora/logging/DateFormat.h"

#include <log4cplus/helpers/loglog.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <new>
#include <utility>

namespace Velmora
{

namespace
{

/// How often the path is compared with the open file, and a failed rollover is tried again.
constexpr std::chrono::seconds s_lookInterval{1};

/// How much older than the last rollover a line may be, if it has waited for a lock. With an older
/// one, the clock has been set back.
constexpr std::chrono::hours s_longestWait{1};

/// Adds to a count that only one thread at a time changes.
void add(std::atomic<std::uint64_t>& inout_uiCount, std::uint64_t in_uiNumber) noexcept
{
    inout_uiCount.store(inout_uiCount.load(std::memory_order_relaxed) + in_uiNumber,
                        std::memory_order_relaxed);
}

} // namespace

LogFileWriter::CoarseClock::time_point LogFileWriter::CoarseClock::now() noexcept
{
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return time_point(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

template <class Text>
void LogFileWriter::Problem::report(Text in_text) noexcept
try
{
    if (!std::exchange(m_bReported, true))
        log4cplus::helpers::getLogLog().error(in_text());
}
catch (const std::exception&)
{
    // There is no memory for the text.
    m_bReported = false;
}

LogFileWriter::LogFileWriter(Options in_options, FormatReport in_formatReport)
    : m_options(std::move(in_options)), m_formatReport(std::move(in_formatReport)),
      m_file(m_options.location)
{
    if (!m_options.bImmediate)
        m_strBuffer.reserve(m_options.uiBufferSize);
    LogFile::Opened opened = m_file.open(!m_options.bAppends);
    m_iOpenError = opened.iError;
    if (opened.descriptor.isOpen())
        m_file.use(std::move(opened.descriptor));
    else
        m_opening.report([&] { return opened.strProblem + meaningOfProblem(); });
    m_looked = CoarseClock::now();
    if (!m_options.schedule)
        return;
    // A file of an earlier period rolls over with its first line.
    m_schedule.emplace(*m_options.schedule);
    m_schedule->moveTo(m_file.getSize() != 0
                           ? log4cplus::helpers::from_time_t(m_file.getTimeOfChange())
                           : log4cplus::helpers::now());
}

LogFileWriter::~LogFileWriter() { flush(); }

void LogFileWriter::write(std::string_view in_line, log4cplus::LogLevel in_level,
                          log4cplus::helpers::Time in_time)
{
    const CoarseClock::time_point now = CoarseClock::now();
    if (now - m_looked >= s_lookInterval) [[unlikely]]
        look(now);
    if (!m_file.isOpen()) [[unlikely]]
        openIfClosed();
    if (isRollDue(in_line.size(), in_time, now)) [[unlikely]]
        roll(in_time, now);
    if (m_options.bImmediate && m_ends.empty() && m_loss.uiLines == 0 && !m_bTorn) [[likely]]
        return writeAtOnce(in_line, in_time);
    keep(in_line, in_time, now);
    if (m_options.bImmediate || isFlushDue(in_level, now))
        flush();
}

void LogFileWriter::writeAtOnce(std::string_view in_line, log4cplus::helpers::Time in_time) noexcept
{
    const std::size_t uiWritten = m_file.isOpen() ? m_file.write(in_line) : 0;
    if (uiWritten == in_line.size()) [[likely]]
        return add(m_uiLines, 1);
    m_bTorn = uiWritten != 0;
    failToWrite(1, in_time);
}

void LogFileWriter::keep(std::string_view in_line, log4cplus::helpers::Time in_time,
                         CoarseClock::time_point in_now)
{
    if (m_ends.empty())
    {
        m_firstTime = in_time;
        m_firstAdded = in_now;
    }
    m_ends.push_back(m_strBuffer.size() + in_line.size());
    try
    {
        m_strBuffer.append(in_line);
    }
    catch (...)
    {
        m_ends.pop_back();
        throw;
    }
}

bool LogFileWriter::isFlushDue(log4cplus::LogLevel in_level,
                               CoarseClock::time_point in_now) const noexcept
{
    return m_strBuffer.size() >= m_options.uiBufferSize || in_level >= m_options.flushLevel ||
           in_now - m_firstAdded >= m_options.flushInterval;
}

void LogFileWriter::flush() noexcept
{
    if (m_ends.empty())
        return;
    if (!m_file.isOpen())
        openIfClosed();
    if (m_file.isOpen() && (m_loss.uiLines != 0 || m_bTorn)) [[unlikely]]
        reportLoss();
    settle(m_file.isOpen() ? m_file.write(m_strBuffer) : 0);
    forgetBuffer();
}

/// Writes the line that reports lost lines, after the end of a line that was cut off.
void LogFileWriter::reportLoss() noexcept
try
{
    std::string strText(m_bTorn ? "\n" : "");
    if (m_loss.uiLines != 0)
    {
        std::string strMessage = std::to_string(m_loss.uiLines) + " line(s) lost since ";
        // With the difference from UTC, as the layout may have another zone.
        DateFormat("%Y-%m-%d %H:%M:%S.%q %z", DateFormat::Zone::local)
            .append(strMessage, m_loss.since);
        m_formatReport(strText,
                       strMessage + " : " +
                           (m_loss.iError != 0 ? getPath() + ": " + std::strerror(m_loss.iError)
                                               : "their text could not be made"));
    }
    const std::size_t uiWritten = m_file.write(strText);
    if (uiWritten == strText.size())
    {
        m_bTorn = false;
        m_loss = {};
    }
    else if (uiWritten != 0)
        m_bTorn = true;
}
catch (...)
{
    // There is no memory for the text, or a layout throws. The next line tries again.
}

/// Counts the lines in the buffer. Its first bytes have been written.
void LogFileWriter::settle(std::size_t in_uiWritten) noexcept
{
    const auto firstLost = std::upper_bound(m_ends.begin(), m_ends.end(), in_uiWritten);
    const auto uiLines = static_cast<std::uint64_t>(firstLost - m_ends.begin());
    add(m_uiLines, uiLines);
    if (uiLines == m_ends.size())
        return m_writing.end();
    if (in_uiWritten != 0)
        m_bTorn = uiLines == 0 || *(firstLost - 1) != in_uiWritten;
    failToWrite(m_ends.size() - uiLines, m_firstTime);
}

/// Counts lines that could not be written, with the system's reason in `errno`.
void LogFileWriter::failToWrite(std::uint64_t in_uiLines,
                                log4cplus::helpers::Time in_since) noexcept
{
    const int iError = m_file.isOpen() ? errno : m_iOpenError;
    addLoss(in_uiLines, in_since, iError);
    // That it is not open has been reported.
    if (m_file.isOpen())
        m_writing.report(
            [&]
            {
                return "cannot write " + getPath() + ": " + std::strerror(iError) +
                       (iError == ENOSPC || iError == EDQUOT
                            ? "; lines are lost until there is room"
                            : "; lines are lost until it can be written");
            });
}

void LogFileWriter::addLoss(std::uint64_t in_uiLines, log4cplus::helpers::Time in_since,
                            int in_iError) noexcept
{
    if (m_loss.uiLines == 0)
        m_loss.since = in_since;
    m_loss.uiLines += in_uiLines;
    m_loss.iError = in_iError;
    add(m_uiLosses, in_uiLines);
}

void LogFileWriter::lose(log4cplus::helpers::Time in_time) noexcept { addLoss(1, in_time, 0); }

void LogFileWriter::forgetBuffer() noexcept
{
    m_ends.clear();
    m_strBuffer.clear();
}

void LogFileWriter::forgetInChild() noexcept
{
    forgetBuffer();
    m_loss = {};
}

const char* LogFileWriter::meaningOfProblem() const noexcept
{
    return m_file.isOpen() ? "; lines still go to the file that was open before"
                           : "; lines are lost until it can be opened";
}

void LogFileWriter::close() noexcept
{
    flush();
    m_file.use(OwnedDescriptor());
}

OwnedDescriptor LogFileWriter::use(OwnedDescriptor in_descriptor) noexcept
{
    flush();
    return exchange(std::move(in_descriptor));
}

OwnedDescriptor LogFileWriter::exchange(OwnedDescriptor in_descriptor) noexcept
{
    m_opening.end();
    m_bTorn = false;
    return m_file.use(std::move(in_descriptor));
}

/// Opens the path, and uses the file if that works. Otherwise reports the problem and what it
/// means, and leaves the file as it is.
bool LogFileWriter::openPath() noexcept
try
{
    LogFile::Opened opened = m_file.open(false);
    m_iOpenError = opened.iError;
    if (opened.descriptor.isOpen())
        exchange(std::move(opened.descriptor));
    else
        m_opening.report([&] { return opened.strProblem + meaningOfProblem(); });
    return opened.iError == 0;
}
catch (const std::bad_alloc&)
{
    m_iOpenError = ENOMEM;
    return false;
}

void LogFileWriter::openIfClosed() noexcept
{
    if (!m_file.isOpen())
        openPath();
}

/// Follows the path if it names another file. Returns whether it names the open one.
bool LogFileWriter::look(CoarseClock::time_point in_now) noexcept
{
    m_looked = in_now;
    if (!m_file.isOpen())
        return false;
    const LogFile::Place place = m_file.look();
    // What is buffered goes to the new file: the old one may be deleted, or being compressed.
    if (place == LogFile::Place::moved)
        openPath();
    return place == LogFile::Place::same;
}

bool LogFileWriter::isRollDue(std::size_t in_uiLength, log4cplus::helpers::Time in_time,
                              CoarseClock::time_point in_now)
{
    if ((!m_schedule && m_options.uiMaxFileSize == 0) || !m_file.isRegular())
        return false;
    if (m_schedule && m_schedule->isLaterThan(in_time + s_longestWait)) [[unlikely]]
        m_schedule->moveTo(in_time);
    const std::uint64_t uiSize = m_file.getSize() + m_strBuffer.size();
    const bool bFull = m_options.uiMaxFileSize != 0 && uiSize != 0 &&
                       uiSize + in_uiLength > m_options.uiMaxFileSize;
    return (bFull || (m_schedule && m_schedule->isOverAt(in_time))) && in_now >= m_nextRoll;
}

void LogFileWriter::roll(log4cplus::helpers::Time in_time, CoarseClock::time_point in_now) noexcept
try
{
    flush();
    // The path may name another file by now, which is not ours to rename.
    if (look(in_now) && m_file.getSize() != 0 && !moveAside())
        m_nextRoll = in_now + s_lookInterval;
    else if (m_schedule)
        m_schedule->moveTo(in_time);
    openIfClosed();
}
catch (const std::bad_alloc&)
{
    m_nextRoll = in_now + s_lookInterval;
}

/// Renames the file to the newest backup, and begins a new one.
bool LogFileWriter::moveAside()
{
    Backups backups = m_schedule ? Backups::fromBase(getPath() + '.' + m_schedule->getName(),
                                                     m_options.uiMaxBackupIndex)
                                 : Backups::fromOne(getPath(), m_options.uiMaxBackupIndex);
    if (!backups.take(getPath()))
    {
        const int iError = errno;
        m_rolling.report(
            [&]
            {
                return "cannot roll over " + getPath() + ": " + backups.getProblem() + ": " +
                       std::strerror(iError) +
                       "; the file grows until this is possible. Give the directory and the files "
                       "in it to the user of this process";
            });
        return false;
    }
    m_rolling.end();
    if (openPath() && m_options.bCompresses)
        compress(backups.getNewest());
    return true;
}

void LogFileWriter::compress(const std::string& in_strPath)
{
    if (compressFile(in_strPath))
        return m_compressing.end();
    const int iError = errno;
    m_compressing.report(
        [&] {
            return "cannot compress " + in_strPath + ": " + std::strerror(iError) +
                   "; it stays as it is";
        });
}

} // namespace Velmora

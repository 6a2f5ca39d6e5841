// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/spi/loggingevent.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Velmora
{

class LogFileWriter;
class TextLayout;

// A table has a line for each row.
// clang-format off
/// Appends lines to a file. A configuration names it "velmora::FileAppender".
///
/// | Property | Meaning | Default |
/// |---|---|---|
/// | `File` | the path | must be given |
/// | `Append` | whether an existing file is kept when logging is configured; false empties it | true |
/// | `ImmediateFlush` | whether each line is written at once | true |
/// | `BufferSize` | with `ImmediateFlush` false: lines are written when they are as many bytes; units KB, MB; at most 64MB | 64KB |
/// | `FlushLevel` | a line of this level or above is written at once, with those before it | WARN |
/// | `FlushInterval` | in seconds: the first line that comes so long after the first buffered one is written at once, with those before it. No line is written by itself later | 1 |
/// | `MaxFileSize` | the file rolls over before it is larger, such as 10MB; 0 for no limit | 0 |
/// | `Schedule` | the file rolls over with the first line after the end of each period of local time: `MONTHLY`, `WEEKLY`, `DAILY`, `TWICE_DAILY`, `HOURLY` or `MINUTELY` | none |
/// | `MaxBackupIndex` | the highest number of a backup | 1, or 10 with `Schedule` |
/// | `Compress` | `gzip`: a file that has rolled over is compressed, in the call that logs the line | none |
/// | `Mode` | the permissions of a new file, in octal from 0600 to 0777, whatever the umask | 0640 |
/// | `CreateDirs` | whether missing directories are made | false |
///
// clang-format on
/// `Threshold`, `filters` and `layout` have the same meaning as for all appenders. `UseLockFile`
/// has no effect.
///
/// A line is written by one `write` of the system to a descriptor that appends (`O_APPEND`), so
/// several processes may share a file that does not roll over, and no line is torn. After a part of
/// a line, the system gets the rest at once. The descriptor is closed when another program is
/// executed. Buffered lines are written when the appender is closed or destroyed, so at the end of
/// the process by `exit` or by `Velmora::abort`. The child of a fork forgets lines that the parent
/// had buffered.
///
/// A file that rolls over is renamed, never copied. Its backups are "file.1" (the newest), "file.2"
/// and so on. With `Schedule` a backup has the name of its period, as in "file.2026-11-23"; if the
/// file rolls over several times in a period, the former ones are "file.2026-11-23.1" and so on. A
/// compressed one ends in ".gz". Files of other periods are not removed. If a file cannot be
/// renamed, lines still go to it.
///
/// At most once a second, with a line, the path is compared with the open file. If the file was
/// moved or deleted, or the program has closed the descriptor, the path is opened again. See also
/// `Logger::reopenFiles`. Symbolic links are followed only if they belong to root or to the
/// effective user of the process.
///
/// Ownership: counted by `SharedAppenderPtr`.
/// Thread-safety: lines may come from any thread. The lock of the appender is held while a line is
/// written, and while the file rolls over and is compressed.
/// Failure: a line that cannot be written, because the disk is full or the file cannot be opened,
/// is lost and counts in `Logger::getLossCount`. The reason is reported to log4cplus's log once.
/// When writing works again, a line at ERROR of "keswardin.infra.FileAppender" in the file states
/// how many lines were lost and since when. What is wrong with the properties is reported to
/// log4cplus's log, or by `Logger::configure` if the appender comes from a configuration. A line
/// throws what its layout throws.
class VELMORA_API FileAppender : public log4cplus::Appender
{
  public:
    static constexpr const char* s_szTypeName = "velmora::FileAppender";

    explicit FileAppender(const log4cplus::helpers::Properties& in_properties);
    ~FileAppender() override;

    /// Writes what is buffered, and closes the file.
    void close() override;

    void setLayout(std::unique_ptr<log4cplus::Layout> in_pLayout) override;

    /// Writes what is buffered. Waits for the lock as a line does.
    void flush();

    [[nodiscard]] const std::string& getPath() const;
    /// Returns the number of lines that this appender has written to its files, and the number of
    /// those that it has lost. Buffered lines are in neither.
    [[nodiscard]] std::uint64_t getLineCount() const;
    [[nodiscard]] std::uint64_t getLossCount() const;

    /// Makes the type known to configurations.
    static void registerFactory();

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override;

  private:
    /// This appender among all others.
    class Living;

    void format(std::string& inout_strText, const log4cplus::spi::InternalLoggingEvent& in_event);
    void formatReport(std::string& inout_strText, const std::string& in_strMessage);

    std::unique_ptr<LogFileWriter> m_pWriter;
    std::unique_ptr<Living> m_pLiving;
    /// The layout, if it is one of ours.
    TextLayout* m_pTextLayout = nullptr;
    /// The text of a line; kept, so that the next one does not allocate.
    std::string m_strLine;
    /// Whether that is in use, by a layout that logs.
    bool m_bFormatting = false;
};

} // namespace Velmora

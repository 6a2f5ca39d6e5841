// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/LogLevel.h"

#include <log4cplus/appender.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// One line of the log, as an appender received it.
struct LogLine
{
    std::string strLogger;
    int level;
    std::string strText;

    /// The source position; not compared.
    std::string strFile{};
    int iLine = -1;

    /// Compares logger, level and text.
    bool operator==(const LogLine& in_line) const;
};

std::ostream& operator<<(std::ostream& out_stream, const LogLine& in_line);

/// Return the line that a test expects, one function per level.
LogLine fatalLine(const std::string& in_strLogger, const std::string& in_strText);
LogLine errorLine(const std::string& in_strLogger, const std::string& in_strText);
LogLine warnLine(const std::string& in_strLogger, const std::string& in_strText);
LogLine infoLine(const std::string& in_strLogger, const std::string& in_strText);
LogLine debugLine(const std::string& in_strLogger, const std::string& in_strText);
LogLine traceLine(const std::string& in_strLogger, const std::string& in_strText);

/// Captures the whole log of the process for the lifetime of the object. The root logger passes
/// everything from the given level on, and no other logger has a level or an appender of its own.
/// The destructor leaves the root logger without an appender.
///
/// Thread-safety: lines may arrive on any thread; the operations may be called on any thread.
class CapturedLog
{
  public:
    explicit CapturedLog(LogLevel in_rootLevel = DEBUG_LOG_LEVEL);
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    /// Returns the lines so far.
    [[nodiscard]] std::vector<LogLine> lines() const;

    /// Returns the lines so far of one logger.
    [[nodiscard]] std::vector<LogLine> linesOf(const std::string& in_strLogger) const;

    void clear();

    /// Returns the appender, for a test that attaches it to another logger.
    [[nodiscard]] const log4cplus::SharedAppenderPtr& appender() const { return m_pAppender; }

  private:
    log4cplus::SharedAppenderPtr m_pAppender;
};

} // namespace Velmora::Test

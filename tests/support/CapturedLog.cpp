// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/CapturedLog.h"

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <mutex>
#include <ostream>

namespace Velmora::Test
{

namespace
{

class CapturingAppender : public log4cplus::Appender
{
  public:
    ~CapturingAppender() override { destructorImpl(); }

    void close() override { closed = true; }

    std::vector<LogLine> lines() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_lines;
    }

    void clear()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.clear();
    }

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.push_back({in_event.getLoggerName(), in_event.getLogLevel(), in_event.getMessage(),
                           in_event.getFile(), in_event.getLine()});
    }

  private:
    /// Guards m_lines. No other code runs while it is held.
    mutable std::mutex m_mutex;
    std::vector<LogLine> m_lines;
};

CapturingAppender& capturing(const log4cplus::SharedAppenderPtr& in_pAppender)
{
    return dynamic_cast<CapturingAppender&>(*in_pAppender);
}

} // namespace

bool LogLine::operator==(const LogLine& in_line) const
{
    return strLogger == in_line.strLogger && level == in_line.level && strText == in_line.strText;
}

std::ostream& operator<<(std::ostream& out_stream, const LogLine& in_line)
{
    return out_stream << '[' << in_line.strLogger << ' ' << in_line.level << " \""
                      << in_line.strText << "\"]";
}

LogLine fatalLine(const std::string& in_strLogger, const std::string& in_strText)
{
    return {in_strLogger, FATAL_LOG_LEVEL, in_strText};
}

LogLine errorLine(const std::string& in_strLogger, const std::string& in_strText)
{
    return {in_strLogger, ERROR_LOG_LEVEL, in_strText};
}

LogLine warnLine(const std::string& in_strLogger, const std::string& in_strText)
{
    return {in_strLogger, WARN_LOG_LEVEL, in_strText};
}

LogLine infoLine(const std::string& in_strLogger, const std::string& in_strText)
{
    return {in_strLogger, INFO_LOG_LEVEL, in_strText};
}

LogLine debugLine(const std::string& in_strLogger, const std::string& in_strText)
{
    return {in_strLogger, DEBUG_LOG_LEVEL, in_strText};
}

LogLine traceLine(const std::string& in_strLogger, const std::string& in_strText)
{
    return {in_strLogger, TRACE_LOG_LEVEL, in_strText};
}

CapturedLog::CapturedLog(LogLevel in_rootLevel) : m_pAppender(new CapturingAppender)
{
    m_pAppender->setName("CapturedLog");
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.setLogLevel(in_rootLevel);
    root.addAppender(m_pAppender);
}

CapturedLog::~CapturedLog() { log4cplus::Logger::getDefaultHierarchy().resetConfiguration(); }

std::vector<LogLine> CapturedLog::lines() const { return capturing(m_pAppender).lines(); }

std::vector<LogLine> CapturedLog::linesOf(const std::string& in_strLogger) const
{
    std::vector<LogLine> result = lines();
    result.erase(std::remove_if(result.begin(), result.end(),
                                [&in_strLogger](const LogLine& in_line)
                                { return in_line.strLogger != in_strLogger; }),
                 result.end());
    return result;
}

void CapturedLog::clear() { capturing(m_pAppender).clear(); }

} // namespace Velmora::Test

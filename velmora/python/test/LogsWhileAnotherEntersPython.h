// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/StartedPython.h"

#include <algorithm>
#include <cstddef>

namespace Velmora::Test
{

/// Makes each line from TRACE on wait, while it lives, until another thread has entered Python. So
/// does an appender that waits for a lock which such a thread holds. A line that is logged with the
/// interpreter lock held makes the test hang.
class LogsWhileAnotherEntersPython
{
  public:
    /// Returns the number of lines at a level.
    [[nodiscard]] std::size_t count(LogLevel in_level) const
    {
        const auto lines = m_log.lines();
        return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(),
                                                      [in_level](const LogLine& in_line)
                                                      { return in_line.level == in_level; }));
    }

  private:
    CapturedLog m_log{TRACE_LOG_LEVEL};
    CallbackAppender m_appender{[](const std::string&) { enterOnAnotherThread(); }};
};

} // namespace Velmora::Test

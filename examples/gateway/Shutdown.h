// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <ace/Time_Value.h>

#include <chrono>
#include <optional>

namespace GatewayExample
{

/// The time limits of the gateway's end. `ACE_Time_Value::max_time` means that there is no limit.
class Shutdown
{
  public:
    /// Begins the shutdown. From now on the calls have `in_exitTimeout` to end. SIGALRM ends the
    /// process after `in_killTimeout`, if it hangs.
    void begin(const ACE_Time_Value& in_exitTimeout, const ACE_Time_Value& in_killTimeout);

    /// Leaves the calls no time.
    void hurry();

    [[nodiscard]] bool hasBegun() const { return m_deadline.has_value(); }

    /// Returns whether the shutdown has begun and the calls have no time left.
    [[nodiscard]] bool isOverdue() const;

  private:
    std::optional<std::chrono::steady_clock::time_point> m_deadline;
};

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/helpers/timehelper.h>

#include <optional>
#include <string>
#include <string_view>

namespace Velmora
{

/// The periods of local time after each of which a log file rolls over. The days of a period are
/// those of the calendar: a day has 23 hours when clocks are set forward. A week begins on Monday.
///
/// Thread-safety: none; the owner guards it.
class RollSchedule
{
  public:
    enum class Every
    {
        month,
        week,
        day,
        halfDay,
        hour,
        minute
    };

    /// Reads a name as log4cplus spells it, such as "DAILY". Returns nothing for any other text.
    static std::optional<Every> parse(std::string_view in_text);

    explicit RollSchedule(Every in_every) : m_every(in_every) {}

    /// Moves to the period that a time is in.
    void moveTo(log4cplus::helpers::Time in_time);

    /// Returns whether the period has ended at that time.
    [[nodiscard]] bool isOverAt(log4cplus::helpers::Time in_time) const { return in_time >= m_end; }
    /// Returns whether the period has not begun at that time, because the clock has been set back.
    [[nodiscard]] bool isLaterThan(log4cplus::helpers::Time in_time) const
    {
        return in_time < m_begin;
    }

    /// Returns the name of the period, such as "2026-11-23".
    [[nodiscard]] std::string getName() const;

  private:
    Every m_every;
    log4cplus::helpers::Time m_begin{};
    log4cplus::helpers::Time m_end{};
};

} // namespace Velmora

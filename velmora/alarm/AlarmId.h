// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/LogText.h"
#include "velmora/system/WholeText.h"

#include <string>

namespace Velmora
{

/// The id of an alarm as a text. Normally made without an allocation.
///
/// Failure: the constructor throws `std::bad_alloc` if there is not enough memory for the whole id.
/// A truncated id could be that of another alarm.
/// Thread-safety: belongs to the thread that made it.
class AlarmId
{
  public:
    /// Takes an `Alarm`, or a class derived from it.
    explicit AlarmId(const auto& in_alarm)
    {
        writeWhole(m_text.stream(),
                   [&in_alarm](std::ostream& out_stream) { in_alarm.writeAlarmId(out_stream); });
    }

    /// Returns the id. Ownership: this object's.
    [[nodiscard]] const std::string& text() const { return m_text.text(); }

  private:
    LogText m_text;
};

} // namespace Velmora

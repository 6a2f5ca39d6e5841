// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/NamedAlarm.h"
#include "tests/support/TextOf.h"
#include "velmora/alarm/Alarm.h"
#include "velmora/alarm/AlarmRegistry.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// An alarm that reports the state that the test sets.
template <class Base>
class LyingAlarm : public NamedAlarm<Base>
{
  public:
    using NamedAlarm<Base>::NamedAlarm;
    [[nodiscard]] Alarm::State getState() const override { return m_reported; }

    Alarm::State m_reported = Alarm::ALARM_OFF;
};

/// Counts the changes of one alarm. Each change must be to the other state.
class ChangesOfOneAlarm : public Alarm::Observer
{
  public:
    void newAlarmState(const Alarm& in_alarm, Alarm::State in_state) override
    {
        if (in_state == m_last || in_alarm.getState() != in_state)
            ++m_iWrong;
        m_last = in_state;
        ++m_iChanges;
    }

    Alarm::State m_last = Alarm::ALARM_OFF;
    int m_iChanges = 0;
    int m_iWrong = 0;
};

/// Returns the description of an alarm.
inline std::string descriptionOf(const Alarm& in_alarm)
{
    std::ostringstream text;
    in_alarm.writeDescription(text);
    return text.str();
}

/// Records the changes that observers of alarms and of the registry receive, as texts and in order.
class AlarmChanges
{
  public:
    /// Records each change as the observer's name and the alarm's text form.
    class OfAlarm : public Alarm::Observer
    {
      public:
        OfAlarm(AlarmChanges& out_changes, std::string in_strName)
            : m_changes(out_changes), m_strName(std::move(in_strName))
        {
        }
        void newAlarmState(const Alarm& in_alarm, Alarm::State in_state) override
        {
            EXPECT_EQ(in_alarm.getState(), in_state);
            m_changes.note(m_strName, in_alarm);
        }

      private:
        AlarmChanges& m_changes;
        std::string m_strName;
    };

    class OfRegistry : public AlarmRegistry::Observer
    {
      public:
        OfRegistry(AlarmChanges& out_changes, std::string in_strName)
            : m_changes(out_changes), m_strName(std::move(in_strName))
        {
        }
        void newAlarmState(const Alarm& in_alarm) override { m_changes.note(m_strName, in_alarm); }

      private:
        AlarmChanges& m_changes;
        std::string m_strName;
    };

    void note(const std::string& in_strName, const Alarm& in_alarm)
    {
        m_texts.push_back(textOf(in_strName, ": ", in_alarm));
        if (m_onChange)
            m_onChange();
    }

    [[nodiscard]] std::vector<std::string> take() { return std::exchange(m_texts, {}); }

    std::function<void()> m_onChange;

  private:
    std::vector<std::string> m_texts;
};

} // namespace Velmora::Test

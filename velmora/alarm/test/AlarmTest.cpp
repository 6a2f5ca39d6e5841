// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/Alarm.h"

#include "tests/support/Alarms.h"
#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// An alarm that only records the requests.
class Asked : public Alarm
{
  public:
    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << "port " << 1234567;
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override { return out_stream; }
    [[nodiscard]] State getState() const override { return ALARM_ON; }
    void setState(State in_state) override { m_asked.push_back(in_state); }
    void addObserver(LimitedObjPtr<Observer>) override {}
    void removeObserver(LimitedObjPtr<Observer>) override {}

    std::vector<State> m_asked;
};

} // namespace

TEST(AlarmState, HasTheValuesZeroAndOne)
{
    EXPECT_EQ(0, Alarm::ALARM_OFF);
    EXPECT_EQ(1, Alarm::ALARM_ON);
}

TEST(AlarmState, IsWrittenAsItsName)
{
    EXPECT_EQ("ALARM_OFF", textOf(Alarm::ALARM_OFF));
    EXPECT_EQ("ALARM_ON", textOf(Alarm::ALARM_ON));
}

TEST(AlarmState, IsWrittenAsUnknownWhereItIsNone)
{
    EXPECT_EQ("???AlarmSTATE???", textOf(static_cast<Alarm::State>(2)));
    EXPECT_EQ("???AlarmSTATE???", textOf(static_cast<Alarm::State>(-1)));
}

TEST(AlarmSeverity, IsALevelOfTheLog)
{
    EXPECT_EQ(40000, Alarm::ERROR_SEVERITY);
    EXPECT_EQ(30000, Alarm::WARN_SEVERITY);
    EXPECT_EQ(20000, Alarm::INFO_SEVERITY);
    EXPECT_EQ(10000, Alarm::DEBUG_SEVERITY);
}

TEST(Alarm, HasTheSeverityErrorUnlessItSaysOtherwise)
{
    EXPECT_EQ(Alarm::ERROR_SEVERITY, Asked().getSeverity());
}

TEST(Alarm, SetAsksForOnAndResetForOff)
{
    Asked alarm;
    alarm.set();
    EXPECT_TRUE(alarm.reset());
    EXPECT_EQ((std::vector<Alarm::State>{Alarm::ALARM_ON, Alarm::ALARM_OFF}), alarm.m_asked);
}

TEST(Alarm, ItsTextHasItsIdAndItsState)
{
    EXPECT_EQ("Alarm [port 1234567] : ALARM_ON", textOf(Asked()));
}

TEST(Alarm, ItsIdTakesThePlaceOfWhatWasInTheText)
{
    std::string strId = "before";
    Asked().getAlarmId(strId);
    EXPECT_EQ("port 1234567", strId);
}

TEST(Alarm, ItsIdIsTheSameInEachLocale)
{
    const GlobalLocale locale;
    std::string strId;
    Asked().getAlarmId(strId);
    EXPECT_EQ("port 1234567", strId);
}

TEST(Alarm, IsNotCopied) { EXPECT_FALSE(std::is_copy_constructible_v<NamedAlarm<>>); }

} // namespace Velmora::Test

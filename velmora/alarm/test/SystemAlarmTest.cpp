// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemAlarm.h"
#include "velmora/alarm/AggregateSystemOverloadAlarm.h"
#include "velmora/alarm/SystemConfigurationErrorAlarm.h"
#include "velmora/alarm/SystemOutOfServiceAlarm.h"
#include "velmora/alarm/SystemOverloadAlarmImpl.h"

#include "tests/support/Alarms.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TextOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szOverload =
    "The system or application is currently handling an unusually large amount of work";
constexpr const char* s_szOutOfService =
    "The system or application is out-of-service i.e. either stopped, starting or stopping";
constexpr const char* s_szConfigurationError = "The system configuration contains errors.";

std::string idOf(const Alarm& in_alarm)
{
    std::string strId;
    in_alarm.getAlarmId(strId);
    return strId;
}

/// An alarm of the system that adds nothing to the id "system".
class PlainSystemAlarm : public SystemAlarm, public virtual AlarmImpl
{
  public:
    std::ostream& writeDescription(std::ostream& out_stream) const override { return out_stream; }
};

class OutOfService : public SystemOutOfServiceAlarm
{
  public:
    OutOfService() : AlarmImpl(WARN_SEVERITY) {}
};

class DerivedConfigurationError : public SystemConfigurationErrorAlarm
{
  public:
    using SystemConfigurationErrorAlarm::SystemConfigurationErrorAlarm;
};

} // namespace

TEST(SystemAlarm, HasTheRootOfTheIds)
{
    EXPECT_EQ("system", idOf(PlainSystemAlarm()));
    EXPECT_EQ("system", textOf(&SystemAlarm::sWriteAlarmId));
}

TEST(SystemConfigurationErrorAlarm, SaysWhatItIs)
{
    EXPECT_EQ("system.configuration.error", idOf(SystemConfigurationErrorAlarm()));
    EXPECT_EQ("system.configuration.error", textOf(&SystemConfigurationErrorAlarm::sWriteAlarmId));
    EXPECT_EQ(s_szConfigurationError, descriptionOf(SystemConfigurationErrorAlarm()));
    EXPECT_STREQ(s_szConfigurationError, SystemConfigurationErrorAlarm::sGetDescription());
}

TEST(SystemConfigurationErrorAlarm, LogsAtItsSeverityAndAtInfo)
{
    const CapturedLog log;
    SystemConfigurationErrorAlarm alarm(Alarm::ERROR_SEVERITY);
    alarm.set();
    alarm.reset();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(errorLine("admin.alarm", "Alarm [system.configuration.error] : ALARM_ON"),
                    infoLine("admin.alarm", "Alarm [system.configuration.error] : ALARM_OFF")));
}

TEST(SystemConfigurationErrorAlarm, HasItsSeverityInADerivedClass)
{
    EXPECT_EQ(Alarm::WARN_SEVERITY,
              SystemConfigurationErrorAlarm(Alarm::WARN_SEVERITY).getSeverity());
    EXPECT_EQ(Alarm::WARN_SEVERITY, DerivedConfigurationError(Alarm::WARN_SEVERITY).getSeverity());
}

TEST(SystemOutOfServiceAlarm, SaysWhatItIs)
{
    EXPECT_EQ("system.out-of-service", idOf(SystemOutOfServiceAlarm()));
    EXPECT_EQ(s_szOutOfService, descriptionOf(SystemOutOfServiceAlarm()));
    EXPECT_STREQ(s_szOutOfService, SystemOutOfServiceAlarm::sGetDescription());
}

TEST(SystemOutOfServiceAlarm, NotifiesItsObserversOfChangesAndLogsNothing)
{
    const CapturedLog log;
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    SystemOutOfServiceAlarm alarm;
    alarm.addObserver(&observer);
    alarm.set();
    alarm.set();
    EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
    alarm.reset();
    alarm.reset();
    EXPECT_THAT(changes.take(), ElementsAre("observer: Alarm [system.out-of-service] : ALARM_ON",
                                            "observer: Alarm [system.out-of-service] : ALARM_OFF"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(SystemOutOfServiceAlarm, HasTheSeverityThatADerivedClassChooses)
{
    EXPECT_EQ(Alarm::WARN_SEVERITY, OutOfService().getSeverity());
}

TEST(SystemOverloadAlarm, SaysWhatItIs)
{
    EXPECT_EQ("system.overload", textOf(&SystemOverloadAlarm::sWriteAlarmId));
    EXPECT_STREQ(s_szOverload, SystemOverloadAlarm::sGetDescription());
    EXPECT_EQ("system.overload", idOf(SystemOverloadAlarmImpl()));
    EXPECT_EQ(s_szOverload, descriptionOf(SystemOverloadAlarmImpl()));
    EXPECT_EQ("system.overload", idOf(AggregateSystemOverloadAlarm()));
    EXPECT_EQ(s_szOverload, descriptionOf(AggregateSystemOverloadAlarm()));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/ResourceMonitor.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/Alarms.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CountedAllocations.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/ProfileTimer.h"
#include "velmora/config/ParameterHashMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.infra.ResourceMonitor";
constexpr const char* s_szConfigure = "AverageResourceUsageMonitor::configure()";

FailedAssertion assertion(const std::string& in_strCondition)
{
    return failedAssertion(in_strCondition, "ResourceMonitor", s_szLogger);
}

/// Records all requests, including those for the state that it has.
class AskedAlarm : public NamedAlarm<>
{
  public:
    using NamedAlarm::NamedAlarm;
    void setState(State in_state) override
    {
        m_asked.push_back(in_state);
        AlarmImpl::setState(in_state);
    }

    std::vector<State> m_asked;
};

class ResourceMonitorTest : public testing::Test
{
  protected:
    AskedAlarm m_alarm{"cpu"};
    AverageResourceUsageMonitor m_monitor;
};

ParameterHashMap configuration()
{
    ParameterHashMap config;
    config.setIntParameter("cpu.averageWindowSize", 2);
    config.setFloatParameter("cpu.setAlarmThreshold", 90.1F);
    config.setFloatParameter("cpu.resetAlarmThreshold", 70.1F);
    return config;
}

} // namespace

TEST_F(ResourceMonitorTest, SetsTheAlarmFromTheUpperThresholdOn)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    EXPECT_TRUE(m_monitor.pushObservation(89.9));
    EXPECT_EQ(Alarm::ALARM_OFF, m_alarm.getState());
    EXPECT_TRUE(m_monitor.pushObservation(90));
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, ResetsTheAlarmBelowTheLowerThreshold)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    m_alarm.set();
    EXPECT_TRUE(m_monitor.pushObservation(70));
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
    EXPECT_TRUE(m_monitor.pushObservation(69.9));
    EXPECT_EQ(Alarm::ALARM_OFF, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, LeavesTheAlarmBetweenTheThresholds)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    for (const double dFirst : {100.0, 0.0})
    {
        m_monitor.pushObservation(dFirst);
        const Alarm::State state = m_alarm.getState();
        m_alarm.m_asked.clear();
        EXPECT_TRUE(m_monitor.pushObservation(80));
        EXPECT_THAT(m_alarm.m_asked, IsEmpty());
        EXPECT_EQ(state, m_alarm.getState());
    }
}

TEST_F(ResourceMonitorTest, GoesByTheAverageOfItsWindow)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 2, 3, 3));
    for (const double dValue : {1.0, 2.0, 3.0})
        m_monitor.pushObservation(dValue);
    EXPECT_EQ(Alarm::ALARM_OFF, m_alarm.getState());
    m_monitor.pushObservation(4);
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, GoesByTheFirstObservationAlready)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 100));
    m_monitor.pushObservation(95);
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, CallsTheAlarmAtEveryObservationBeyondAThreshold)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    for (const double dValue : {95.0, 96.0, 80.0, 60.0, 50.0})
        m_monitor.pushObservation(dValue);
    EXPECT_THAT(m_alarm.m_asked,
                ElementsAre(Alarm::ALARM_ON, Alarm::ALARM_ON, Alarm::ALARM_OFF, Alarm::ALARM_OFF));
}

TEST_F(ResourceMonitorTest, LeavesTheAlarmAtANaN)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    EXPECT_TRUE(m_monitor.pushObservation(std::nan("")));
    EXPECT_THAT(m_alarm.m_asked, IsEmpty());
}

TEST_F(ResourceMonitorTest, MayHaveAHandleOfTheRegistry)
{
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    const LimitedObjPtr<Alarm> pAlarm = registry.addAlarm(new NamedAlarm("monitored"), false);
    AlarmChanges changes;
    AlarmChanges::OfRegistry observer(changes, "registry");
    registry.addObserver(&observer);
    ASSERT_TRUE(m_monitor.configure(pAlarm, 70, 90, 1));
    for (const double dValue : {95.0, 96.0, 50.0})
        m_monitor.pushObservation(dValue);
    EXPECT_THAT(changes.take(), ElementsAre("registry: Alarm [monitored] : ALARM_ON",
                                            "registry: Alarm [monitored] : ALARM_OFF"));
    registry.removeObserver(&observer);
}

TEST_F(ResourceMonitorTest, ForgetsItsObservationsWhenItIsConfiguredAgain)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 2));
    m_monitor.pushObservation(100);
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
    m_alarm.m_asked.clear();
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 30, 60, 2));
    EXPECT_THAT(m_alarm.m_asked, IsEmpty());
    m_monitor.pushObservation(20);
    EXPECT_EQ(Alarm::ALARM_OFF, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, LeavesTheAlarmAsItIsAtItsEnd)
{
    std::optional<AverageResourceUsageMonitor> monitor(std::in_place);
    ASSERT_TRUE(monitor->configure(&m_alarm, 70, 90, 1));
    monitor->pushObservation(100);
    monitor.reset();
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, AssertsThatItHasAnAlarm)
{
    const CapturedLog log;
    EXPECT_FALSE(m_monitor.configure(nullptr, 70, 90, 1));
    EXPECT_THAT(failedAssertions(log), ElementsAre(assertion("!in_pAlarm.isNull()")));
}

TEST_F(ResourceMonitorTest, KeepsItsAlarmWhenItIsGivenNone)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    const CapturedLog log;
    EXPECT_FALSE(m_monitor.configure(nullptr, 7, 9, 1));
    EXPECT_TRUE(m_monitor.pushObservation(80));
    EXPECT_THAT(m_alarm.m_asked, IsEmpty());
    EXPECT_TRUE(m_monitor.pushObservation(90));
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, AssertsThatItsThresholdsAreInOrder)
{
    for (const double dReset : {90.0, 91.0, std::numeric_limits<double>::quiet_NaN()})
    {
        const CapturedLog log;
        EXPECT_FALSE(m_monitor.configure(&m_alarm, dReset, 90, 1));
        EXPECT_THAT(failedAssertions(log),
                    ElementsAre(assertion("in_resetAlarmThreshold < in_setAlarmThreshold")));
    }
}

TEST_F(ResourceMonitorTest, HasTheAlarmAlreadyWhenItsThresholdsAreRefused)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    AskedAlarm other("other");
    const CapturedLog log;
    EXPECT_FALSE(m_monitor.configure(&other, 9, 9, 1));
    EXPECT_TRUE(m_monitor.pushObservation(95));
    EXPECT_THAT(m_alarm.m_asked, IsEmpty());
    EXPECT_EQ(Alarm::ALARM_ON, other.getState());
}

TEST_F(ResourceMonitorTest, AssertsThatItIsConfigured)
{
    const CapturedLog log;
    EXPECT_FALSE(m_monitor.pushObservation(95));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(assertion("!m_pAvgComputer.isNull() && \"please call configure prior "
                                      "to use the \" \"resource monitor\"")));
}

TEST_F(ResourceMonitorTest, SaysAtDebugHowItIsConfigured)
{
    const CapturedLog log;
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70.5, 90, 15));
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger, "AverageResourceUsageMonitor::configure() : "
                                                  "m_pAlarm=cpu, m_setAlarmThreshold=90, "
                                                  "m_resetAlarmThreshold=70.5, "
                                                  "in_uiAverageWindowSize=15")));
}

TEST_F(ResourceMonitorTest, TakesTheLevelInEffectWhenItIsConfigured)
{
    {
        const CapturedLog log(ERROR_LOG_LEVEL);
        ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
        EXPECT_THAT(log.lines(), IsEmpty());
    }
    const CapturedLog log;
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    EXPECT_THAT(log.lines(), testing::SizeIs(1));
}

TEST(ResourceMonitorTraces, ItsConstructionAndItsEnd)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    std::optional<AverageResourceUsageMonitor> monitor(std::in_place);
    monitor.reset();
    const std::string strConstruction =
        "AverageResourceUsageMonitor::AverageResourceUsageMonitor()";
    const std::string strEnd = "AverageResourceUsageMonitor::~AverageResourceUsageMonitor()";
    EXPECT_THAT(log.lines(), ElementsAre(traceLine(s_szLogger, "entering " + strConstruction),
                                         traceLine(s_szLogger, "exiting " + strConstruction),
                                         traceLine(s_szLogger, "entering " + strEnd),
                                         traceLine(s_szLogger, "exiting " + strEnd)));
}

TEST_F(ResourceMonitorTest, TracesItsConfigurationAndItsObservations)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    EXPECT_EQ(traceLine(s_szLogger, std::string("entering ") + s_szConfigure), log.lines().front());
    EXPECT_EQ(traceLine(s_szLogger, std::string("exiting ") + s_szConfigure), log.lines().back());
    log.clear();
    m_monitor.pushObservation(80);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            traceLine(s_szLogger, "entering AverageResourceUsageMonitor::pushObservation()"),
            traceLine(s_szLogger, "exiting AverageResourceUsageMonitor::pushObservation()")));
}

TEST_F(ResourceMonitorTest, ReadsItsConfigurationUnderAPrefix)
{
    const CapturedLog log;
    ASSERT_TRUE(m_monitor.configure(&m_alarm, "cpu", configuration()));
    // The thresholds have single precision.
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger, "AverageResourceUsageMonitor::configure() : "
                                                  "m_pAlarm=cpu, m_setAlarmThreshold=90.1, "
                                                  "m_resetAlarmThreshold=70.1, "
                                                  "in_uiAverageWindowSize=2")));
    m_monitor.pushObservation(static_cast<double>(90.1F));
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, ReadsItsConfigurationWithoutAPrefix)
{
    ParameterHashMap config;
    config.setIntParameter("averageWindowSize", 2);
    config.setFloatParameter("setAlarmThreshold", 2);
    config.setFloatParameter("resetAlarmThreshold", 1);
    EXPECT_TRUE(m_monitor.configure(&m_alarm, "", config));
    EXPECT_TRUE(m_monitor.configure(&m_alarm, static_cast<const char*>(nullptr), config));
}

TEST_F(ResourceMonitorTest, NamesTheFirstParameterThatIsMissing)
{
    const auto missing = [this](const ParameterHashMap& in_config)
    {
        const CapturedLog log;
        EXPECT_FALSE(m_monitor.configure(&m_alarm, "cpu", in_config));
        return log.linesOf(s_szLogger);
    };
    const auto line = [](const char* in_szName)
    {
        return errorLine(s_szLogger, std::string("failed to get the parameters ") + in_szName +
                                         " from the configuration");
    };
    ParameterHashMap config;
    EXPECT_THAT(missing(config), ElementsAre(line("cpu.averageWindowSize")));
    config.setIntParameter("cpu.averageWindowSize", 2);
    EXPECT_THAT(missing(config), ElementsAre(line("cpu.setAlarmThreshold")));
    config.setFloatParameter("cpu.setAlarmThreshold", 2);
    EXPECT_THAT(missing(config), ElementsAre(line("cpu.resetAlarmThreshold")));
    config.setFloatParameter("cpu.resetAlarmThreshold", 1);
    EXPECT_TRUE(m_monitor.configure(&m_alarm, "cpu", config));
}

TEST_F(ResourceMonitorTest, RefusesAWindowBelowOne)
{
    for (const int iWindow : {0, -1, std::numeric_limits<int>::min()})
    {
        ParameterHashMap config = configuration();
        config.setIntParameter("cpu.averageWindowSize", iWindow);
        const CapturedLog log;
        EXPECT_FALSE(m_monitor.configure(&m_alarm, "cpu", config));
        EXPECT_THAT(
            log.lines(),
            ElementsAre(errorLine(s_szLogger, "cpu.averageWindowSize = " + std::to_string(iWindow) +
                                                  " : a window holds at least 1 "
                                                  "observation")));
    }
}

TEST_F(ResourceMonitorTest, KeepsItsConfigurationWhenANewOneIsRefused)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 2));
    m_monitor.pushObservation(100);
    const CapturedLog log;
    EXPECT_FALSE(m_monitor.configure(&m_alarm, "none", configuration()));
    m_monitor.pushObservation(40);
    EXPECT_EQ(Alarm::ALARM_ON, m_alarm.getState());
    m_monitor.pushObservation(40);
    EXPECT_EQ(Alarm::ALARM_OFF, m_alarm.getState());
}

TEST_F(ResourceMonitorTest, LeavesWhatItCannotRead)
{
    const CapturedLog log;
    unsigned long uiValue = 7;
    double dValue = 8;
    EXPECT_FALSE(m_monitor.getConfigParameter(ParameterHashMap(), "a", "b", uiValue));
    EXPECT_FALSE(m_monitor.getConfigParameter(ParameterHashMap(), "a", "b", dValue));
    EXPECT_EQ(7u, uiValue);
    EXPECT_EQ(8, dValue);
}

TEST_F(ResourceMonitorTest, SaysThatThereIsNoMemoryForItsWindow)
{
    ASSERT_TRUE(m_monitor.configure(&m_alarm, 70, 90, 1));
    const CapturedLog log;
    s_bNextAllocationFails = true;
    EXPECT_FALSE(m_monitor.configure(&m_alarm, 70, 90, 1));
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "failed to allocated average computer")));
    EXPECT_FALSE(m_monitor.pushObservation(100));
    EXPECT_THAT(m_alarm.m_asked, IsEmpty());
}

TEST(ResourceMonitorParameters, HaveTheirNames)
{
    EXPECT_STREQ("averageWindowSize", s_szRESOURCE_MONITOR_AVG_WINDOW_SIZE_PARAM);
    EXPECT_STREQ("setAlarmThreshold", s_szRESOURCE_MONITOR_SET_ALARM_THRESHOLD_PARAM);
    EXPECT_STREQ("resetAlarmThreshold", s_szRESOURCE_MONITOR_RESET_ALARM_THRESHOLD_PARAM);
}

TEST(ProfileTimerObjects, AreChargedToTheirAccount)
{
    inAccountingProcess(
        []
        {
            const auto pTimer = std::make_unique<ProfileTimer>();
            EXPECT_EQ(static_cast<int>(sizeof(ProfileTimer)), bytesHeld("ProfileTimer"));
        });
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/LoadMonitor.h"

#include "examples/gateway/BadSetting.h"

#include "tests/support/CapturedLog.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/config/TrieConfiguration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using GatewayExample::BadSetting;
using GatewayExample::EventLoop;
using GatewayExample::LoadMonitor;
using testing::ElementsAre;

constexpr const char* s_szId = "system.overload.doors";

class GatewayLoadMonitor : public testing::Test
{
  protected:
    GatewayLoadMonitor()
    {
        setInt("monitoringPeriodInMs", 1);
        setInt("averageWindowSize", 3);
        setFloat("setAlarmThreshold", 10);
        setFloat("resetAlarmThreshold", 5);
    }

    void setInt(const char* in_szName, int in_iValue)
    {
        const std::string strName = std::string("site.doors.") + in_szName;
        ASSERT_TRUE(m_config.setIntParameter(strName.c_str(), in_iValue));
    }
    void setFloat(const char* in_szName, float in_fValue)
    {
        const std::string strName = std::string("site.doors.") + in_szName;
        ASSERT_TRUE(m_config.setFloatParameter(strName.c_str(), in_fValue));
    }

    [[nodiscard]] LoadMonitor make() const
    {
        return LoadMonitor(m_loop, "doors", "site.doors", m_config);
    }

    [[nodiscard]] std::string error() const
    {
        try
        {
            const LoadMonitor monitor = make();
            return "";
        }
        catch (const BadSetting& error)
        {
            return error.what();
        }
    }

    /// Lets a monitor observe these values, one after the other. Returns whether it was overloaded
    /// after each.
    std::vector<bool> observe(const std::vector<std::optional<double>>& in_values)
    {
        std::vector<bool> overloads;
        std::size_t uiNext = 0;
        LoadMonitor monitor = make();
        monitor.start(
            [&]() -> std::optional<double>
            {
                // The previous value has taken effect by now.
                if (uiNext > overloads.size())
                    overloads.push_back(monitor.isOverloaded());
                return uiNext < in_values.size() ? in_values[uiNext++] : std::nullopt;
            });
        while (overloads.size() < in_values.size())
            m_loop.step();
        return overloads;
    }

    EventLoop m_loop;
    TrieConfiguration m_config;
};

} // namespace

TEST_F(GatewayLoadMonitor, IsOverloadedByTheAverageOfTheLastObservations)
{
    EXPECT_THAT(observe({9, 11, 8, 12, 5, 5, 4, 4}),
                ElementsAre(false, true, true, true, true, true, false, false));
}

TEST_F(GatewayLoadMonitor, IsOverloadedWithinThreePeriods)
{
    EXPECT_THAT(observe({0, 0, 0, 12, 12, 12}),
                ElementsAre(false, false, false, false, false, true));
}

TEST_F(GatewayLoadMonitor, LeavesOutWhatCannotBeSaid)
{
    EXPECT_THAT(observe({12, std::nullopt, std::nullopt, 0}), ElementsAre(true, true, true, true));
}

TEST_F(GatewayLoadMonitor, TurnsOverloadOfTheSystemOnAndOff)
{
    const CapturedLog log(INFO_LOG_LEVEL);
    observe({12, 0, 0, 0});
    EXPECT_THAT(log.linesOf("admin.alarm"),
                ElementsAre(warnLine("admin.alarm", "Alarm [system.overload.doors] : ALARM_ON"),
                            errorLine("admin.alarm", "Alarm [system.overload] : ALARM_ON"),
                            infoLine("admin.alarm", "Alarm [system.overload.doors] : ALARM_OFF"),
                            infoLine("admin.alarm", "Alarm [system.overload] : ALARM_OFF")));
}

TEST_F(GatewayLoadMonitor, SaysAtDebugWhatItObserves)
{
    const CapturedLog log;
    observe({2.5});
    EXPECT_THAT(log.linesOf("keswardin.gateway.LoadMonitor"),
                ElementsAre(debugLine("keswardin.gateway.LoadMonitor", "doors in use : 2.5")));
}

TEST_F(GatewayLoadMonitor, HasItsAlarmInTheRegistry)
{
    const LoadMonitor monitor = make();
    EXPECT_FALSE(AlarmRegistry::getInstance().getAlarm(s_szId).isNull());
    EXPECT_FALSE(monitor.isOverloaded());
    AlarmRegistry::getInstance().setAlarm(s_szId);
    EXPECT_TRUE(monitor.isOverloaded());
}

TEST_F(GatewayLoadMonitor, ObservesNothingWithoutAPeriod)
{
    setInt("monitoringPeriodInMs", 0);
    LoadMonitor monitor = make();
    int iObservations = 0;
    monitor.start(
        [&iObservations]
        {
            ++iObservations;
            return 20.0;
        });
    m_loop.step();
    EXPECT_EQ(0, iObservations);
    EXPECT_FALSE(monitor.isOverloaded());
}

TEST_F(GatewayLoadMonitor, ObservesNothingAfterItsStop)
{
    LoadMonitor monitor = make();
    int iObservations = 0;
    monitor.start(
        [&]
        {
            ++iObservations;
            return 20.0;
        });
    while (iObservations < 2)
        m_loop.step();
    monitor.stop();
    const int iAtStop = iObservations;
    m_loop.step();
    EXPECT_EQ(iAtStop, iObservations);
}

TEST_F(GatewayLoadMonitor, SaysWhichParameterIsNotSet)
{
    m_config = TrieConfiguration();
    EXPECT_EQ("site.doors.monitoringPeriodInMs = \"\" : it is not set ; write an "
              "integer, such as 500",
              error());
    setInt("monitoringPeriodInMs", 1);
    EXPECT_EQ("site.doors.setAlarmThreshold = \"\" : it is not set ; write a number "
              "with a decimal point, such as 85.0",
              error());
    setFloat("setAlarmThreshold", 10);
    EXPECT_EQ("site.doors.resetAlarmThreshold = \"\" : it is not set ; write a number "
              "with a decimal point, such as 85.0",
              error());
}

TEST_F(GatewayLoadMonitor, SaysWhichParameterMakesNoSense)
{
    setInt("monitoringPeriodInMs", -1);
    EXPECT_EQ("site.doors.monitoringPeriodInMs = \"-1\" : it must be above 0, or 0 for no monitor",
              error());
    setInt("monitoringPeriodInMs", 0);
    setFloat("resetAlarmThreshold", 10);
    EXPECT_EQ("site.doors.resetAlarmThreshold = \"10\" : it must be below "
              "site.doors.setAlarmThreshold, which is 10",
              error());
    setFloat("resetAlarmThreshold", 9.5F);
    setInt("averageWindowSize", 0);
    const CapturedLog log;
    EXPECT_EQ("site.doors = \"\" : the monitor cannot be configured ; see above", error());
    EXPECT_THAT(log.linesOf("keswardin.infra.ResourceMonitor"),
                ElementsAre(errorLine("keswardin.infra.ResourceMonitor",
                                      "site.doors.averageWindowSize = 0 : a window holds at least "
                                      "1 observation")));
}

} // namespace Velmora::Test

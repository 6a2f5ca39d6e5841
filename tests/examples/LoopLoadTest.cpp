// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/LoopLoad.h"

#include "tests/support/CapturedLog.h"
#include "velmora/alarm/AlarmRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <thread>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::EventLoop;
using GatewayExample::LoopLoad;
using GatewayExample::LoopLoadLimits;

using Clock = LoopLoad::Clock;

class GatewayLoopLoad : public testing::Test
{
  protected:
    [[nodiscard]] LoopLoad makeLoad(const LoopLoadLimits& in_limits)
    {
        return {m_loop, in_limits,
                [this]
                {
                    ++m_iMeasured;
                    return m_uiQueued;
                }};
    }

    /// Runs the loop for a time.
    void run(Clock::duration in_time)
    {
        const Clock::time_point end = Clock::now() + in_time;
        while (Clock::now() < end)
            m_loop.step();
    }

    const CapturedLog m_log{INFO_LOG_LEVEL};
    EventLoop m_loop;
    std::size_t m_uiQueued = 0;
    int m_iMeasured = 0;
};

} // namespace

TEST_F(GatewayLoopLoad, IsBehindWhileTooMuchWaitsAtTheSocket)
{
    LoopLoad load = makeLoad({.uiQueuedBytes = 1000});
    const Clock::time_point now = Clock::now();
    m_uiQueued = 1000;
    EXPECT_FALSE(load.isBehind(now));
    m_uiQueued = 1001;
    EXPECT_TRUE(load.isBehind(now + 1ms));
    m_uiQueued = 0;
    EXPECT_FALSE(load.isBehind(now + 2ms));
}

TEST_F(GatewayLoopLoad, IsMeasuredOnceAMillisecondAtMostWhileItIsNotBehind)
{
    LoopLoad load = makeLoad({.uiQueuedBytes = 1000});
    const Clock::time_point now = Clock::now();
    for (int i = 0; i < 10; ++i)
        EXPECT_FALSE(load.isBehind(now + i * 100us));
    EXPECT_EQ(1, m_iMeasured);
    m_uiQueued = 2000;
    EXPECT_TRUE(load.isBehind(now + 1ms));
    EXPECT_EQ(2, m_iMeasured);
    m_uiQueued = 0;
    EXPECT_FALSE(load.isBehind(now + 1ms));
    EXPECT_EQ(3, m_iMeasured);
}

TEST_F(GatewayLoopLoad, IsBehindWhileItsTimersAreLate)
{
    LoopLoad load = makeLoad({.timerLate = 150ms});
    // Runs after the timer of the load.
    bool bBehindAfterTimer = false;
    GatewayExample::Timer after(m_loop);
    after.start(110ms, [&] { bBehindAfterTimer = load.isBehind(Clock::now()); });
    EXPECT_FALSE(load.isBehind(Clock::now()));
    // The loop does not run, as if one of its actions took long.
    std::this_thread::sleep_for(400ms);
    EXPECT_TRUE(load.isBehind(Clock::now())) << "the timer has not run";
    m_loop.step();
    EXPECT_TRUE(bBehindAfterTimer) << "the timer has run too late";
    run(250ms);
    EXPECT_FALSE(load.isBehind(Clock::now())) << "the timer has run again";
    EXPECT_EQ(0, m_iMeasured) << "without a limit the queue is not measured";
}

TEST_F(GatewayLoopLoad, WithoutLimitsIsNeverBehind)
{
    LoopLoad load = makeLoad({});
    m_uiQueued = 1000000;
    std::this_thread::sleep_for(200ms);
    EXPECT_FALSE(load.isBehind(Clock::now()));
}

TEST_F(GatewayLoopLoad, TurnsItsAlarmOnAtOnceAndOffLater)
{
    LoopLoad load = makeLoad({.uiQueuedBytes = 1000});
    m_uiQueued = 2000;
    EXPECT_TRUE(load.isBehind(Clock::now()));
    EXPECT_TRUE(load.isBehind(Clock::now() + 1ms));
    m_uiQueued = 0;
    run(4500ms);
    const LogLine on = warnLine("admin.alarm", "Alarm [system.overload.loop] : ALARM_ON");
    EXPECT_THAT(m_log.lines(), testing::Contains(on).Times(1));
    EXPECT_THAT(m_log.lines(), testing::Not(testing::Contains(testing::Field(
                                   &LogLine::strText, testing::HasSubstr("loop] : ALARM_OFF")))));
    run(1000ms);
    EXPECT_THAT(m_log.lines(), testing::Contains(testing::Field(
                                   &LogLine::strText, testing::HasSubstr("loop] : ALARM_OFF"))));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/EventLoop.h"

#include "examples/gateway/Descriptor.h"
#include "examples/gateway/ReadWatch.h"
#include "examples/gateway/Timer.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/eventfd.h>

#include <stdexcept>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::Descriptor;
using GatewayExample::EventLoop;
using GatewayExample::ReadWatch;
using GatewayExample::Timer;
using testing::ElementsAre;

const LogLine s_line =
    errorLine("keswardin.gateway.EventLoop", "an event is left undone : no more");

} // namespace

TEST(GatewayEventLoop, GoesOnAfterATimerThatThrows)
{
    const CapturedLog log;
    EventLoop loop;
    Timer timer(loop);
    bool bCalled = false;
    timer.start(0ms, [] { throw std::runtime_error("no more"); });
    while (log.lines().empty())
        loop.step();
    timer.start(0ms, [&bCalled] { bCalled = true; });
    while (!bCalled)
        loop.step();
    EXPECT_THAT(log.lines(), ElementsAre(s_line));
}

TEST(GatewayEventLoop, GoesOnAfterAWatchThatThrows)
{
    const CapturedLog log;
    EventLoop loop;
    const Descriptor descriptor(eventfd(1, EFD_CLOEXEC));
    int iCalls = 0;
    const ReadWatch watch(loop, descriptor.number(),
                          [&iCalls]
                          {
                              if (++iCalls == 1)
                                  throw std::runtime_error("no more");
                          });
    while (iCalls < 2)
        loop.step();
    EXPECT_THAT(log.lines(), ElementsAre(s_line));
}

TEST(GatewayEventLoop, WaitsForATimerInsteadOfAskingForItsTimeOverAndOver)
{
    constexpr int iTimers = 10;
    EventLoop loop;
    Timer timer(loop);
    int iSteps = 0;
    for (int i = 0; i < iTimers; ++i)
    {
        bool bCalled = false;
        timer.start(3ms, [&bCalled] { bCalled = true; });
        while (!bCalled)
        {
            loop.step();
            ++iSteps;
        }
    }
    EXPECT_LE(iSteps, 3 * iTimers);
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/WorkerThreads.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

namespace Velmora::Test
{

namespace
{

using GatewayExample::EventLoop;
using GatewayExample::Work;
using GatewayExample::WorkerThreads;
using testing::ElementsAre;

class Task : public Work
{
  public:
    explicit Task(
        std::function<void()> in_run, std::function<void()> in_done = [] {},
        Haste in_haste = Haste::AT_ONCE)
        : Work(in_haste), m_run(std::move(in_run)), m_done(std::move(in_done))
    {
    }

    void run() noexcept override { m_run(); }
    void done() override { m_done(); }

  private:
    std::function<void()> m_run;
    std::function<void()> m_done;
};

class GatewayWorkerThreads : public testing::Test
{
  protected:
    void stepUntil(const bool& in_bDone)
    {
        while (!in_bDone)
            m_loop.step();
    }

    EventLoop m_loop;
};

} // namespace

TEST_F(GatewayWorkerThreads, DoTheWorkOnAnotherThreadAndReportItInTheLoop)
{
    WorkerThreads threads(m_loop, 1);
    std::thread::id worker;
    std::thread::id reporter;
    std::string strName(16, '\0');
    bool bDone = false;
    Task task(
        [&]
        {
            worker = std::this_thread::get_id();
            pthread_getname_np(pthread_self(), strName.data(), strName.size());
        },
        [&]
        {
            reporter = std::this_thread::get_id();
            bDone = true;
        });
    threads.add(task, 0);
    stepUntil(bDone);
    EXPECT_NE(std::this_thread::get_id(), worker);
    EXPECT_EQ(std::this_thread::get_id(), reporter);
    EXPECT_STREQ("files-1", strName.c_str());
}

TEST_F(GatewayWorkerThreads, DoWorkWithTheSameKeyInItsOrder)
{
    constexpr std::size_t uiKeys = 8;
    constexpr std::size_t uiTasks = 4000;
    WorkerThreads threads(m_loop, 4);
    // Each is used by one thread at a time.
    std::vector<std::vector<std::size_t>> order(uiKeys);
    std::size_t uiDone = 0;
    bool bDone = false;
    std::deque<Task> tasks;
    for (std::size_t ui = 0; ui < uiTasks; ++ui)
        threads.add(tasks.emplace_back([&order, ui] { order[ui % uiKeys].push_back(ui); },
                                       [&] { bDone = ++uiDone == uiTasks; }),
                    ui % uiKeys);
    stepUntil(bDone);
    for (const std::vector<std::size_t>& numbers : order)
    {
        EXPECT_EQ(uiTasks / uiKeys, numbers.size());
        EXPECT_TRUE(std::ranges::is_sorted(numbers));
    }
}

TEST_F(GatewayWorkerThreads, DoNotWaitForEachOther)
{
    WorkerThreads threads(m_loop, 2);
    std::promise<void> go;
    bool bDone = false;
    Task waits([&] { go.get_future().wait(); }, [&] { bDone = true; });
    Task lets([&] { go.set_value(); });
    threads.add(waits, 0);
    threads.add(lets, 1);
    stepUntil(bDone);
}

TEST_F(GatewayWorkerThreads, DoWorkForLaterWithTheNextThatIsToBeDoneAtOnce)
{
    WorkerThreads threads(m_loop, 1);
    std::vector<int> done;
    bool bDone = false;
    Task later([] {}, [&] { done.push_back(1); }, Work::Haste::LATER);
    Task atOnce([] {},
                [&]
                {
                    done.push_back(2);
                    bDone = true;
                });
    threads.add(later, 0);
    threads.add(atOnce, 0);
    stepUntil(bDone);
    EXPECT_THAT(done, ElementsAre(1, 2));
}

TEST_F(GatewayWorkerThreads, DoWorkForLaterByThemselvesAfterATime)
{
    WorkerThreads threads(m_loop, 3);
    std::atomic<int> iRun = 0;
    std::deque<Task> tasks;
    std::size_t uiDone = 0;
    bool bDone = false;
    for (std::size_t ui = 0; ui < 6; ++ui)
        threads.add(tasks.emplace_back([&iRun] { ++iRun; }, [&] { bDone = ++uiDone == 7; },
                                       Work::Haste::LATER),
                    ui);
    while (iRun < 6)
        m_loop.step();
    // Reported with the next work, at the latest.
    Task atOnce([] {}, [&] { bDone = ++uiDone == 7; });
    threads.add(atOnce, 0);
    stepUntil(bDone);
}

TEST_F(GatewayWorkerThreads, MayDestroyWorkThatIsDone)
{
    WorkerThreads threads(m_loop, 1);
    bool bDone = false;
    auto pTask = std::make_unique<Task>([] {}, [] {});
    Task first([] {}, [&] { pTask.reset(); });
    Task last([] {}, [&] { bDone = true; });
    threads.add(first, 0);
    threads.add(last, 0);
    stepUntil(bDone);
    EXPECT_EQ(nullptr, pTask);
}

TEST_F(GatewayWorkerThreads, GoOnAfterAReportThatThrows)
{
    const CapturedLog log;
    WorkerThreads threads(m_loop, 1);
    bool bDone = false;
    Task throws([] {}, [] { throw std::runtime_error("no more"); });
    Task next([] {}, [&] { bDone = true; });
    threads.add(throws, 0);
    threads.add(next, 0);
    stepUntil(bDone);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine("keswardin.gateway.EventLoop",
                                                   "an event is left undone : no more")));
}

TEST_F(GatewayWorkerThreads, DoAllWorkBeforeTheyEnd)
{
    std::atomic<int> iRun = 0;
    int iReported = 0;
    std::deque<Task> tasks;
    {
        WorkerThreads threads(m_loop, 3);
        for (std::size_t ui = 0; ui < 300; ++ui)
            threads.add(tasks.emplace_back([&iRun] { ++iRun; }, [&iReported] { ++iReported; }), ui);
    }
    EXPECT_EQ(300, iRun);
    m_loop.step();
    EXPECT_EQ(0, iReported);
}

} // namespace Velmora::Test

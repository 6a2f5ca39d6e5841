// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/Threads.h"

#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <mutex>
#include <set>

namespace Velmora::Test
{

TEST(RepeatingThreads, EachHasCalledTheFunctionWhenTheyAreMade)
{
    std::array<std::atomic<int>, 4> calls{};
    const RepeatingThreads threads(4, [&calls](int in_iThread) { ++calls[in_iThread]; });
    for (const std::atomic<int>& iCalls : calls)
        EXPECT_LE(1, iCalls);
}

TEST(RepeatingThreads, EachCallsTheFunctionAgainUntilItIsStopped)
{
    std::array<std::atomic<int>, 2> calls{};
    RepeatingThreads threads(2, [&calls](int in_iThread) { ++calls[in_iThread]; });
    for (const std::atomic<int>& iCalls : calls)
        EXPECT_TRUE(waitUntil([&iCalls] { return iCalls >= 100; }, std::chrono::seconds(20)));
    threads.stop();
}

TEST(OnThreads, CallsTheFunctionOnceOnEachThreadWithItsNumber)
{
    std::mutex mutex;
    std::multiset<int> numbers;
    std::set<std::thread::id> threads;
    onThreads(3,
              [&](int in_iThread)
              {
                  const std::lock_guard guard(mutex);
                  numbers.insert(in_iThread);
                  threads.insert(std::this_thread::get_id());
              });
    EXPECT_THAT(numbers, testing::ElementsAre(0, 1, 2));
    EXPECT_EQ(0U, threads.count(std::this_thread::get_id()));
}

} // namespace Velmora::Test

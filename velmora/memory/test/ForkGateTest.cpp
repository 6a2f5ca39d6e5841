#include "velmora/memory/ForkGate.h"

#include <ace/Thread_Mutex.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

constexpr int s_iThreads = 20;
constexpr int s_iClosings = 200;

/// Threads that run a function again and again, while the gate is closed and opened many times.
/// Gives the most threads that were in the function while the gate was closed.
template <class Function>
int mostInsideWhileClosed(const std::atomic<int>& in_iInside, Function in_function)
{
    std::atomic<bool> bStop{false};
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            [&]
            {
                // At least once, also when the closings are over before this thread begins.
                do
                {
                    in_function();
                    std::this_thread::yield();
                } while (!bStop);
            });
    int iMost = 0;
    for (int iClosing = 0; iClosing < s_iClosings; ++iClosing)
    {
        ForkGate::close();
        iMost = std::max(iMost, in_iInside.load());
        std::this_thread::yield();
        iMost = std::max(iMost, in_iInside.load());
        ForkGate::open();
    }
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
    return iMost;
}

} // namespace

TEST(ForkGate, NobodyHoldsAPassWhileItIsClosed)
{
    std::atomic<int> iInside{0};
    EXPECT_EQ(0, mostInsideWhileClosed(iInside,
                                       [&]
                                       {
                                           const ForkGate::Pass pass;
                                           ++iInside;
                                           std::this_thread::yield();
                                           --iInside;
                                       }));
}

TEST(ForkGate, AThreadThatHoldsSeveralPassesIsInsideUntilTheLastIsGone)
{
    std::atomic<int> iInside{0};
    EXPECT_EQ(0, mostInsideWhileClosed(iInside,
                                       [&]
                                       {
                                           const ForkGate::Pass pass;
                                           ++iInside;
                                           {
                                               const ForkGate::Pass second;
                                               const ForkGate::Pass third;
                                           }
                                           std::this_thread::yield();
                                           --iInside;
                                       }));
}

TEST(ForkGate, AGuardHoldsItsLockAndAPass)
{
    ACE_Thread_Mutex mutex;
    int iGuarded = 0;
    std::atomic<int> iInside{0};
    EXPECT_EQ(0, mostInsideWhileClosed(iInside,
                                       [&]
                                       {
                                           const ForkSafeGuard<ACE_Thread_Mutex> guard(mutex);
                                           ++iInside;
                                           ++iGuarded;
                                           --iInside;
                                       }));
    EXPECT_LT(0, iGuarded);
    EXPECT_EQ(0, mutex.tryacquire());
    mutex.release();
}

TEST(ForkGate, OpensAgain)
{
    ForkGate::close();
    ForkGate::open();
    ForkGate::close();
    ForkGate::open();
    bool bPassed = false;
    std::thread(
        [&]
        {
            const ForkGate::Pass pass;
            bPassed = true;
        })
        .join();
    EXPECT_TRUE(bPassed);
}

} // namespace Velmora::Test

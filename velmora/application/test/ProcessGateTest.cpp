// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGate.h"

#include "tests/support/ForkedChild.h"
#include "tests/support/Threads.h"
#include "velmora/application/GatedGuard.h"

#include <ace/RW_Thread_Mutex.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace Velmora::Test
{

namespace
{

constexpr int s_iThreads = 20;
constexpr int s_iClosings = 200;

using RecursiveGuard = GatedGuard<ACE_Recursive_Thread_Mutex>;

/// Runs a function repeatedly on several threads, while the gate is closed and opened many times.
/// Returns the largest number of threads that were in the function while the gate was closed.
template <class Function>
int mostInsideWhileClosed(const std::atomic<int>& in_iInside, Function in_function)
{
    const RepeatingThreads threads(s_iThreads,
                                   [&]
                                   {
                                       in_function();
                                       std::this_thread::yield();
                                   });
    int iMost = 0;
    for (int iClosing = 0; iClosing < s_iClosings; ++iClosing)
        EXPECT_TRUE(ProcessGate::whileClosed(
            [&]
            {
                iMost = std::max(iMost, in_iInside.load());
                std::this_thread::yield();
                iMost = std::max(iMost, in_iInside.load());
                return true;
            }));
    return iMost;
}

/// A thread that is inside until `leave` is called.
class Insider
{
  public:
    template <class Function>
    explicit Insider(Function in_function)
        : m_thread(
              [this, in_function]
              {
                  const ProcessGate::Pass pass;
                  in_function();
                  m_inside.set_value();
                  m_go.get_future().wait();
              })
    {
        m_inside.get_future().wait();
    }
    Insider() : Insider([] {}) {}
    ~Insider() { leave(); }
    Insider(const Insider&) = delete;
    Insider& operator=(const Insider&) = delete;

    void leave()
    {
        if (!m_thread.joinable())
            return;
        m_go.set_value();
        m_thread.join();
    }

  private:
    std::promise<void> m_inside;
    std::promise<void> m_go;
    std::thread m_thread;
};

/// A thread that runs a function. `run` returns when the thread has had time to wait in the
/// function.
class ThreadThatWaits
{
  public:
    ThreadThatWaits() = default;
    template <class Function>
    explicit ThreadThatWaits(Function in_function)
    {
        run(in_function);
    }
    ~ThreadThatWaits() { join(); }
    ThreadThatWaits(const ThreadThatWaits&) = delete;
    ThreadThatWaits& operator=(const ThreadThatWaits&) = delete;

    template <class Function>
    void run(Function in_function)
    {
        join();
        m_bDone = false;
        m_runs = std::promise<void>();
        m_thread = std::thread(
            [this, in_function]
            {
                m_runs.set_value();
                in_function();
                m_bDone = true;
            });
        m_runs.get_future().wait();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    [[nodiscard]] bool isDone() const { return m_bDone; }
    void join()
    {
        if (m_thread.joinable())
            m_thread.join();
    }

  private:
    std::promise<void> m_runs;
    std::atomic<bool> m_bDone{false};
    std::thread m_thread;
};

class NotedWork final : public ProcessGate::Deferred
{
  public:
    NotedWork(std::string& out_strNotes, char in_cName)
        : m_strNotes(out_strNotes), m_cName(in_cName)
    {
    }
    void run() noexcept override { m_strNotes += m_cName; }

  private:
    std::string& m_strNotes;
    char m_cName;
};

} // namespace

TEST(ProcessGate, NobodyIsInsideWhileItIsClosed)
{
    std::atomic<int> iInside{0};
    EXPECT_EQ(0, mostInsideWhileClosed(iInside,
                                       [&]
                                       {
                                           const ProcessGate::Pass pass;
                                           ++iInside;
                                           std::this_thread::yield();
                                           --iInside;
                                       }));
}

TEST(ProcessGate, AThreadThatHoldsSeveralPassesIsInsideUntilTheLastIsGone)
{
    std::atomic<int> iInside{0};
    EXPECT_EQ(0, mostInsideWhileClosed(iInside,
                                       [&]
                                       {
                                           const ProcessGate::Pass pass;
                                           ++iInside;
                                           {
                                               const ProcessGate::Pass second;
                                               const ProcessGate::Pass third;
                                           }
                                           std::this_thread::yield();
                                           --iInside;
                                       }));
}

TEST(ProcessGate, AGuardHoldsItsLockAndAPass)
{
    ACE_Thread_Mutex mutex;
    int iGuarded = 0;
    std::atomic<int> iInside{0};
    EXPECT_EQ(0, mostInsideWhileClosed(iInside,
                                       [&]
                                       {
                                           const GatedGuard<ACE_Thread_Mutex> guard(mutex);
                                           ++iInside;
                                           ++iGuarded;
                                           --iInside;
                                       }));
    EXPECT_LT(0, iGuarded);
    EXPECT_EQ(0, mutex.tryacquire());
    mutex.release();
}

TEST(ProcessGate, WhatAThreadDoesInsideGoesOnWhileTheGateIsClosed)
{
    std::promise<void> isClosing;
    std::atomic<bool> bPassedAgain{false};
    std::thread inside(
        [&]
        {
            const ProcessGate::Pass pass;
            isClosing.get_future().wait();
            for (int iPass = 0; iPass < 1000; ++iPass)
            {
                const ProcessGate::Pass again;
                std::this_thread::yield();
            }
            bPassedAgain = true;
        });
    std::thread closer(
        [&]
        {
            isClosing.set_value();
            EXPECT_TRUE(ProcessGate::whileClosed([&] { return bPassedAgain.load(); }));
        });
    inside.join();
    closer.join();
}

TEST(ProcessGate, AThreadInsideMayWaitForOneThatIsHeldUpAtTheGate)
{
    std::promise<void> isInside;
    std::promise<void> isClosing;
    std::thread inside(
        [&]
        {
            const ProcessGate::Pass pass;
            isInside.set_value();
            isClosing.get_future().wait();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            std::thread([] { const ProcessGate::Pass other; }).join();
        });
    isInside.get_future().wait();
    isClosing.set_value();
    EXPECT_TRUE(ProcessGate::whileClosed([] { return true; }));
    inside.join();
}

TEST(ProcessGate, StaysClosedForAThreadThatIsNearlyAlwaysInsideWhileNobodyWaits)
{
    std::atomic<bool> bStop{false};
    std::thread inside(
        [&bStop]
        {
            while (!bStop)
            {
                const ProcessGate::Pass pass;
                std::this_thread::sleep_for(std::chrono::milliseconds(600));
            }
        });
    for (int iClosing = 0; iClosing < 3; ++iClosing)
        EXPECT_TRUE(ProcessGate::whileClosed([] { return true; }));
    bStop = true;
    inside.join();
}

TEST(ProcessGate, WhoClosesItIsInside)
{
    EXPECT_FALSE(ProcessGate::isInside());
    bool bInside = false;
    EXPECT_TRUE(ProcessGate::whileClosed(
        [&]
        {
            const ProcessGate::Pass pass;
            bInside = ProcessGate::isInside();
            return true;
        }));
    EXPECT_TRUE(bInside);
    EXPECT_FALSE(ProcessGate::isInside());
}

TEST(ProcessGate, AFunctionThatCannotDoItsWorkIsCalledAgainWithOthersLetThroughBetween)
{
    std::atomic<bool> bPassed{false};
    std::thread other;
    EXPECT_TRUE(ProcessGate::whileClosed(
        [&]
        {
            if (!other.joinable())
                other = std::thread(
                    [&]
                    {
                        const ProcessGate::Pass pass;
                        bPassed = true;
                    });
            return bPassed.load();
        }));
    other.join();
}

TEST(ProcessGate, WhatTheFunctionThrowsComesThroughAndTheGateIsOpen)
{
    EXPECT_THROW(static_cast<void>(
                     ProcessGate::whileClosed([]() -> bool { throw std::runtime_error("no"); })),
                 std::runtime_error);
    std::thread([] { const ProcessGate::Pass pass; }).join();
    EXPECT_TRUE(ProcessGate::whileClosed([] { return true; }));
}

TEST(ProcessGate, IsNotClosedForAThreadThatStaysInsideAndIsOpenAfterwards)
{
    Insider insider;
    bool bCalled = false;
    EXPECT_FALSE(ProcessGate::whileClosed([&] { return bCalled = true; }));
    EXPECT_FALSE(bCalled);
    std::thread([] { const ProcessGate::Pass pass; }).join();
    insider.leave();
    EXPECT_TRUE(ProcessGate::whileClosed([] { return true; }));
}

TEST(ProcessGate, StaysClosedOverAForkOfTheThreadThatHasClosedIt)
{
    std::atomic<bool> bPassed{false};
    std::thread other;
    EXPECT_TRUE(ProcessGate::whileClosed(
        [&]
        {
            EXPECT_EQ(7, exitCodeOfChild([] { return 7; }));
            other = std::thread(
                [&bPassed]
                {
                    const ProcessGate::Pass pass;
                    bPassed = true;
                });
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_FALSE(bPassed);
            return true;
        }));
    other.join();
}

TEST(ProcessGate, AThreadThatEndsIsNotInsideAndItsRecordServesAnother)
{
    for (int iThread = 0; iThread < 1000; ++iThread)
        std::thread([] { const ProcessGate::Pass pass; }).join();
    EXPECT_TRUE(ProcessGate::whileClosed([] { return true; }));
}

TEST(ProcessGate, ThreadsThatForkFromInsideDoNotWaitForEachOther)
{
    constexpr int iForks = 20;
    std::atomic<int> iFailures{0};
    onThreads(4,
              [&]
              {
                  for (int iFork = 0; iFork < iForks; ++iFork)
                  {
                      const ProcessGate::Pass pass;
                      if (exitCodeOfChild([] { return ProcessGate::isInside() ? 7 : 8; }) != 7)
                          ++iFailures;
                  }
              });
    EXPECT_EQ(0, iFailures);
}

TEST(ProcessGate, AThreadThatIsInsideIsNotInTheChild)
{
    // The other thread counts as outside while it waits for its turn to fork. It holds a lock.
    ACE_Thread_Mutex mutex;
    std::promise<void> isHeld;
    std::atomic<bool> bStop{false};
    std::thread other(
        [&]
        {
            const GatedGuard<ACE_Thread_Mutex> guard(mutex);
            isHeld.set_value();
            while (!bStop)
                exitCodeOfChild([] { return 0; });
        });
    isHeld.get_future().wait();
    EXPECT_EQ(7, exitCodeOfChild(
                     [&]
                     {
                         if (!ProcessGate::whileClosed([] { return true; }))
                             return 1;
                         const GatedGuard<ACE_Thread_Mutex> guard(mutex);
                         return 7;
                     }));
    bStop = true;
    other.join();
}

TEST(ProcessGate, AForkDoesNotWaitForAThreadThatWaitsForALockOfTheForkingThread)
{
    ACE_Thread_Mutex mutex;
    std::optional<GatedGuard<ACE_Thread_Mutex>> guard(std::in_place, mutex);
    ThreadThatWaits waits([&] { const GatedGuard<ACE_Thread_Mutex> other(mutex); });
    EXPECT_TRUE(ProcessGate::closeForFork());
    ProcessGate::open();
    EXPECT_EQ(7, exitCodeOfChild(
                     [&]
                     {
                         guard.reset();
                         const GatedGuard<ACE_Thread_Mutex> again(mutex);
                         return again.isLocked() ? 7 : 1;
                     }));
    EXPECT_FALSE(waits.isDone());
    guard.reset();
}

TEST(ProcessGate, AForkDoesNotWaitForAThreadThatWaitsForALockOfForeignCode)
{
    std::timed_mutex mutex;
    std::unique_lock<std::timed_mutex> lock(mutex);
    ThreadThatWaits waits(
        [&]
        {
            const ProcessGate::Pass pass;
            ProcessGate::waitForLock(
                ProcessGate::Awaited::foreign,
                [&]
                {
                    mutex.lock();
                    return 0;
                },
                [&] { mutex.unlock(); });
            mutex.unlock();
        });
    const ProcessGate::Pass pass;
    EXPECT_TRUE(ProcessGate::closeForFork());
    EXPECT_FALSE(waits.isDone());
    ProcessGate::open();
    lock.unlock();
}

TEST(ProcessGate, AThreadWhoseLockThrowsIsInsideAgain)
{
    Insider insider(
        []
        {
            const auto throws = []() -> int
            { throw std::system_error(EDEADLK, std::system_category()); };
            EXPECT_THROW(ProcessGate::waitForLock(ProcessGate::Awaited::foreign, throws, [] {}),
                         std::system_error);
        });
    EXPECT_FALSE(ProcessGate::closeForFork()) << "the other thread is inside";
    ProcessGate::open();
    insider.leave();
    EXPECT_TRUE(ProcessGate::closeForFork());
    ProcessGate::open();
}

TEST(ProcessGate, AGuardThatWaitsLeavesErrnoAsItWas)
{
    ACE_Thread_Mutex mutex;
    ACE_RW_Thread_Mutex readWrite;
    const auto takeAll = [&]
    {
        errno = 7;
        const GatedGuard<ACE_Thread_Mutex> guard(mutex);
        const GatedGuard<ACE_RW_Thread_Mutex, WriteLocking> writeGuard(readWrite);
        return errno;
    };
    EXPECT_EQ(7, takeAll());
    int iErrno = 0;
    ThreadThatWaits waits;
    {
        const GatedGuard<ACE_RW_Thread_Mutex, ReadLocking> readGuard(readWrite);
        waits.run([&] { iErrno = takeAll(); });
    }
    waits.join();
    EXPECT_EQ(7, iErrno);
    {
        const GatedGuard<ACE_Thread_Mutex> guard(mutex);
        waits.run([&] { iErrno = takeAll(); });
        EXPECT_TRUE(ProcessGate::closeForFork());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ProcessGate::open();
    waits.join();
    EXPECT_EQ(7, iErrno);
}

TEST(ProcessGate, WaitingAtItLeavesErrnoAsItWas)
{
    int iErrno = 0;
    ThreadThatWaits waits;
    EXPECT_TRUE(ProcessGate::whileClosed(
        [&]
        {
            waits.run(
                [&iErrno]
                {
                    errno = 7;
                    const ProcessGate::Pass pass;
                    iErrno = errno;
                });
            return true;
        }));
    waits.join();
    EXPECT_EQ(7, iErrno);
}

TEST(ProcessGate, AForkWaitsForAThreadThatWaitsForALockWhileItHoldsAnother)
{
    ACE_Thread_Mutex held;
    ACE_Thread_Mutex awaited;
    std::optional<GatedGuard<ACE_Thread_Mutex>> guard(std::in_place, awaited);
    ThreadThatWaits waits(
        [&]
        {
            const GatedGuard<ACE_Thread_Mutex> first(held);
            const GatedGuard<ACE_Thread_Mutex> second(awaited);
        });
    EXPECT_FALSE(ProcessGate::closeForFork());
    ProcessGate::open();
    guard.reset();
}

TEST(ProcessGate, AThreadThatGetsItsLockWhileAForkIsUnderWayGivesItBackUntilTheGateIsOpen)
{
    ACE_Thread_Mutex mutex;
    std::optional<GatedGuard<ACE_Thread_Mutex>> guard(std::in_place, mutex);
    ThreadThatWaits waits([&] { const GatedGuard<ACE_Thread_Mutex> other(mutex); });
    EXPECT_TRUE(ProcessGate::closeForFork());
    guard.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(waits.isDone());
    guard.emplace(mutex);
    EXPECT_TRUE(guard->isLocked());
    guard.reset();
    ProcessGate::open();
    waits.join();
    EXPECT_TRUE(waits.isDone());
}

TEST(ProcessGate, AThreadForksWhoseLockIsAwaitedByOneThatAThirdIsClosingTheGateFor)
{
    ACE_Thread_Mutex mutex;
    std::optional<GatedGuard<ACE_Thread_Mutex>> guard(std::in_place, mutex);
    ThreadThatWaits waits([&] { const GatedGuard<ACE_Thread_Mutex> other(mutex); });
    std::atomic<bool> bClosed{false};
    ThreadThatWaits closes([&] { bClosed = ProcessGate::whileClosed([] { return true; }); });
    EXPECT_TRUE(ProcessGate::closeForFork());
    EXPECT_FALSE(waits.isDone());
    EXPECT_FALSE(closes.isDone());
    ProcessGate::open();
    guard.reset();
    closes.join();
    EXPECT_TRUE(bClosed);
}

TEST(ProcessGate, AForkGoesAheadAfterAWhileAndTheChildRenewsTheLocks)
{
    ACE_Thread_Mutex mutex;
    ACE_RW_Thread_Mutex readWrite;
    ACE_Recursive_Thread_Mutex recursive;
    std::promise<void> isHeld;
    std::promise<void> go;
    std::thread other(
        [&]
        {
            const GatedGuard<ACE_Thread_Mutex> guard(mutex);
            const GatedGuard<ACE_RW_Thread_Mutex, ReadLocking> readGuard(readWrite);
            const RecursiveGuard recursiveGuard(recursive);
            isHeld.set_value();
            go.get_future().wait();
        });
    isHeld.get_future().wait();
    EXPECT_EQ(7, exitCodeOfChild(
                     [&]
                     {
                         const GatedGuard<ACE_Thread_Mutex> guard(mutex);
                         const GatedGuard<ACE_RW_Thread_Mutex, WriteLocking> writeGuard(readWrite);
                         const RecursiveGuard recursiveGuard(recursive);
                         return guard.isLocked() && writeGuard.isLocked() &&
                                        recursiveGuard.isLocked()
                                    ? 7
                                    : 1;
                     }));
    go.set_value();
    other.join();
}

TEST(ProcessGate, WhatTheForkingThreadHoldsItHoldsInTheChild)
{
    ACE_Recursive_Thread_Mutex recursive;
    ACE_RW_Thread_Mutex readWrite;
    const auto isFree = [](auto& inout_lock)
    {
        bool bFree = false;
        std::thread(
            [&]
            {
                bFree = inout_lock.tryacquire() == 0;
                if (bFree)
                    inout_lock.release();
            })
            .join();
        return bFree;
    };
    int iCode = 0;
    {
        const RecursiveGuard first(recursive);
        const GatedGuard<ACE_RW_Thread_Mutex, ReadLocking> read(readWrite);
        iCode = exitCodeOfChild(
            [&]
            {
                int iResult = 0;
                {
                    const RecursiveGuard second(recursive);
                    iResult += isFree(recursive) ? 0 : 1;
                }
                iResult += isFree(recursive) ? 0 : 2;
                iResult += readWrite.tryacquire_write() == 0 ? 0 : 4;
                return iResult;
            });
    }
    EXPECT_EQ(7, iCode);
    EXPECT_TRUE(isFree(recursive));
}

TEST(ProcessGate, WorkWaitsUntilTheThreadHoldsNoLock)
{
    ACE_Thread_Mutex first;
    ACE_Thread_Mutex second;
    std::string strNotes;
    NotedWork a(strNotes, 'a');
    NotedWork b(strNotes, 'b');
    EXPECT_FALSE(ProcessGate::isHolding());
    {
        const GatedGuard<ACE_Thread_Mutex> outer(first);
        EXPECT_TRUE(ProcessGate::isHolding());
        {
            const GatedGuard<ACE_Thread_Mutex> inner(second);
            ProcessGate::whenFree(a);
            ProcessGate::whenFree(b);
        }
        EXPECT_EQ("", strNotes);
    }
    EXPECT_EQ("ab", strNotes);
    EXPECT_FALSE(ProcessGate::isHolding());
}

/// Takes a lock, under which other work is deferred.
class WorkWithWork final : public ProcessGate::Deferred
{
  public:
    WorkWithWork(std::string& out_strNotes, ACE_Thread_Mutex& in_mutex, Deferred& in_inner)
        : m_strNotes(out_strNotes), m_mutex(in_mutex), m_inner(in_inner)
    {
    }
    void run() noexcept override
    {
        m_strNotes += '(';
        {
            const GatedGuard<ACE_Thread_Mutex> guard(m_mutex);
            ProcessGate::whenFree(m_inner);
        }
        m_strNotes += ')';
    }

  private:
    std::string& m_strNotes;
    ACE_Thread_Mutex& m_mutex;
    Deferred& m_inner;
};

TEST(ProcessGate, WorkThatComesUpInWorkIsDoneWithinItAndBeforeTheNext)
{
    ACE_Thread_Mutex mutex;
    std::string strNotes;
    NotedWork inner(strNotes, 'i');
    WorkWithWork first(strNotes, mutex, inner);
    NotedWork second(strNotes, '2');
    {
        const GatedGuard<ACE_Thread_Mutex> guard(mutex);
        ProcessGate::whenFree(first);
        ProcessGate::whenFree(second);
    }
    EXPECT_EQ("(i)2", strNotes);
}

TEST(ProcessGate, WorkThatEndsTheProcessIsNotTheLast)
{
    class Ending final : public ProcessGate::Deferred
    {
      public:
        void run() noexcept override { ProcessGate::stopDeferring(); }
    };
    EXPECT_EQ(7, exitCodeOfChild(
                     []
                     {
                         ACE_Thread_Mutex mutex;
                         std::string strNotes;
                         Ending ending;
                         NotedWork second(strNotes, '2');
                         {
                             const GatedGuard<ACE_Thread_Mutex> guard(mutex);
                             ProcessGate::whenFree(ending);
                             ProcessGate::whenFree(second);
                         }
                         return strNotes == "2" ? 7 : 1;
                     }));
}

TEST(ProcessGate, WorkThatWaitsIsTheParents)
{
    ACE_Thread_Mutex mutex;
    std::string strNotes;
    NotedWork work(strNotes, 'a');
    int iCode = 0;
    {
        const GatedGuard<ACE_Thread_Mutex> guard(mutex);
        ProcessGate::whenFree(work);
        iCode = exitCodeOfChild(
            [&]
            {
                ProcessGate::stopDeferring();
                return strNotes.empty() ? 7 : 1;
            });
    }
    EXPECT_EQ(7, iCode);
    EXPECT_EQ("a", strNotes);
}

TEST(ProcessGate, NothingWaitsAnyMoreOnceTheProcessEnds)
{
    EXPECT_EQ(7, exitCodeOfChild(
                     []
                     {
                         ACE_Thread_Mutex mutex;
                         std::string strNotes;
                         NotedWork work(strNotes, 'a');
                         const GatedGuard<ACE_Thread_Mutex> guard(mutex);
                         ProcessGate::whenFree(work);
                         ProcessGate::stopWaiting();
                         return strNotes == "a" && !ProcessGate::isHolding() ? 7 : 1;
                     }));
}

TEST(ProcessGate, ALockThatCannotBeHadIsDoneWithout)
{
    ACE_RW_Thread_Mutex readWrite;
    const GatedGuard<ACE_RW_Thread_Mutex, WriteLocking> writer(readWrite);
    EXPECT_TRUE(writer.isLocked());
    {
        const GatedGuard<ACE_RW_Thread_Mutex, ReadLocking> reader(readWrite);
        EXPECT_FALSE(reader.isLocked());
        EXPECT_TRUE(ProcessGate::isHolding());
    }
    EXPECT_TRUE(ProcessGate::isHolding());
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/PerThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

using Velmora::PerThreadPool;

/// Counts its living objects. Each test uses a different `Kind`, so that it has a pool of its own.
template <int Kind>
class Counted
{
  public:
    Counted() { ++s_iNumber; }
    ~Counted() { --s_iNumber; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    Counted* m_pNextInPool = nullptr;

    static inline std::atomic<int> s_iNumber{0};
};

TEST(PerThreadPool, GivesAnObjectAgainThatCameBack)
{
    using Pool = PerThreadPool<Counted<1>>;
    auto* const pFirst = Pool::take();
    Pool::giveBack(pFirst);

    auto* const pSecond = Pool::take();

    EXPECT_EQ(pSecond, pFirst);
    EXPECT_EQ(Counted<1>::s_iNumber, 1);
    Pool::giveBack(pSecond);
}

TEST(PerThreadPool, GivesAsManyAtATimeAsAreNeeded)
{
    using Pool = PerThreadPool<Counted<2>>;

    auto* const pFirst = Pool::take();
    auto* const pSecond = Pool::take();

    EXPECT_NE(pFirst, pSecond);
    EXPECT_EQ(Counted<2>::s_iNumber, 2);
    Pool::giveBack(pFirst);
    Pool::giveBack(pSecond);
}

TEST(PerThreadPool, KeepsAllThatCameBack)
{
    using Pool = PerThreadPool<Counted<3>>;
    auto* const pFirst = Pool::take();
    auto* const pSecond = Pool::take();
    Pool::giveBack(pFirst);
    Pool::giveBack(pSecond);

    EXPECT_EQ(Pool::take(), pSecond);
    EXPECT_EQ(Pool::take(), pFirst);
    EXPECT_EQ(Counted<3>::s_iNumber, 2);

    Pool::giveBack(pFirst);
    Pool::giveBack(pSecond);
}

TEST(PerThreadPool, LeaseGivesItsObjectBack)
{
    using Pool = PerThreadPool<Counted<4>>;
    const Counted<4>* pLeased = nullptr;
    {
        const Pool::Lease lease;
        pLeased = &*lease;
        EXPECT_EQ(lease.operator->(), pLeased);
    }

    auto* const pTaken = Pool::take();

    EXPECT_EQ(pTaken, pLeased);
    Pool::giveBack(pTaken);
}

TEST(PerThreadPool, ThreadsDoNotShareTheirObjects)
{
    using Pool = PerThreadPool<Counted<5>>;
    auto* const pOfThisThread = Pool::take();
    Pool::giveBack(pOfThisThread);
    const Counted<5>* pOfOtherThread = nullptr;

    std::thread(
        [&pOfOtherThread]
        {
            const Pool::Lease lease;
            pOfOtherThread = &*lease;
        })
        .join();

    EXPECT_NE(pOfOtherThread, pOfThisThread);
}

TEST(PerThreadPool, DeletesItsObjectsWhenTheThreadEnds)
{
    using Pool = PerThreadPool<Counted<6>>;

    std::thread(
        []
        {
            const Pool::Lease first;
            const Pool::Lease second;
        })
        .join();

    EXPECT_EQ(Counted<6>::s_iNumber, 0);
}

/// A thread-local object whose destructor takes two objects from the pool.
template <class Pool, class Object>
struct TakerAtThreadEnd
{
    ~TakerAtThreadEnd()
    {
        const typename Pool::Lease first;
        const typename Pool::Lease second;
        s_iNumberWhileTaken = Object::s_iNumber;
    }

    static inline int s_iNumberWhileTaken = -1;
};

TEST(PerThreadPool, WorksForAnObjectOfTheThreadThatOutlivesThePool)
{
    using Object = Counted<8>;
    using Pool = PerThreadPool<Object>;
    using Taker = TakerAtThreadEnd<Pool, Object>;

    std::thread(
        []
        {
            // Constructed before the pool's first use, so it is destroyed after the pool.
            static thread_local Taker s_taker;
            static_cast<void>(&s_taker);
            const Pool::Lease lease;
        })
        .join();

    EXPECT_EQ(Taker::s_iNumberWhileTaken, 2);
    EXPECT_EQ(Object::s_iNumber, 0);
}

TEST(PerThreadPool, WorksForAnObjectOfTheThreadThatThePoolOutlives)
{
    using Object = Counted<9>;
    using Pool = PerThreadPool<Object>;
    using Taker = TakerAtThreadEnd<Pool, Object>;

    std::thread(
        []
        {
            {
                const Pool::Lease lease;
            }
            static thread_local Taker s_taker;
            static_cast<void>(&s_taker);
        })
        .join();

    EXPECT_EQ(Taker::s_iNumberWhileTaken, 2);
    EXPECT_EQ(Object::s_iNumber, 0);
}

TEST(PerThreadPool, WorksWhenItsFirstUseIsByADyingObjectOfTheThread)
{
    using Object = Counted<10>;
    using Pool = PerThreadPool<Object>;
    using Taker = TakerAtThreadEnd<Pool, Object>;

    std::thread(
        []
        {
            static thread_local Taker s_taker;
            static_cast<void>(&s_taker);
        })
        .join();

    EXPECT_EQ(Taker::s_iNumberWhileTaken, 2);
    EXPECT_EQ(Object::s_iNumber, 0);
}

} // namespace

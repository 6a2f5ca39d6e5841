// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Handle.h"

#include "velmora/memory/AccountMemAllocator.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// Counts the living objects.
class Leg : public virtual Object
{
  public:
    Leg() { ++s_iLiving; }
    Leg(const Leg&) = delete;
    Leg& operator=(const Leg&) = delete;
    ~Leg() override { --s_iLiving; }

    static inline std::atomic<int> s_iLiving{0};
};

class Named : public virtual Object
{
  public:
    int iName = 5;
};

/// Its bases `Object` and `Named` are at other addresses than the object itself.
class SipLeg : public Leg, public Named
{
};

template <class AnyHandle>
class HandleOf : public testing::Test
{
  protected:
    void TearDown() override { EXPECT_EQ(0, Leg::s_iLiving); }
};

struct Plain
{
    template <class T>
    using Of = Handle<T>;
};

struct ThreadSafe
{
    template <class T>
    using Of = TSHandle<T>;
};

using Kinds = testing::Types<Plain, ThreadSafe>;
TYPED_TEST_SUITE(HandleOf, Kinds);

} // namespace

TYPED_TEST(HandleOf, AHandleIsTwoPointersAndHasNoVirtualFunctions)
{
    using LegHandle = typename TypeParam::template Of<Leg>;
    EXPECT_EQ(2 * sizeof(void*), sizeof(LegHandle));
    EXPECT_FALSE(std::is_polymorphic_v<LegHandle>);
}

TYPED_TEST(HandleOf, ADefaultHandleIsNull)
{
    const typename TypeParam::template Of<Leg> hLeg;
    EXPECT_TRUE(hLeg.isNull());
    EXPECT_EQ(nullptr, hLeg.get());
    EXPECT_FALSE(hLeg);
    EXPECT_TRUE(hLeg == nullptr);
}

TYPED_TEST(HandleOf, AHandleOfANullPointerIsNull)
{
    const typename TypeParam::template Of<Leg> hLeg(static_cast<Leg*>(nullptr));
    const auto hCopy = hLeg;
    EXPECT_TRUE(hCopy.isNull());
}

TYPED_TEST(HandleOf, TheLastHandleDeletesTheObject)
{
    typename TypeParam::template Of<Leg> hLeg(new Leg);
    {
        const auto hCopy = hLeg;
        EXPECT_EQ(hLeg.get(), hCopy.get());
        hLeg.reset();
        EXPECT_TRUE(hLeg.isNull());
        EXPECT_EQ(1, Leg::s_iLiving);
    }
    EXPECT_EQ(0, Leg::s_iLiving);
}

TYPED_TEST(HandleOf, HandlesOfRelatedClassesShareOneCount)
{
    typename TypeParam::template Of<SipLeg> hSipLeg(new SipLeg);
    typename TypeParam::template Of<Leg> hLeg = hSipLeg;
    typename TypeParam::template Of<Named> hNamed(hSipLeg);
    typename TypeParam::template Of<Object> hObject;
    hObject = hNamed;
    EXPECT_EQ(static_cast<Object*>(hSipLeg.get()), hObject.get());
    EXPECT_EQ(5, hNamed->iName);
    EXPECT_TRUE(hObject == hLeg);
    hSipLeg.reset();
    hLeg.reset();
    hNamed.reset();
    EXPECT_EQ(1, Leg::s_iLiving);
    hObject.reset();
    EXPECT_EQ(0, Leg::s_iLiving);
}

TYPED_TEST(HandleOf, AMovedHandleIsNullAndItsTargetHasTheObject)
{
    typename TypeParam::template Of<SipLeg> hSipLeg(new SipLeg);
    SipLeg* const pLeg = hSipLeg.get();
    auto hMoved = std::move(hSipLeg);
    EXPECT_TRUE(hSipLeg.isNull()); // NOLINT(bugprone-use-after-move): that is the test
    EXPECT_EQ(pLeg, hMoved.get());
    typename TypeParam::template Of<Leg> hLeg = std::move(hMoved);
    EXPECT_TRUE(hMoved.isNull()); // NOLINT(bugprone-use-after-move): that is the test
    EXPECT_EQ(1, Leg::s_iLiving);
    typename TypeParam::template Of<Leg> hOther(new Leg);
    hOther = std::move(hLeg);
    EXPECT_EQ(1, Leg::s_iLiving);
    EXPECT_EQ(pLeg, hOther.get());
}

TYPED_TEST(HandleOf, AssignmentToItselfKeepsTheObject)
{
    typename TypeParam::template Of<Leg> hLeg(new Leg);
    auto& hSame = hLeg;
    hLeg = hSame;
    EXPECT_EQ(1, Leg::s_iLiving);
    EXPECT_FALSE(hLeg.isNull());
    hLeg = std::move(hSame);
    EXPECT_EQ(1, Leg::s_iLiving);
    EXPECT_FALSE(hLeg.isNull());
}

TYPED_TEST(HandleOf, AssignmentLetsTheFormerObjectGo)
{
    typename TypeParam::template Of<Leg> hLeg(new Leg);
    const typename TypeParam::template Of<Leg> hOther(new Leg);
    hLeg = hOther;
    EXPECT_EQ(1, Leg::s_iLiving);
    EXPECT_TRUE(hLeg == hOther);
    hLeg = nullptr;
    EXPECT_TRUE(hLeg.isNull());
    EXPECT_EQ(1, Leg::s_iLiving);
}

TYPED_TEST(HandleOf, AHandleIsCastDownWithItsCount)
{
    using ObjectHandle = typename TypeParam::template Of<Object>;
    using SipLegHandle = typename TypeParam::template Of<SipLeg>;
    ObjectHandle hObject(new SipLeg);
    SipLegHandle hSipLeg = SipLegHandle::dynamicCast(hObject);
    ASSERT_FALSE(hSipLeg.isNull());
    hObject.reset();
    EXPECT_EQ(1, Leg::s_iLiving);
    EXPECT_EQ(5, hSipLeg->iName);
}

TYPED_TEST(HandleOf, AHandleOfAnotherClassIsCastDownToNull)
{
    using ObjectHandle = typename TypeParam::template Of<Object>;
    using SipLegHandle = typename TypeParam::template Of<SipLeg>;
    const ObjectHandle hObject(new Leg);
    EXPECT_TRUE(SipLegHandle::dynamicCast(hObject).isNull());
    EXPECT_TRUE(SipLegHandle::dynamicCast(ObjectHandle()).isNull());
}

TYPED_TEST(HandleOf, HandlesMoveAboutInContainers)
{
    std::vector<typename TypeParam::template Of<Leg>> legs;
    for (int i = 0; i < 10; ++i)
        legs.emplace_back(new Leg);
    legs.erase(legs.begin() + 2, legs.begin() + 5);
    EXPECT_EQ(7, Leg::s_iLiving);
    std::map<int, typename TypeParam::template Of<Leg>> byNumber;
    byNumber[1] = legs.front();
    legs.clear();
    EXPECT_EQ(1, Leg::s_iLiving);
}

namespace
{

/// Exposes the protected members of a handle.
class Probe : public CountedBuiltInPtr<Leg, TSReferenceCount, DeleteCountedObjDeleter<Leg>>
{
  public:
    using CountedBuiltInPtr::CountedBuiltInPtr;

    void loseCount()
    {
        delete m_pCount;
        m_pCount = nullptr;
    }
    [[nodiscard]] const TSReferenceCount* count() const { return m_pCount; }
};

/// Records in its destructor whether the lock of the count is held.
class LooksAtLock : public virtual Object
{
  public:
    LooksAtLock(const TSReferenceCount*& in_pCount, bool& out_bLocked)
        : m_pCount(in_pCount), m_bLocked(out_bLocked)
    {
    }
    LooksAtLock(const LooksAtLock&) = delete;
    LooksAtLock& operator=(const LooksAtLock&) = delete;
    ~LooksAtLock() override { m_bLocked = m_pCount->isLocked(); }

  private:
    const TSReferenceCount*& m_pCount;
    bool& m_bLocked;
};

class LockProbe
    : public CountedBuiltInPtr<LooksAtLock, TSReferenceCount, DeleteCountedObjDeleter<LooksAtLock>>
{
  public:
    using CountedBuiltInPtr::CountedBuiltInPtr;
    [[nodiscard]] const TSReferenceCount* count() const { return m_pCount; }
};

} // namespace

TEST(HandleDeathTest, AnObjectWithoutACountStopsTheProcess)
{
    EXPECT_DEATH(
        {
            Probe probe(new Leg);
            probe.loseCount();
        },
        "CountedObjPtr\\.h:[0-9]+: .*CountedBuiltInPtr.*: Assertion `m_pObject == 0' failed");
}

TEST(TSHandle, TheCountStartsAtOneAndFollowsTheHandles)
{
    const Probe probe(new Leg);
    EXPECT_EQ(1U, probe.count()->m_uiCount);
    {
        const Probe copy(probe); // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(2U, probe.count()->m_uiCount);
        EXPECT_EQ(probe.count(), copy.count());
    }
    EXPECT_EQ(1U, probe.count()->m_uiCount);
    EXPECT_FALSE(probe.count()->isLocked());
}

TEST(TSHandle, TheObjectIsDeletedWithTheCountLocked)
{
    const TSReferenceCount* pCount = nullptr;
    bool bLocked = false;
    {
        const LockProbe probe(new LooksAtLock(pCount, bLocked));
        pCount = probe.count();
    }
    EXPECT_TRUE(bLocked);
}

TEST(TSHandle, ThreadsThatCopyAndReleaseOneObjectLeaveTheCountRight)
{
    constexpr int iRounds = 20000;
    const Probe probe(new Leg);
    const auto work = [&probe]
    {
        for (int i = 0; i < iRounds; ++i)
        {
            const Probe copy(probe);
            Probe other;
            other = copy;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(1U, probe.count()->m_uiCount);
    EXPECT_EQ(1, Leg::s_iLiving);
}

TEST(TSHandle, TheLastOfTwoThreadsDeletesTheObjectOnce)
{
    for (int iRound = 0; iRound < 500; ++iRound)
    {
        std::array<TSHandle<Leg>, 2> handles;
        handles[0] = TSHandle<Leg>(new Leg);
        handles[1] = handles[0];
        std::thread other([&handles] { handles[1].reset(); });
        handles[0].reset();
        other.join();
        ASSERT_EQ(0, Leg::s_iLiving);
    }
}

namespace
{

struct CountingDeleter
{
    void operator()(const int* in_pValue) const
    {
        ++s_iDeleted;
        delete in_pValue;
    }
    static inline int s_iDeleted = 0;
};

/// A count that cannot be allocated.
struct NoCount : ReferenceCount
{
    static void* operator new(std::size_t) { throw std::bad_alloc(); }
    static void operator delete(void*) {}
};

} // namespace

TEST(CountedBuiltInPtr, PointsToWhatIsNoObjectAndHasItsOwnDeleter)
{
    CountingDeleter::s_iDeleted = 0;
    {
        const CountedBuiltInPtr<int, ReferenceCount, CountingDeleter> pValue(new int(3));
        auto pCopy = pValue;
        EXPECT_EQ(3, *pCopy);
        *pCopy = 4;
        EXPECT_EQ(4, *pValue);
    }
    EXPECT_EQ(1, CountingDeleter::s_iDeleted);
}

TEST(CountedBuiltInPtr, WithoutMemoryForItsCountTheObjectIsDeleted)
{
    CountingDeleter::s_iDeleted = 0;
    using Pointer = CountedBuiltInPtr<int, NoCount, CountingDeleter>;
    EXPECT_THROW(Pointer(new int(3)), std::bad_alloc);
    EXPECT_EQ(1, CountingDeleter::s_iDeleted);
}

TEST(CountedObjPtr, DeletesByTheClassThatItIsGiven)
{
    struct Deleter
    {
        void operator()(Leg* in_pLeg) const { delete in_pLeg; }
    };
    {
        const CountedObjPtr<Leg, ReferenceCount, Deleter> pLeg(new Leg);
        EXPECT_FALSE(pLeg.isNull());
    }
    EXPECT_EQ(0, Leg::s_iLiving);
}

namespace
{

/// A count that fails the test if it is read or changed without its lock.
class GuardedCount
{
  public:
    class Number
    {
      public:
        Number& operator++()
        {
            expectLocked();
            ++m_uiNumber;
            return *this;
        }
        Number& operator--()
        {
            expectLocked();
            --m_uiNumber;
            return *this;
        }
        bool operator==(unsigned in_uiNumber) const
        {
            expectLocked();
            return m_uiNumber == in_uiNumber;
        }

      private:
        unsigned m_uiNumber = 1;
    };

    void acquireLock()
    {
        EXPECT_FALSE(s_bLocked);
        s_bLocked = true;
        ++s_iLocks;
    }
    void releaseLock()
    {
        expectLocked();
        s_bLocked = false;
    }
    static void expectLocked() { EXPECT_TRUE(s_bLocked); }

    static inline bool s_bLocked = false;
    static inline int s_iLocks = 0;
    Number m_uiCount;
};

class DiesUnderTheLock : public virtual Object
{
  public:
    ~DiesUnderTheLock() override { GuardedCount::expectLocked(); }
};

} // namespace

TEST(Handle, TakesTheLockOfTheCountOnceForEachCopyAndEachRelease)
{
    {
        const Handle<DiesUnderTheLock, GuardedCount> hFirst(new DiesUnderTheLock);
        EXPECT_EQ(0, GuardedCount::s_iLocks);
        const Handle<DiesUnderTheLock, GuardedCount> hCopy(hFirst);
        EXPECT_EQ(1, GuardedCount::s_iLocks);
        EXPECT_FALSE(GuardedCount::s_bLocked);
    }
    EXPECT_EQ(3, GuardedCount::s_iLocks);
    EXPECT_FALSE(GuardedCount::s_bLocked);
}

} // namespace Velmora::Test

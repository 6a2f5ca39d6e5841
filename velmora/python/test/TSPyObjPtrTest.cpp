// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/TSPyObjPtr.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/StartedPython.h"
#include "velmora/Sanitizers.h"

#include <ace/Object_Manager.h>

#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

using boost::python::object;

/// A Python object whose reference count is known. Its own reference is never dropped, so the
/// object is not finalised.
class CountedObject
{
  public:
    CountedObject() : m_pObject(locked([] { return PyList_New(0); })) {}

    [[nodiscard]] PyObject* get() const { return m_pObject; }

    [[nodiscard]] Py_ssize_t count() const
    {
        return locked([this] { return Py_REFCNT(m_pObject); });
    }

    /// Returns a new handle on the object.
    [[nodiscard]] TSPyObjPtr handle() const
    {
        return locked([this] { return TSPyObjPtr(object(boost::python::borrowed(m_pObject))); });
    }

  private:
    PyObject* m_pObject;
};

/// Returns how often a function takes the interpreter lock on a thread that is not inside Python.
/// Python makes a thread state for each such entry and numbers these states.
std::uint64_t countEntries(const std::function<void()>& in_function)
{
    std::uint64_t uiBefore = 0;
    std::uint64_t uiAfter = 0;
    const auto number = []
    { return locked([] { return PyThreadState_GetID(PyThreadState_Get()); }); };
    onAnotherThread(
        [&]
        {
            uiBefore = number();
            in_function();
            uiAfter = number();
        });
    return uiAfter - uiBefore - 1;
}

Py_ssize_t countOfNone()
{
    return locked([] { return Py_REFCNT(Py_None); });
}

/// Makes a function callable for scripts, by the name "native" in the module "__main__".
void setNative(const std::function<void()>& in_function)
{
    static std::function<void()> s_function;
    s_function = in_function;
    const Python::InterpreterLock lock;
    boost::python::import("__main__").attr("native") =
        boost::python::make_function(+[] { s_function(); });
}

/// Returns a handle on a new object whose finaliser calls "native".
TSPyObjPtr withFinaliser()
{
    runScript("class Finalised:\n"
              "    def __del__(self):\n"
              "        native()\n"
              "finalised = Finalised()\n");
    const Python::InterpreterLock lock;
    object scope = boost::python::import("__main__").attr("__dict__");
    TSPyObjPtr pResult(scope["finalised"]);
    scope["finalised"].del();
    return pResult;
}

/// A base class that fails in the place of the Python reference of a handle.
struct RaisesInConstructor
{
    RaisesInConstructor() { throw std::runtime_error("no reference"); }
};

struct RaisesWithLock : TSPyObjPtrBase, RaisesInConstructor
{
};

constexpr int s_iThreads = VELMORA_THREAD_SANITIZER ? 500 : 10000;

} // namespace

TEST(TSPyObjPtr, HasTheLockStateThenTheReferenceAndNothingElse)
{
    static_assert(!std::is_polymorphic_v<TSPyObjPtr>);
    static_assert(sizeof(TSPyObjPtrBase) == sizeof(int));
    static_assert(sizeof(TSPyObjPtr) == 2 * sizeof(void*));
    static_assert(std::is_nothrow_destructible_v<TSPyObjPtr>);
    const TSPyObjPtr pHandle;
    const void* const pBase = static_cast<const TSPyObjPtrBase*>(&pHandle);
    const void* const pReference = static_cast<const object*>(&pHandle);
    EXPECT_EQ(pBase, &pHandle);
    EXPECT_LT(pBase, pReference);
}

TEST(TSPyObjPtr, RefersToNoneWhenDefaultConstructed)
{
    const StartedPython python;
    const TSPyObjPtr pHandle;
    EXPECT_EQ(pHandle.ptr(), Py_None);
}

TEST(TSPyObjPtr, CountsItsReferenceToNone)
{
    const StartedPython python;
    const Py_ssize_t iBefore = countOfNone();
    {
        const TSPyObjPtr pHandle;
        EXPECT_EQ(countOfNone(), iBefore + 1);
    }
    EXPECT_EQ(countOfNone(), iBefore);
}

TEST(TSPyObjPtr, CopyIsOneMoreReferenceToTheSameObject)
{
    const StartedPython python;
    const CountedObject counted;
    const TSPyObjPtr pHandle = counted.handle();
    EXPECT_EQ(counted.count(), 2);
    {
        const TSPyObjPtr pCopy(pHandle);
        EXPECT_EQ(pCopy.ptr(), counted.get());
        EXPECT_EQ(counted.count(), 3);
    }
    EXPECT_EQ(counted.count(), 2);
}

TEST(TSPyObjPtr, IsMadeFromAnObject)
{
    const StartedPython python;
    const CountedObject counted;
    const Python::InterpreterLock lock;
    const object ofCaller(boost::python::borrowed(counted.get()));
    const TSPyObjPtr pHandle(ofCaller);
    EXPECT_EQ(pHandle.ptr(), counted.get());
    EXPECT_EQ(counted.count(), 3);
}

TEST(TSPyObjPtr, AssignmentDropsTheOldObjectAndTakesTheNew)
{
    const StartedPython python;
    const CountedObject first;
    const CountedObject second;
    TSPyObjPtr pHandle = first.handle();
    const TSPyObjPtr pOther = second.handle();
    EXPECT_EQ(&(pHandle = pOther), &pHandle);
    EXPECT_EQ(pHandle.ptr(), second.get());
    EXPECT_EQ(first.count(), 1);
    EXPECT_EQ(second.count(), 3);
}

TEST(TSPyObjPtr, TakesAnAssignedObject)
{
    const StartedPython python;
    const CountedObject first;
    const CountedObject second;
    TSPyObjPtr pHandle = first.handle();
    {
        const Python::InterpreterLock lock;
        const object ofCaller(boost::python::borrowed(second.get()));
        EXPECT_EQ(&(pHandle = ofCaller), &pHandle);
    }
    EXPECT_EQ(pHandle.ptr(), second.get());
    EXPECT_EQ(first.count(), 1);
    EXPECT_EQ(second.count(), 2);
}

TEST(TSPyObjPtr, StaysAsItIsWhenItsOwnObjectIsAssigned)
{
    const StartedPython python;
    const CountedObject counted;
    TSPyObjPtr pHandle = counted.handle();
    pHandle = static_cast<const object&>(pHandle);
    EXPECT_EQ(pHandle.ptr(), counted.get());
    EXPECT_EQ(counted.count(), 2);
}

TEST(TSPyObjPtr, RefersToNoneAfterSetToNull)
{
    const StartedPython python;
    const CountedObject counted;
    TSPyObjPtr pHandle = counted.handle();
    pHandle.setToNull();
    EXPECT_EQ(pHandle.ptr(), Py_None);
    EXPECT_EQ(counted.count(), 1);
}

TEST(TSPyObjPtr, IsSetToNullByAZero)
{
    const StartedPython python;
    const CountedObject counted;
    TSPyObjPtr pHandle = counted.handle();
    EXPECT_EQ(&(pHandle = 0), &pHandle);
    EXPECT_EQ(pHandle.ptr(), Py_None);
    EXPECT_EQ(counted.count(), 1);
}

TEST(TSPyObjPtr, AssertsThatAnAssignedNumberIsZeroAndStaysAsItIs)
{
    const StartedPython python;
    const CountedObject counted;
    TSPyObjPtr pHandle = counted.handle();
    const CapturedLog log;
    EXPECT_EQ(&(pHandle = 1), &pHandle);
    EXPECT_EQ(failedAssertions(log), std::vector<FailedAssertion>{failedAssertion(
                                         "iZero == 0", "TSPyObjPtr", "keswardin.infra.Assertion")});
    EXPECT_EQ(pHandle.ptr(), counted.get());
    EXPECT_EQ(counted.count(), 2);
}

TEST(TSPyObjPtr, TakesTheLockOnceForACopyAndOnceForItsEnd)
{
    const StartedPython python;
    const TSPyObjPtr pHandle = CountedObject().handle();
    EXPECT_EQ(countEntries([&] { const TSPyObjPtr pCopy(pHandle); }), 2U);
    EXPECT_EQ(countEntries([] { const TSPyObjPtr pNull; }), 2U);
}

TEST(TSPyObjPtr, TakesTheLockOnceForAnAssignment)
{
    const StartedPython python;
    const TSPyObjPtr pHandle = CountedObject().handle();
    TSPyObjPtr pOther;
    EXPECT_EQ(countEntries([&] { pOther = pHandle; }), 1U);
    EXPECT_EQ(countEntries([&] { pOther = 0; }), 1U);
    EXPECT_EQ(countEntries([&] { pOther.setToNull(); }), 1U);
}

TEST(TSPyObjPtr, TakesNoLockWhenItIsAssignedToItself)
{
    const StartedPython python;
    const CountedObject counted;
    TSPyObjPtr pHandle = counted.handle();
    const TSPyObjPtr& pItself = pHandle;
    EXPECT_EQ(countEntries([&] { pHandle = pItself; }), 0U);
    EXPECT_EQ(pHandle.ptr(), counted.get());
    EXPECT_EQ(counted.count(), 2);
}

TEST(TSPyObjPtr, HoldsTheLockForNoLongerThanAnOperation)
{
    const StartedPython python;
    TSPyObjPtr pHandle;
    enterOnAnotherThread();
    TSPyObjPtr pCopy(pHandle);
    enterOnAnotherThread();
    pCopy = pHandle;
    enterOnAnotherThread();
    pCopy.setToNull();
    enterOnAnotherThread();
    std::optional<TSPyObjPtr> pThird(pHandle);
    pThird.reset();
    enterOnAnotherThread();
}

TEST(TSPyObjPtr, IsDestroyedOnAThreadThatHasNeverEnteredPython)
{
    const StartedPython python;
    const CountedObject counted;
    auto pHandle = std::make_unique<TSPyObjPtr>(counted.handle());
    onAnotherThread([&] { pHandle.reset(); });
    EXPECT_EQ(counted.count(), 1);
}

TEST(TSPyObjPtr, MayBeUsedWithTheLockHeld)
{
    const StartedPython python;
    const CountedObject counted;
    const Python::InterpreterLock lock;
    {
        TSPyObjPtr pHandle = counted.handle();
        const TSPyObjPtr pCopy(pHandle);
        EXPECT_EQ(Py_REFCNT(counted.get()), 3);
        pHandle.setToNull();
        pHandle = pCopy;
        EXPECT_TRUE(Python::InterpreterLock::isHeld());
    }
    EXPECT_TRUE(Python::InterpreterLock::isHeld());
    EXPECT_EQ(Py_REFCNT(counted.get()), 1);
}

TEST(TSPyObjPtr, GivesTheLockUpWhenItsReferenceCannotBeMade)
{
    const StartedPython python;
    EXPECT_THROW(RaisesWithLock(), std::runtime_error);
    EXPECT_FALSE(Python::InterpreterLock::isHeld());
    enterOnAnotherThread();
}

TEST(TSPyObjPtr, RunsTheFinaliserOfItsObjectWithTheLockHeld)
{
    const StartedPython python;
    std::optional<TSPyObjPtr> pHandle(withFinaliser());
    int iRuns = 0;
    setNative(
        [&]
        {
            ++iRuns;
            EXPECT_TRUE(Python::InterpreterLock::isHeld());
        });
    onAnotherThread([&] { pHandle.reset(); });
    EXPECT_EQ(iRuns, 1);
}

TEST(TSPyObjPtr, AFinaliserMayUseOtherHandles)
{
    const StartedPython python;
    const CountedObject counted;
    const TSPyObjPtr pSource = counted.handle();
    TSPyObjPtr pTarget;
    std::optional<TSPyObjPtr> pHandle(withFinaliser());
    setNative(
        [&]
        {
            const TSPyObjPtr pCopy(pSource);
            pTarget = pCopy;
        });
    onAnotherThread([&] { pHandle.reset(); });
    EXPECT_EQ(pTarget.ptr(), counted.get());
    EXPECT_EQ(counted.count(), 3);
    enterOnAnotherThread();
}

TEST(TSPyObjPtr, AFinaliserSeesAndMayAssignTheHandleThatIsAssigned)
{
    const StartedPython python;
    const CountedObject first;
    const CountedObject second;
    const TSPyObjPtr pFirst = first.handle();
    const TSPyObjPtr pSecond = second.handle();
    TSPyObjPtr pHandle = withFinaliser();
    const PyObject* pSeen = nullptr;
    setNative(
        [&]
        {
            pSeen = pHandle.ptr();
            pHandle = pSecond;
        });
    onAnotherThread([&] { pHandle = pFirst; });
    EXPECT_EQ(pSeen, first.get());
    EXPECT_EQ(pHandle.ptr(), second.get());
    EXPECT_EQ(first.count(), 2);
    EXPECT_EQ(second.count(), 3);
    // The interpreter lock has been released.
    enterOnAnotherThread();
}

TEST(TSPyObjPtr, AFinaliserThatRaisesIsNoFailureOfTheHandle)
{
    const StartedPython python;
    runScript("import sys\n"
              "unraisable = []\n"
              "sys.unraisablehook = lambda info: unraisable.append(str(info.exc_value))\n");
    std::optional<TSPyObjPtr> pHandle(withFinaliser());
    setNative([] { throw std::runtime_error("cannot finalise"); });
    onAnotherThread([&] { pHandle.reset(); });
    EXPECT_EQ(evaluate("unraisable"), "['cannot finalise']");
}

TEST(TSPyObjPtr, LeavesAPendingErrorOfTheCallerAsItIs)
{
    const StartedPython python;
    std::optional<TSPyObjPtr> pHandle(withFinaliser());
    setNative([] {});
    const Python::InterpreterLock lock;
    PyErr_SetString(PyExc_ValueError, "of the caller");
    pHandle.reset();
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_ValueError));
    PyErr_Clear();
}

TEST(TSPyObjPtr, TakesNoLockBeforePythonStarts)
{
    const Py_ssize_t iCount = Py_REFCNT(Py_None);
    {
        TSPyObjPtr pHandle;
        TSPyObjPtr pCopy(pHandle);
        TSPyObjPtr pThird{static_cast<const object&>(pHandle)};
        pCopy = pThird;
        pCopy = 0;
        pThird.setToNull();
        EXPECT_EQ(pCopy.ptr(), Py_None);
        EXPECT_EQ(pThird.ptr(), Py_None);
        EXPECT_EQ(Py_REFCNT(Py_None), iCount);
    }
    EXPECT_EQ(Py_REFCNT(Py_None), iCount);
    EXPECT_EQ(Py_IsInitialized(), 0);
}

TEST(TSPyObjPtr, MayBeUsedOnSeveralThreadsBeforePythonStarts)
{
    const auto use = []
    {
        for (int i = 0; i != 1000; ++i)
        {
            TSPyObjPtr pHandle;
            const TSPyObjPtr pCopy(pHandle);
            pHandle = pCopy;
        }
    };
    const Py_ssize_t iCount = Py_REFCNT(Py_None);
    std::thread first(use);
    std::thread second(use);
    first.join();
    second.join();
    EXPECT_EQ(Py_REFCNT(Py_None), iCount);
}

TEST(TSPyObjPtr, StaysRightWhenItWasMadeBeforePythonStarted)
{
    std::optional<TSPyObjPtr> pDropped;
    pDropped.emplace();
    TSPyObjPtr pAssigned;
    TSPyObjPtr pAssignedByItsBase;
    TSPyObjPtr pSource;
    const StartedPython python;
    const CountedObject counted;
    const TSPyObjPtr pHandle = counted.handle();
    const Py_ssize_t iCount = countOfNone();
    {
        const TSPyObjPtr pCopy(pSource);
        EXPECT_EQ(countOfNone(), iCount + 1);
    }
    EXPECT_EQ(countOfNone(), iCount);
    pDropped.reset();
    EXPECT_EQ(countOfNone(), iCount);
    pAssigned = pHandle;
    EXPECT_EQ(countOfNone(), iCount);
    EXPECT_EQ(pAssigned.ptr(), counted.get());
    locked(
        [&]
        { return static_cast<object&>(pAssignedByItsBase) = static_cast<const object&>(pHandle); });
    EXPECT_EQ(pAssignedByItsBase.ptr(), counted.get());
    pAssignedByItsBase.setToNull();
    EXPECT_EQ(countOfNone(), iCount + 1);
    EXPECT_EQ(counted.count(), 3);
}

TEST(TSPyObjPtr, LeaksItsReferenceOncePythonHasEnded)
{
    const StartedPython python;
    const CountedObject counted;
    std::optional<TSPyObjPtr> pDropped(counted.handle());
    TSPyObjPtr pAssigned = counted.handle();
    TSPyObjPtr pSetToNull = counted.handle();
    TSPyObjPtr pCopied = counted.handle();
    ASSERT_EQ(PyGILState_Ensure(), PyGILState_UNLOCKED);
    Py_Finalize();
    const Py_ssize_t iCount = Py_REFCNT(counted.get());
    const Py_ssize_t iCountOfNone = Py_REFCNT(Py_None);
    pDropped.reset();
    const TSPyObjPtr pCopy(pCopied);
    EXPECT_EQ(pCopy.ptr(), Py_None);
    pAssigned = pCopied;
    EXPECT_EQ(pAssigned.ptr(), Py_None);
    pSetToNull = 0;
    EXPECT_EQ(pSetToNull.ptr(), Py_None);
    EXPECT_EQ(pCopied.ptr(), counted.get());
    EXPECT_EQ(Py_REFCNT(counted.get()), iCount);
    EXPECT_EQ(Py_REFCNT(Py_None), iCountOfNone);
}

TEST(TSPyObjPtr, MayBeDroppedOnSeveralThreadsOncePythonHasEnded)
{
    const StartedPython python;
    const CountedObject counted;
    const TSPyObjPtr pHandle = counted.handle();
    std::array<std::vector<TSPyObjPtr>, 2> handles;
    for (auto& ofThread : handles)
        ofThread.assign(100, pHandle);
    ASSERT_EQ(PyGILState_Ensure(), PyGILState_UNLOCKED);
    Py_Finalize();
    const Py_ssize_t iCount = Py_REFCNT(counted.get());
    std::thread first([&] { handles[0].clear(); });
    std::thread second([&] { handles[1].clear(); });
    first.join();
    second.join();
    EXPECT_EQ(Py_REFCNT(counted.get()), iCount);
}

TEST(TSPyObjPtr, IsSafeWhileAndAfterTheProcessEndsPython)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto end = []
    {
        const StartedPython python;
        const TSPyObjPtr pHandle = CountedObject().handle();
        auto pDropped = std::make_unique<TSPyObjPtr>(pHandle);
        std::atomic<bool> bStop{false};
        std::array<std::thread, 2> threads;
        for (std::thread& thread : threads)
            thread = std::thread(
                [&]
                {
                    while (!bStop)
                    {
                        TSPyObjPtr pCopy(pHandle);
                        pCopy = 0;
                    }
                });
        ACE_Object_Manager::instance()->fini();
        pDropped.reset();
        const TSPyObjPtr pCopy(pHandle);
        bStop = true;
        for (std::thread& thread : threads)
            thread.join();
        _exit(pCopy.ptr() == Py_None ? 0 : 1);
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(0), "");
}

TEST(TSPyObjPtr, LeaksItsReferenceInTheChildOfAFork)
{
    const StartedPython python;
    const CapturedLog log;
    const CountedObject counted;
    const TSPyObjPtr pHandle = counted.handle();
    TSPyObjPtr pSetToNull = counted.handle();
    auto pDropped = std::make_unique<TSPyObjPtr>(pHandle);
    const int iCode = exitCodeOfChild(
        [&]
        {
            const Py_ssize_t iCount = Py_REFCNT(counted.get());
            const TSPyObjPtr pCopy(pHandle);
            pSetToNull.setToNull();
            pDropped.reset();
            return pCopy.ptr() == Py_None && pSetToNull.ptr() == Py_None &&
                           Py_REFCNT(counted.get()) == iCount
                       ? 0
                       : 1;
        });
    EXPECT_EQ(iCode, 0);
}

TEST(TSPyObjPtr, ManyThreadsThatHoldAndDropHandlesLeaveTheCountsAsTheyWere)
{
    const StartedPython python;
    const CountedObject counted;
    const TSPyObjPtr pHandle = counted.handle();
    const Py_ssize_t iCountOfNone = countOfNone();
    const auto startAndEnd = [&]
    {
        for (int i = 0; i != s_iThreads / 2; ++i)
            onAnotherThread(
                [&]
                {
                    TSPyObjPtr pFirst(pHandle);
                    const TSPyObjPtr pSecond(pFirst);
                    TSPyObjPtr pThird;
                    pThird = pSecond;
                    pFirst = 0;
                });
    };
    std::thread first(startAndEnd);
    std::thread second(startAndEnd);
    first.join();
    second.join();
    EXPECT_EQ(counted.count(), 2);
    EXPECT_EQ(countOfNone(), iCountOfNone);
}

TEST(TSPyObjPtr, TwoThreadsThatCopyAndDropTheSameHandleLeaveTheCountsAsTheyWere)
{
    const StartedPython python;
    const CountedObject counted;
    const TSPyObjPtr pHandle = counted.handle();
    const Py_ssize_t iCountOfNone = countOfNone();
    const auto copyAndDrop = [&]
    {
        for (int i = 0; i != s_iThreads; ++i)
        {
            TSPyObjPtr pCopy(pHandle);
            if (i % 2 == 0)
                pCopy.setToNull();
        }
    };
    std::thread first(copyAndDrop);
    std::thread second(copyAndDrop);
    first.join();
    second.join();
    EXPECT_EQ(counted.count(), 2);
    EXPECT_EQ(countOfNone(), iCountOfNone);
}

} // namespace Velmora::Test

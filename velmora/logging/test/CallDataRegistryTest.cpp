// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallDataRegistry.h"

#include "velmora/application/SingletonRegistry.h"
#include "velmora/logging/CallDataRegistryImpl.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CallLogging.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// Calls the operations that are for handles only, and reads the registry's internals.
class CallDataRegistryPeer
{
  public:
    static void increment(const char* in_szId)
    {
        CallDataRegistryImpl::getInstance()->incrementRefCount(in_szId);
    }
    static void decrement(const char* in_szId)
    {
        CallDataRegistryImpl::getInstance()->decrementRefCount(in_szId);
    }
    static std::size_t& refCount(const char* in_szId)
    {
        return CallDataRegistryImpl::getInstance()->m_callDataHash.at(in_szId)->m_uiRefCnt;
    }
    /// Returns whether threads that wait for a mutex of the registry spin before they sleep.
    static bool areMutexesAdaptive()
    {
        CallDataRegistryImpl& registry = *CallDataRegistryImpl::getInstance();
        return registry.m_tableMutex.lock().__data.__kind == PTHREAD_MUTEX_ADAPTIVE_NP &&
               registry.m_refCountMutex.lock().__data.__kind == PTHREAD_MUTEX_ADAPTIVE_NP;
    }
    /// Returns the number of buckets of the table, which changes with each rehash.
    static std::size_t bucketCount()
    {
        return CallDataRegistryImpl::getInstance()->m_callDataHash.bucket_count();
    }
    static bool isTableLocked()
    {
        return isLocked(CallDataRegistryImpl::getInstance()->m_tableMutex);
    }
    static bool areReferencesLocked()
    {
        return isLocked(CallDataRegistryImpl::getInstance()->m_refCountMutex);
    }

  private:
    static bool isLocked(ACE_Thread_Mutex& out_mutex)
    {
        if (out_mutex.tryacquire() != 0)
            return true;
        out_mutex.release();
        return false;
    }
};

namespace
{

using Handle = CallDataRegistry::CallDataHandle;
using Peer = CallDataRegistryPeer;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* s_szLogger = "keswardin.infra.CallData";

CallDataRegistry& registry() { return *CallDataRegistry::getInstance(); }

Handle call(const char* in_szId = "abc") { return registry().getCallData(in_szId); }

/// Holds calls with different ids and counts the rehashes of the table. `end` ends the oldest call.
class Calls
{
  public:
    void begin()
    {
        m_calls.push_back(call(std::to_string(++m_iLast).c_str()));
        look();
    }
    void end()
    {
        m_calls.pop_front();
        look();
    }
    void beginUntil(std::size_t in_uiCalls)
    {
        while (m_calls.size() < in_uiCalls)
            begin();
    }

    void endUntil(std::size_t in_uiCalls)
    {
        while (m_calls.size() > in_uiCalls)
            end();
    }

    /// Returns the number of rehashes since the last call of this function.
    int takeRehashes() { return std::exchange(m_iRehashes, 0); }

  private:
    /// Counts a rehash if the number of buckets has changed.
    void look()
    {
        if (std::exchange(m_uiBuckets, Peer::bucketCount()) != Peer::bucketCount())
            ++m_iRehashes;
    }

    std::deque<Handle> m_calls;
    int m_iLast = 0;
    std::size_t m_uiBuckets = Peer::bucketCount();
    int m_iRehashes = 0;
};

} // namespace

// Interfaces.

TEST(CallDataRegistry, IsTheImplementationUnderItsKey)
{
    EXPECT_EQ(CallDataRegistryImpl::getInstance(), CallDataRegistry::getInstance());
    EXPECT_EQ(SingletonRegistry::getInstance()->find("CallDataRegistryImpl::Singleton"),
              CallDataRegistryImpl::getInstance());
    EXPECT_EQ(CallDataRegistryImpl::getInstance(), CallDataRegistryImpl::ifAlive());
}

TEST(CallDataRegistry, BeginsWithoutCalls)
{
    EXPECT_EQ(0U, registry().getCurrentNumCall());
    EXPECT_EQ(0U, registry().getMaxNumCall());
}

TEST(CallDataRegistry, ACallIsOneOfTheObjectModelAndCountsAreAsWideAsPointers)
{
    static_assert(std::is_base_of_v<Object, CallData>);
    static_assert(std::is_base_of_v<Object, CallDataRegistry>);
    static_assert(std::is_base_of_v<CallData, CallDataRegistry::CallDataImpl>);
    static_assert(std::is_same_v<std::size_t, decltype(registry().getCurrentNumCall())>);
    static_assert(std::is_same_v<std::size_t, decltype(registry().getMaxNumCall())>);
    static_assert(std::is_same_v<LimitedObjPtr<CallData>, decltype(call().operator->())>);
}

// Begin and end of calls.

TEST(CallDataRegistry, TheFirstHandleBeginsACallAndTheLastOneEndsIt)
{
    const CapturedLog log;
    {
        const Handle hCall = call();
        EXPECT_STREQ("abc", hCall->getCallId());
        EXPECT_EQ(1U, registry().getCurrentNumCall());
    }
    EXPECT_EQ(0U, registry().getCurrentNumCall());
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            debugLine(s_szLogger,
                      "CallDataRegistryImpl::getCallData : Call start : abc (1 active call(s))"),
            debugLine(s_szLogger,
                      "CallDataRegistryImpl::decrementRefCount : Call end : abc (0 active "
                      "call(s))")));
}

TEST(CallDataRegistry, TwoHandlesForOneIdAreOnTheSameObjectAndNeedTwoReleases)
{
    Handle hFirst = call();
    const CapturedLog log;
    Handle hSecond = call();

    EXPECT_EQ(hFirst.operator->(), hSecond.operator->());
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger,
                                      "CallDataRegistryImpl::getCallData : Call already exists  : "
                                      "abc (1 active call(s))")));
    hFirst.releaseObject();
    EXPECT_THAT(log.lines(), SizeIs(1));
    EXPECT_EQ(1U, registry().getCurrentNumCall());
    hSecond.releaseObject();
    EXPECT_THAT(log.lines(), SizeIs(2));
    EXPECT_EQ(debugLine(s_szLogger, "CallDataRegistryImpl::decrementRefCount : Call end : abc (0 "
                                    "active call(s))"),
              log.lines().back());
}

TEST(CallDataRegistry, TheHighestNumberOfCallsStaysWhenCallsHaveEnded)
{
    {
        const Handle hFirst = call("1");
        const Handle hSecond = call("2");
        const Handle hThird = call("3");
        const Handle hAgain = call("3");
        EXPECT_EQ(3U, registry().getCurrentNumCall());
        EXPECT_EQ(3U, registry().getMaxNumCall());
    }
    EXPECT_EQ(0U, registry().getCurrentNumCall());
    EXPECT_EQ(3U, registry().getMaxNumCall());
    const Handle hNext = call("4");
    EXPECT_EQ(1U, registry().getCurrentNumCall());
    EXPECT_EQ(3U, registry().getMaxNumCall());
}

TEST(CallDataRegistry, AnIdAfterTheEndOfItsCallIsThatOfANewCall)
{
    call();
    const CapturedLog log;
    call();

    EXPECT_EQ(debugLine(s_szLogger,
                        "CallDataRegistryImpl::getCallData : Call start : abc (1 active call(s))"),
              log.lines().front());
}

TEST(CallDataRegistry, TheTextOfTheIdMayGoOnceTheCallHasBegun)
{
    std::string strId = "an id that is longer than any short string";
    Handle hCall = call(strId.c_str());
    strId.assign(strId.size(), 'x');

    EXPECT_STREQ("an id that is longer than any short string", hCall->getCallId());
    hCall.releaseObject();
    EXPECT_EQ(0U, registry().getCurrentNumCall());
}

TEST(CallDataRegistry, ItsOperationsAreTraced)
{
    Logger(s_szLogger).setLogLevel(TRACE_LOG_LEVEL);
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        const Handle hCall = call();
        const Handle hCopy(hCall);
    }
    std::vector<std::string> traced;
    for (const LogLine& line : log.linesOf(s_szLogger))
        if (line.level == TRACE_LOG_LEVEL)
            traced.push_back(line.strText);
    EXPECT_THAT(traced, ElementsAre("entering CallDataRegistryImpl::getCallData",
                                    "exiting CallDataRegistryImpl::getCallData",
                                    "entering CallDataRegistryImpl::::incrementRefCount",
                                    "exiting CallDataRegistryImpl::::incrementRefCount",
                                    "entering CallDataRegistryImpl::decrementRefCount",
                                    "exiting CallDataRegistryImpl::decrementRefCount",
                                    "entering CallDataRegistryImpl::decrementRefCount",
                                    "exiting CallDataRegistryImpl::decrementRefCount"));
}

// Handles.

TEST(CallDataHandle, IsEmptyAtFirst)
{
    EXPECT_TRUE(Handle().isNull());
    EXPECT_TRUE(Handle("abc").isNull());
    EXPECT_EQ(0U, registry().getCurrentNumCall());
}

TEST(CallDataHandle, AnEmptyOneFailsAnAssertionWhenItsCallIsUsedAndGivesNull)
{
    const CapturedLog log;

    EXPECT_TRUE(Handle("abc").operator->().isNull());

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("! this->m_pCallData.isNull()", "CallDataRegistry",
                                            s_szLogger)));
    EXPECT_THAT(log.lines(), SizeIs(1));
}

TEST(CallDataHandle, ACopyCountsOneMore)
{
    const Handle hCall = call();
    {
        const Handle hCopy(hCall);
        EXPECT_EQ(2U, Peer::refCount("abc"));
        EXPECT_EQ(hCall.operator->(), hCopy.operator->());
    }
    EXPECT_EQ(1U, Peer::refCount("abc"));
}

TEST(CallDataHandle, CopyingAnEmptyOneCountsNothing)
{
    const Handle hCall = call();
    const CapturedLog log;
    const Handle hEmpty("abc");
    const Handle hCopy(hEmpty);
    Handle hAssigned;
    hAssigned = hEmpty;

    EXPECT_TRUE(hCopy.isNull());
    EXPECT_TRUE(hAssigned.isNull());
    EXPECT_EQ(1U, Peer::refCount("abc"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CallDataHandle, AMovedOneTakesTheReferenceOver)
{
    Handle hFirst = call();
    Handle hSecond(std::move(hFirst));
    EXPECT_EQ(1U, Peer::refCount("abc"));
    EXPECT_TRUE(hFirst.isNull()); // NOLINT(bugprone-use-after-move)
    Handle hThird = call("other");
    hThird = std::move(hSecond);
    EXPECT_EQ(1U, Peer::refCount("abc"));
    EXPECT_EQ(1U, registry().getCurrentNumCall());
    EXPECT_STREQ("abc", hThird->getCallId());
    Handle& hSame = hThird;
    hThird = std::move(hSame);
    EXPECT_STREQ("abc", hThird->getCallId());
}

TEST(CallDataHandle, AssigningReleasesTheOldCallBeforeItCountsTheNewOne)
{
    const Handle hNew = call("new");
    Handle hCall = call("old");
    Logger(s_szLogger).setLogLevel(TRACE_LOG_LEVEL);
    const CapturedLog log(TRACE_LOG_LEVEL);

    hCall = hNew;

    EXPECT_EQ(2U, Peer::refCount("new"));
    EXPECT_STREQ("new", hCall->getCallId());
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(traceLine(s_szLogger, "entering CallDataRegistryImpl::decrementRefCount"),
                    debugLine(s_szLogger, "CallDataRegistryImpl::decrementRefCount : Call end : "
                                          "old (1 active call(s))"),
                    traceLine(s_szLogger, "exiting CallDataRegistryImpl::decrementRefCount"),
                    traceLine(s_szLogger, "entering CallDataRegistryImpl::::incrementRefCount"),
                    traceLine(s_szLogger, "exiting CallDataRegistryImpl::::incrementRefCount")));
}

TEST(CallDataHandle, AssigningToItselfChangesNothingAlsoWithACountOfOne)
{
    Handle hCall = call();
    const CapturedLog log;
    const Handle& hSame = hCall;

    hCall = hSame;

    EXPECT_EQ(1U, Peer::refCount("abc"));
    EXPECT_STREQ("abc", hCall->getCallId());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CallDataHandle, AssigningOfTheSameCallKeepsItsCount)
{
    Handle hFirst = call();
    const Handle hSecond = call();

    hFirst = hSecond;

    EXPECT_EQ(2U, Peer::refCount("abc"));
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

TEST(CallDataHandle, AssigningLeavesItOnItsCallWhenThereIsNoMemoryForTheId)
{
    const std::string strLong(1000, 'x');
    const Handle hNew = call(strLong.c_str());
    Handle hCall = call("old");

    bool bFailed = false;
    try
    {
        const MallocFailure failure;
        hCall = hNew;
    }
    catch (const std::bad_alloc&)
    {
        bFailed = true;
    }

    EXPECT_TRUE(bFailed);
    EXPECT_EQ(1U, Peer::refCount("old"));
    EXPECT_EQ(1U, Peer::refCount(strLong.c_str()));
    ASSERT_FALSE(hCall.isNull());
    EXPECT_STREQ("old", hCall->getCallId());
}

#endif

TEST(CallDataHandle, ReleasingAnEmptyOneDoesNothing)
{
    const CapturedLog log;
    Handle hCall("abc");

    hCall.releaseObject();

    EXPECT_THAT(log.lines(), IsEmpty());
}

// Misuse.

TEST(CallDataRegistry, AReferenceToAnUnknownIdFailsAnAssertionAndDoesNothingElse)
{
    const Handle hCall = call();
    const CapturedLog log;

    Peer::increment("unknown");
    Peer::decrement("unknown");

    const FailedAssertion failed =
        failedAssertion("found != m_callDataHash.end()", "CallDataRegistryImpl", s_szLogger);
    EXPECT_THAT(failedAssertions(log), ElementsAre(failed, failed));
    EXPECT_THAT(log.lines(), SizeIs(2));
    EXPECT_EQ(1U, registry().getCurrentNumCall());
    EXPECT_EQ(1U, Peer::refCount("abc"));
}

TEST(CallDataRegistry, ACountOfZeroFailsAnAssertionAndWrapsAndTheCallStays)
{
    Handle hCall = call();
    Peer::refCount("abc") = 0;
    const CapturedLog log;

    Peer::decrement("abc");

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("uiRefCnt > 0", "CallDataRegistryImpl", s_szLogger)));
    EXPECT_THAT(log.lines(), SizeIs(1));
    EXPECT_EQ(1U, registry().getCurrentNumCall());
    EXPECT_EQ(SIZE_MAX, Peer::refCount("abc"));
    Peer::refCount("abc") = 1;
}

// Appenders.

TEST(CallDataRegistry, ACallGetsItsAppenderTheFirstTimeItIsAskedForAndKeepsIt)
{
    const TemporaryDirectory directory;
    const CapturedLog log;
    ASSERT_TRUE(configureCalls(directory.path().string()));
    Handle hCall = call();
    EXPECT_FALSE(std::filesystem::exists(directory.file("abc")));

    const log4cplus::SharedAppenderPtr pAppender = hCall->getAppender();

    EXPECT_TRUE(pAppender);
    EXPECT_TRUE(std::filesystem::exists(directory.file("abc")));
    EXPECT_EQ(pAppender, hCall->getAppender());
    EXPECT_EQ(pAppender, call()->getAppender());
}

TEST(CallDataRegistry, ACallWhoseFirstAppenderWasNullAsksForNoneAnyMore)
{
    const TemporaryDirectory directory;
    const CapturedLog log;
    Handle hCall = call();
    EXPECT_FALSE(hCall->getAppender());

    ASSERT_TRUE(configureCalls(directory.path().string()));

    EXPECT_FALSE(hCall->getAppender());
    EXPECT_TRUE(call("next")->getAppender());
    EXPECT_THAT(
        log.linesOf("keswardin.infra.CallAppender"),
        Not(testing::Contains(testing::Field(&LogLine::strText, testing::HasSubstr("/abc")))));
}

TEST(CallDataRegistry, TheFileIsClosedBeforeTheEndOfTheCallIsLogged)
{
    const TemporaryDirectory directory;
    CapturedLog log;
    ASSERT_TRUE(configureCalls(directory.path().string()));
    Handle hCall = call();
    hCall->getAppender();
    log.clear();

    hCall.releaseObject();

    EXPECT_THAT(
        log.lines(),
        ElementsAre(debugLine("keswardin.infra.CallAppender",
                              "FileCallLogger : call end. Appender dtor, file about to be closed"),
                    debugLine(s_szLogger, "CallDataRegistryImpl::decrementRefCount : Call end : "
                                          "abc (0 active call(s))")));
}

TEST(CallDataRegistry, AnAppenderInUseOutlivesItsCall)
{
    const TemporaryDirectory directory;
    const CapturedLog log;
    ASSERT_TRUE(configureCalls(directory.path().string()));
    log4cplus::SharedAppenderPtr pAppender = call()->getAppender();

    EXPECT_THAT(directory.read("abc"), Not(testing::HasSubstr("Call end")));
    pAppender = log4cplus::SharedAppenderPtr();
    EXPECT_THAT(directory.read("abc"), testing::HasSubstr("Call end"));
}

// The table.

TEST(CallDataRegistry, TheTableIsRehashedAtMostOnceEachTimeThatTheCallsDouble)
{
    Calls calls;
    calls.beginUntil(16);
    calls.takeRehashes();
    for (std::size_t uiCalls = 32; uiCalls <= 4096; uiCalls *= 2)
    {
        calls.beginUntil(uiCalls);
        EXPECT_LE(calls.takeRehashes(), 1) << uiCalls;
    }
}

TEST(CallDataRegistry, TheTableStaysAsItIsWhileCallsComeAndGoAroundASteadyNumber)
{
    for (const std::size_t uiSteady : {10U, 100U, 1000U})
    {
        Calls calls;
        calls.beginUntil(uiSteady + uiSteady / 5);
        calls.takeRehashes();
        for (int iRound = 0; iRound < 10; ++iRound)
        {
            calls.endUntil(uiSteady - uiSteady / 5);
            calls.beginUntil(uiSteady + uiSteady / 5);
        }
        EXPECT_EQ(0, calls.takeRehashes()) << uiSteady;
    }
}

TEST(CallDataRegistry, TheTableDoesNotShrinkAndGrowAroundTheNumberOfCallsAtWhichItHasGrown)
{
    Calls calls;
    calls.beginUntil(100);
    calls.takeRehashes();
    while (calls.takeRehashes() == 0)
        calls.begin();
    for (int iRound = 0; iRound < 100; ++iRound)
    {
        calls.end();
        calls.end();
        calls.begin();
        calls.begin();
    }
    EXPECT_EQ(0, calls.takeRehashes());
}

TEST(CallDataRegistry, TheTableKeepsItsSizeForTheNextPeakWhenCallsEnd)
{
    Calls calls;
    calls.beginUntil(3000);
    calls.takeRehashes();
    calls.endUntil(0);
    calls.beginUntil(3000);
    EXPECT_EQ(0, calls.takeRehashes());
}

TEST(CallDataRegistry, TheTableIsSparseSoThatALookUpMeetsFewOtherCalls)
{
    Calls calls;
    calls.beginUntil(1000);
    EXPECT_GE(Peer::bucketCount(), 4000U);
}

// Memory and threads.

TEST(CallDataRegistry, ACallIsChargedToItsAccountAndGivesItBack)
{
    inAccountingProcess(
        []
        {
            {
                const Handle hCall = call();
                EXPECT_EQ(static_cast<int>(sizeof(CallDataRegistry::CallDataImpl)),
                          bytesHeld("CallDataRegistry::CallDataImpl"));
            }
            EXPECT_EQ(0, bytesHeld("CallDataRegistry::CallDataImpl"));
        });
}

TEST(CallDataRegistry, ThreadsBeginCopyAndEndTheSameCalls)
{
    const TemporaryDirectory directory;
    const CapturedLog log(WARN_LOG_LEVEL);
    ASSERT_TRUE(configureCalls(directory.path().string()));
    std::atomic<int> iWrong{0};
    onThreads(4,
              [&iWrong]
              {
                  for (int iRound = 0; iRound < 300; ++iRound)
                  {
                      const std::string strId = std::to_string(iRound % 3);
                      Handle hCall = call(strId.c_str());
                      const Handle hCopy(hCall);
                      hCall.releaseObject();
                      if (hCopy->getCallId() != strId || !hCopy->getAppender())
                          ++iWrong;
                  }
              });

    EXPECT_EQ(0, iWrong);
    EXPECT_EQ(0U, registry().getCurrentNumCall());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CallDataRegistry, ThreadsThatWaitForItSpinBeforeTheySleep)
{
    EXPECT_TRUE(Peer::areMutexesAdaptive());
}

TEST(CallDataRegistry, IsConfiguredWhileCallsAskForTheirAppenders)
{
    const TemporaryDirectory directory;
    const CapturedLog log(WARN_LOG_LEVEL);
    ASSERT_TRUE(configureCalls(directory.path().string()));
    RepeatingThreads thread(1, [] { EXPECT_TRUE(call()->getAppender()); });
    for (int iRound = 0; iRound < 50; ++iRound)
        EXPECT_TRUE(configureCalls(directory.path().string()));
    thread.stop();

    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CallDataRegistry, AChildMakesNoFileForACallOfItsParentThatHasNoneYet)
{
    const TemporaryDirectory directory;
    const CapturedLog log(WARN_LOG_LEVEL);
    ASSERT_TRUE(configureCalls(directory.path().string()));
    const Handle hCall = call();

    EXPECT_EQ(0, exitCodeOfChild([&hCall] { return hCall->getAppender() ? 1 : 0; }));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
    EXPECT_TRUE(hCall->getAppender());
    EXPECT_FALSE(std::filesystem::is_empty(directory.path()));
}

} // namespace Velmora::Test

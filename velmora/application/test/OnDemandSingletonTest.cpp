// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/OnDemandSingleton.h"

#include "velmora/logging/Logger.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const char* const s_szLogger = "keswardin.infra.OnDemandSingleton";

class Recorder
{
  public:
    static constexpr const char* s_szSingletonName = "Recorder";

    Recorder() { ++s_iMade; }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() { std::fprintf(stderr, "recorder deleted;"); }

    static inline std::atomic<int> s_iMade{0};
};

/// Creates another singleton in its constructor, under the same mutex.
class Outer
{
  public:
    static constexpr const char* s_szSingletonName = "Outer";
    Recorder* pRecorder = OnDemandSingleton<Recorder>::getInstance();
};

/// Another object is registered under the name while this one is constructed.
class Overtaken
{
  public:
    static constexpr const char* s_szSingletonName = "Overtaken";

    Overtaken()
    {
        if (s_pFirst == nullptr)
            s_pFirst = static_cast<Overtaken*>(SingletonRegistry::getInstance()->insert(
                s_szSingletonName, new Overtaken(0), &deleteCleanupFunc<Overtaken>, nullptr));
    }
    explicit Overtaken(int) {}

    static inline Overtaken* s_pFirst = nullptr;
};

/// Exposes the slots of the threads.
class RecorderSlots : public OnDemandSingleton<Recorder>
{
  public:
    static void makeNull() { *threadSlot().ts_object() = nullptr; }
    static Recorder* slot()
    {
        Recorder** const ppRecorder = threadSlot().ts_object();
        return ppRecorder == nullptr ? nullptr : *ppRecorder;
    }
};

} // namespace

TEST(OnDemandSingleton, IsMadeWhenItIsFirstAskedFor)
{
    EXPECT_EQ(0, Recorder::s_iMade);
    Recorder* const pRecorder = OnDemandSingleton<Recorder>::getInstance();
    EXPECT_EQ(1, Recorder::s_iMade);
    EXPECT_EQ(pRecorder, OnDemandSingleton<Recorder>::getInstance());
    EXPECT_EQ(pRecorder, SingletonRegistry::getInstance()->find("Recorder"));
    EXPECT_EQ(1, Recorder::s_iMade);
}

TEST(OnDemandSingleton, EachThreadKeepsItsPointerToTheOneObject)
{
    Recorder* const pRecorder = OnDemandSingleton<Recorder>::getInstance();
    EXPECT_EQ(pRecorder, RecorderSlots::slot());
    std::thread(
        [pRecorder]
        {
            EXPECT_EQ(nullptr, RecorderSlots::slot());
            EXPECT_EQ(pRecorder, OnDemandSingleton<Recorder>::getInstance());
            EXPECT_EQ(pRecorder, RecorderSlots::slot());
        })
        .join();
}

TEST(OnDemandSingleton, ThreadsThatAskAtOnceGetOneObject)
{
    std::vector<Recorder*> found(8);
    onThreads(static_cast<int>(found.size()), [&found](std::size_t in_uiThread)
              { found[in_uiThread] = OnDemandSingleton<Recorder>::getInstance(); });
    for (const Recorder* const pFound : found)
        EXPECT_EQ(OnDemandSingleton<Recorder>::getInstance(), pFound);
    EXPECT_EQ(1, Recorder::s_iMade);
}

TEST(OnDemandSingleton, MakingOneMayAskForAnother)
{
    EXPECT_EQ(OnDemandSingleton<Recorder>::getInstance(),
              OnDemandSingleton<Outer>::getInstance()->pRecorder);
}

TEST(OnDemandSingleton, ANullInAThreadsSlotIsAnAssertionAndIsReplaced)
{
    Recorder* const pRecorder = OnDemandSingleton<Recorder>::getInstance();
    RecorderSlots::makeNull();
    const CapturedLog log;
    EXPECT_EQ(pRecorder, OnDemandSingleton<Recorder>::getInstance());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("*ppSingleton != 0", "OnDemandSingleton", s_szLogger)));
    EXPECT_EQ(pRecorder, RecorderSlots::slot());
}

TEST(OnDemandSingleton, AnotherObjectOfTheNameIsAnAssertionAndIsUsed)
{
    const CapturedLog log;
    Overtaken* const pFound = OnDemandSingleton<Overtaken>::getInstance();
    EXPECT_EQ(Overtaken::s_pFirst, pFound);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("pFound == pNewObj", "OnDemandSingleton", s_szLogger)));
}

TEST(OnDemandSingleton, AnOrdinaryLifeSaysNothing)
{
    const CapturedLog log;
    OnDemandSingleton<Recorder>::getInstance();
    OnDemandSingleton<Recorder>::getInstance();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(OnDemandSingleton, ItsLoggerHasItsName)
{
    EXPECT_EQ(s_szLogger, OnDemandSingletonNoT::sGetLogger().getName());
}

TEST(OnDemandSingletonDeathTest, TheExitListDeletesIt)
{
    EXPECT_EXIT(
        {
            OnDemandSingleton<Recorder>::getInstance();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^recorder deleted;$");
}

} // namespace Velmora::Test

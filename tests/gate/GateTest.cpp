// SPDX-License-Identifier: BSD-2-Clause

// The library runs foreign code: appenders, observers, alarms, sources of configuration and
// destructors. Here such code uses everything that the library offers, while other foreign code
// does the same on another thread. No thread may wait for a lock while it holds one that the other
// thread needs.

#include "Operations.h"

#include "velmora/Sanitizers.h"

#include "tests/support/Alarms.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/ForkedChild.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <iostream>
#include <istream>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

constexpr int s_iRounds = 10;
constexpr int s_iForks = 3;
/// The rounds of the tests that configure logging.
constexpr int s_iConfigurations = 30;

/// Whether the calling thread already runs foreign work. The work leads to foreign code itself, and
/// must not start a second time inside it.
thread_local bool s_bForeign = false;

/// The work that foreign code does. A test sets it for each thread.
thread_local std::function<void()> s_foreignWork;

void runForeignWork()
{
    if (s_bForeign || !s_foreignWork)
        return;
    s_bForeign = true;
    s_foreignWork();
    s_bForeign = false;
}

// Each of these classes is foreign code that the library runs.

class ForeignAlarm : public NamedAlarm<>
{
  public:
    ForeignAlarm() : NamedAlarm<>("foreign alarm") {}
    [[nodiscard]] State getState() const override
    {
        runForeignWork();
        return NamedAlarm<>::getState();
    }
};

class ForeignStream : public std::streambuf
{
  protected:
    int_type underflow() override
    {
        if (std::exchange(m_bRead, true))
            return traits_type::eof();
        runForeignWork();
        m_strText = "keswardin.run.mode=production\n";
        setg(m_strText.data(), m_strText.data(), m_strText.data() + m_strText.size());
        return traits_type::to_int_type(m_strText.front());
    }

  private:
    bool m_bRead = false;
    std::string m_strText;
};

class ForeignObject : public virtual Object
{
  public:
    ~ForeignObject() override { runForeignWork(); }
};

class ForeignObserver : public Alarm::Observer, public AlarmRegistry::Observer
{
  public:
    void newAlarmState(const Alarm&, Alarm::State) override { runForeignWork(); }
    void newAlarmState(const Alarm&) override { runForeignWork(); }
};

struct Place
{
    const char* szName;
    /// Makes the library call `runForeignWork`.
    void (*pGo)();
};

LimitedObjPtr<Alarm> observedAlarm() { return AlarmRegistry::getInstance().getAlarm("observed"); }

void toggle(LimitedObjPtr<Alarm> in_pAlarm)
{
    in_pAlarm->setState(Alarm::ALARM_ON);
    in_pAlarm->setState(Alarm::ALARM_OFF);
}

constexpr std::array<Place, 6> s_places = {
    {{"Appender", [] { VELMORA_LOG(Logger("keswardin.foreign"), WARN_LOG_LEVEL, "foreign"); }},
     {"AppenderOfCall",
      []
      {
          CallLogger logger("keswardin.foreign.call");
          logger.callStart("foreign call");
          VELMORA_LOG(logger, WARN_LOG_LEVEL, "foreign");
      }},
     {"Observer", [] { toggle(observedAlarm()); }},
     {"Alarm", [] { toggle(AlarmRegistry::getInstance().getAlarm("foreign alarm")); }},
     {"Source",
      []
      {
          ForeignStream buffer;
          std::istream stream(&buffer);
          RWGlobalConfig::getInstance()->load(stream);
      }},
     {"Destructor", []
      {
          const TSHandle<Object> hFirst(new ForeignObject);
          const TSHandle<Object> hSecond(hFirst);
      }}}};

class ForeignCode : public testing::Test
{
  protected:
    ForeignCode()
        : m_appender(
              [](const std::string& in_strLine)
              {
                  // No fork may run into the time limit of the gate.
                  EXPECT_EQ(std::string::npos, in_strLine.find("a fork went ahead")) << in_strLine;
                  runForeignWork();
              })
    {
        Operations::prepare();
        AlarmRegistry& registry = AlarmRegistry::getInstance();
        registry.addAlarm(new ForeignAlarm, false);
        const LimitedObjPtr<Alarm> pObserved =
            registry.addAlarm(new NamedAlarm<>("observed"), false);
        pObserved->addObserver(LimitedObjPtr<Alarm::Observer>(&m_observer));
    }

    /// Ends the process with a message if the work is not done within the limit: threads that are
    /// deadlocked cannot be joined.
    static void watch(std::future<void>& in_done)
    {
        constexpr std::chrono::seconds limit(100);
        if (in_done.wait_for(limit) == std::future_status::ready)
            return;
        std::cerr << "the threads wait for each other" << std::endl;
        _exit(1);
    }

    /// Runs two threads. Each goes to its place the given number of times and does the work there.
    static void goConcurrently(const std::array<Place, 2>& in_places, int in_iRounds,
                               const std::function<void()>& in_work)
    {
        std::promise<void> done;
        std::future<void> isDone = done.get_future();
        std::thread watcher([&isDone] { watch(isDone); });
        std::array<std::thread, 2> threads;
        std::atomic<int> iCalls{0};
        for (std::size_t uiThread = 0; uiThread < threads.size(); ++uiThread)
            threads[uiThread] = std::thread(
                [&, uiThread]
                {
                    s_foreignWork = [&]
                    {
                        ++iCalls;
                        in_work();
                    };
                    for (int iRound = 0; iRound < in_iRounds; ++iRound)
                        in_places[uiThread].pGo();
                });
        for (std::thread& thread : threads)
            thread.join();
        done.set_value();
        watcher.join();
        // Some places run foreign code more than once.
        EXPECT_LE(2 * in_iRounds, iCalls);
    }

  private:
    ForeignObserver m_observer;
    CallbackAppender m_appender;
};

/// Runs foreign code in two places. Its parameter has their indexes, the first not above the
/// second.
class InTwoPlaces : public ForeignCode, public testing::WithParamInterface<std::pair<int, int>>
{
  protected:
    static std::array<Place, 2> places()
    {
        return {s_places[static_cast<std::size_t>(GetParam().first)],
                s_places[static_cast<std::size_t>(GetParam().second)]};
    }
};

std::vector<std::pair<int, int>> pairsOfPlaces()
{
    std::vector<std::pair<int, int>> pairs;
    for (int iFirst = 0; iFirst < static_cast<int>(s_places.size()); ++iFirst)
        for (int iSecond = iFirst; iSecond < static_cast<int>(s_places.size()); ++iSecond)
            pairs.emplace_back(iFirst, iSecond);
    return pairs;
}

std::string nameOf(int in_iPlace) { return s_places[static_cast<std::size_t>(in_iPlace)].szName; }

class InOnePlace : public ForeignCode, public testing::WithParamInterface<Place>
{
};

void doEverything()
{
    for (const Operations::Operation& operation : Operations::all())
        operation.work();
}

/// Also runs the operations that are not in `Operations::all`.
void doEverythingAndMore()
{
    doEverything();
    Operations::logThroughACE();
    Operations::runCommand();
}

void forkAndWait()
{
    EXPECT_EQ(7, exitCodeOfChild(
                     []
                     {
                         doEverything();
                         return 7;
                     },
                     std::chrono::seconds(60)));
}

} // namespace

TEST_P(InTwoPlaces, DoesEverythingAndEnds)
{
    goConcurrently(places(), s_iRounds, &doEverythingAndMore);
}

TEST_P(InTwoPlaces, ForksAndEnds)
{
#if VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "its allocator does not survive a fork beside threads that call it";
#endif
    goConcurrently(places(), s_iForks, &forkAndWait);
}

TEST_P(InOnePlace, DoesEverythingWhileAnotherThreadConfiguresLogging)
{
    std::promise<void> done;
    std::future<void> isDone = done.get_future();
    std::thread watcher([&isDone] { watch(isDone); });
    std::atomic<bool> bStop{false};
    std::thread foreign(
        [&bStop]
        {
            s_foreignWork = &doEverything;
            while (!bStop)
                GetParam().pGo();
        });
    testing::internal::CaptureStdout();
    for (int iRound = 0; iRound < s_iConfigurations; ++iRound)
        EXPECT_TRUE(Logger::configureDefault());
    bStop = true;
    foreign.join();
    testing::internal::GetCapturedStdout();
    done.set_value();
    watcher.join();
}

TEST_P(InOnePlace, IsRefusedToConfigureLoggingIfItIsInside)
{
    // A stream is read before the configuration's lock is taken, so outside the gate.
    const bool bOutside = std::string(GetParam().szName) == "Source";
    bool bConfigured = !bOutside;
    s_foreignWork = [&] { bConfigured = Logger::configureDefault(); };
    testing::internal::CaptureStdout();
    GetParam().pGo();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(bOutside, bConfigured);
}

INSTANTIATE_TEST_SUITE_P(ForeignCode, InTwoPlaces, testing::ValuesIn(pairsOfPlaces()),
                         [](const auto& in_pair) {
                             return nameOf(in_pair.param.first) + "And" +
                                    nameOf(in_pair.param.second);
                         });
INSTANTIATE_TEST_SUITE_P(ForeignCode, InOnePlace, testing::ValuesIn(s_places),
                         [](const auto& in_place) { return std::string(in_place.param.szName); });

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::MatchesRegex;

/// Leaves enough time for forks under a sanitizer, which are slow.
constexpr std::chrono::seconds s_forksLimit(200);

void expectEndsWell(const HelperResult& in_result)
{
    EXPECT_EQ("", in_result.strErrors);
    EXPECT_EQ(0, in_result.iExitCode);
    EXPECT_EQ(0, in_result.iSignal);
    EXPECT_FALSE(in_result.bTimedOut);
}

} // namespace

TEST(AlarmProcess, AChildOfAForkUsesTheRegistryWhateverOtherThreadsDidWithIt)
{
#if VELMORA_THREAD_SANITIZER
    constexpr const char* szForks = "50";
#else
    constexpr const char* szForks = "300";
#endif
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_FORKS, {szForks}, {}, s_forksLimit);
    expectEndsWell(result);
    EXPECT_EQ("last child ended with status 0, each observed: 1\n", result.strOutput);
}

TEST(AlarmProcess, AnObserverMayForkAndGoOnInTheChild)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_FORKS_IN_OBSERVER);
    expectEndsWell(result);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre("child: mutex in the observer is free 0",
                            "child: mutex between is free 0", "child: mutex behind is free 1",
                            "child: other alarm was on 1, is on 0", "child ended with status 0",
                            "parent: mutex in the observer is free 0",
                            "parent: mutex between is free 0", "parent: mutex behind is free 1",
                            "parent: other alarm was on 1, is on 0"));
}

TEST(AlarmProcess, AnAlarmThatIsLeftLogsWhenTheProgramEnds)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_LEAVES);
    expectEndsWell(result);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre("ERROR - Alarm [leaving] : ALARM_ON",
                            "WARN - Alarm [source] : ALARM_ON",
                            "ERROR - Alarm [system.overload] : ALARM_ON",
                            // The program's static objects are destroyed first.
                            "aggregate is there: 1", "WARN - Alarm [source] : ALARM_ON",
                            "ERROR - Alarm [system.overload] : ALARM_ON", "state: ALARM_ON",
                            "WARN - destructor of Alarm [leaving] : ALARM_ON",
                            "ERROR - Alarm [leaving] : ALARM_ON", "alarms left: 0"));
}

TEST(AlarmProcess, ASourceOfOverloadOutlivesTheExitList)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_LEAVES, {"close"});
    expectEndsWell(result);
    EXPECT_THAT(
        linesOf(result.strOutput),
        ElementsAre("ERROR - Alarm [leaving] : ALARM_ON", "WARN - Alarm [source] : ALARM_ON",
                    "ERROR - Alarm [system.overload] : ALARM_ON",
                    "WARN - destructor of Alarm [leaving] : ALARM_ON",
                    "ERROR - Alarm [leaving] : ALARM_ON", "alarms left: 0", "aggregate is there: 0",
                    MatchesRegex("ERROR - Assertion failed "
                                 "\\(AggregateSystemOverloadAlarm::sIsThere\\(\\)\\) "
                                 "file=velmora/alarm/SystemOverloadAlarmImpl.cpp line=[0-9]+"),
                    "state: ALARM_ON"));
}

TEST(AlarmJournalProcess, AStaticJournalEndsBeforeTheRegistry)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_USES_JOURNAL, {"static"});
    expectEndsWell(result);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre("ERROR - Alarm [a] : ALARM_ON", "main : 1 of 1 on", "end : 1 of 1 on"));
}

TEST(AlarmJournalProcess, AJournalOutlivesTheRegistry)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_USES_JOURNAL, {"close"});
    expectEndsWell(result);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre("ERROR - Alarm [a] : ALARM_ON", "main : 1 of 1 on", "end : 0 of 1 on"));
}

TEST(AlarmJournalProcess, AJournalNeedNotBeDestroyed)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_USES_JOURNAL, {"leave"});
    expectEndsWell(result);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre("ERROR - Alarm [a] : ALARM_ON", "main : 1 of 1 on"));
}

TEST(AlarmJournalProcess, AJournalThatIsMadeAfterTheRegistryIsEmpty)
{
    const HelperResult result = runHelper(VELMORA_HELPER_ALARM_USES_JOURNAL, {"late"});
    expectEndsWell(result);
    EXPECT_EQ("end : 0 of 0 on\n", result.strOutput);
}

TEST(AlarmJournalProcess, AChildOfAForkUsesTheJournalWhateverOtherThreadsDidWithIt)
{
#if VELMORA_THREAD_SANITIZER
    constexpr const char* szForks = "50";
#else
    constexpr const char* szForks = "300";
#endif
    const HelperResult result =
        runHelper(VELMORA_HELPER_ALARM_USES_JOURNAL, {"fork", szForks}, {}, s_forksLimit);
    expectEndsWell(result);
    EXPECT_EQ("last child ended with status 0\n", result.strOutput);
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/Files.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A fork is slow under a sanitizer.
constexpr std::chrono::seconds s_forksLimit(200);

std::vector<std::string> linesWith(const std::string& in_strText, const std::string& in_strPart)
{
    std::vector<std::string> result = linesOf(in_strText);
    std::erase_if(result, [&in_strPart](const std::string& in_strLine)
                  { return in_strLine.find(in_strPart) == std::string::npos; });
    return result;
}

void expectLinesOfWholeLife(const std::string& in_strProgram)
{
    const HelperResult result = runHelper(in_strProgram);
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesWith(result.strOutput, "tasks="),
                ElementsAre("WARN - static constructor, tasks=1", "WARN - main, tasks=1",
                            "WARN - static destructor, tasks=1", "WARN - exit list, tasks=1"));
}

/// Returns a list in the documentation: the text before two blanks in each line between its
/// markers.
std::vector<std::string> documentedList(const std::string& in_strName)
{
    std::vector<std::string> result;
    bool bInside = false;
    for (const std::string& line : linesOf(readFile(VELMORA_LIFETIME_DOCUMENT)))
    {
        if (line == "<!-- " + in_strName + ": end -->")
            return result;
        if (bInside && !line.starts_with("```"))
            result.push_back(line.substr(0, line.find("  ")));
        bInside = bInside || line == "<!-- " + in_strName + ": begin -->";
    }
    ADD_FAILURE() << "no " << in_strName << " in " VELMORA_LIFETIME_DOCUMENT;
    return {};
}

std::vector<std::string> documentedExitList() { return documentedList("exit list"); }

/// Returns the arguments of each registration of a destructor with the run-time: the instructions
/// between the previous call and that one.
std::vector<std::string> registeredDestructors()
{
    const HelperResult result =
        runHelper(VELMORA_OBJDUMP, {"-d", "-C", "--no-show-raw-insn", VELMORA_LIBRARY});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    std::vector<std::string> registrations;
    std::string strArguments;
    for (const std::string& line : linesOf(result.strOutput))
    {
        // The last call of a function may be compiled as a jump.
        if (line.ends_with("atexit@plt>"))
            registrations.push_back(strArguments);
        const bool bCall = line.find("call ") != std::string::npos;
        strArguments = bCall ? "" : strArguments + line + '\n';
    }
    return registrations;
}

/// Expects the documented exit list. The newest entries are the program's own.
void expectDocumentedExitList(const std::string& in_strProgram,
                              const std::vector<std::string>& in_arguments = {})
{
    std::vector<std::string> expected = documentedExitList();
    expected.insert(expected.begin(),
                    {"AceCleanupNoT", "Service::Singleton", "keswardin.test.PrintsExitList"});
    const HelperResult result = runHelper(in_strProgram, in_arguments);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    EXPECT_EQ(expected, linesOf(result.strOutput));
}

/// Runs the program, which opens two copies of the library. Expects that it exits with 0 and that
/// the copies share what they must. Returns the output.
std::string expectSharing(const std::string& in_strProgram, const std::string& in_strFirst,
                          const std::string& in_strSecond, const std::string& in_strDirectory = "")
{
    // A library that the program opens at run time is destroyed before the program's statics.
    const bool bLinked = in_strFirst.empty();
    const HelperResult result =
        runHelper(in_strProgram, {in_strFirst, in_strSecond, in_strDirectory});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ("", result.strErrors);
    std::vector<std::string> lines = linesWith(result.strOutput, ": ");
    std::erase_if(lines, [](const std::string& in_strLine)
                  { return in_strLine.find(" - ") != std::string::npos; });
    EXPECT_THAT(lines,
                ElementsAre("copies of the code: two 1", "build information: one 1",
                            "registry of singletons: one 1", "registry of calls: one 1",
                            "registry of alarms: one 1", "bridge of ACE's log: one 1",
                            "log: as it was 1, ACE's 1", "memory: its own 1", "child: status 0",
                            bLinked ? "end: static destructor" : "end: exit list",
                            bLinked ? "end: exit list" : "end: static destructor"));
    return result.strOutput;
}

/// Does the same with modules that use the copies, and expects that the exit list ends their calls.
void expectSharingOfUsers(const std::string& in_strFirst, const std::string& in_strSecond)
{
    const TemporaryDirectory directory;
    const std::string strOutput = expectSharing(VELMORA_HELPER_LIFETIME_COPIES, in_strFirst,
                                                in_strSecond, directory.file("calls"));
    // Both copies have the parameters that were registered through either copy. A list that is
    // closed for one copy is closed for the other, too.
    const std::string strParameters = "WARN - parameters: copy.first copy.second, more 0";
    EXPECT_THAT(linesWith(strOutput, "WARN - parameters:"),
                ElementsAre(strParameters, strParameters));
    EXPECT_EQ(2U, linesWith(strOutput, "cannot register parameter copy.late: a configuration has "
                                       "been read already")
                      .size());
    for (const std::string strCall : {"first", "second"})
        EXPECT_THAT(linesOf(directory.read("calls/" + strCall)),
                    ElementsAre(StartsWith("INFO - Call start : "), "WARN - in a call",
                                StartsWith("INFO - Call end : ")));
}

/// Runs the program, which fails an assertion at that stage of its life, with the parameter set
/// that makes it abort. Standard output is a pipe; expects that none of it is lost.
void expectAbort(const std::string& in_strStage, const std::string& in_strStateThen)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_ABORTS, {in_strStage});
    EXPECT_EQ(SIGABRT, result.iSignal);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre("a line of C", in_strStateThen,
                            StartsWith("FATAL - Assertion failed (false) file=tests/lifetime/"),
                            "FATAL - aborting"));
}

} // namespace

TEST(Lifetime, TheExitListIsAsDocumented)
{
    expectDocumentedExitList(VELMORA_HELPER_LIFETIME_EXIT_LIST);
}

TEST(Lifetime, StaticsWithADestructorAreAsDocumented)
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "instrumented code hands destructors over in many ways";
#endif
    const std::vector<std::string> expected = documentedList("static destructors");
    std::set<std::string> found;
    for (const std::string& strArguments : registeredDestructors())
    {
        const auto known =
            std::find_if(expected.begin(), expected.end(),
                         [&strArguments](const std::string& in_strName) {
                             return strArguments.find('<' + in_strName + '>') != std::string::npos;
                         });
        if (known == expected.end())
            ADD_FAILURE() << "a static is destroyed outside the exit list:\n" << strArguments;
        else
            found.insert(*known);
    }
    EXPECT_EQ(std::set<std::string>(expected.begin(), expected.end()), found);
}

TEST(Lifetime, TheExitListIsTheSameWhenAceIsLinkedBeforeLog4cplus)
{
    expectDocumentedExitList(VELMORA_HELPER_LIFETIME_EXIT_LIST_ACE_FIRST);
}

TEST(Lifetime, TheExitListIsTheSameWhenLog4cplusIsLinkedBeforeAce)
{
    expectDocumentedExitList(VELMORA_HELPER_LIFETIME_EXIT_LIST_LOG4CPLUS_FIRST);
}

TEST(Lifetime, TheExitListIsTheSameWhenASecondThreadCallsExit)
{
    expectDocumentedExitList(VELMORA_HELPER_LIFETIME_EXIT_LIST, {"thread"});
}

TEST(Lifetime, TheConfigurationGoesBeforeTheSingletonsAndTheseBeforeWhatTheyAreMadeWith)
{
    const std::vector<std::string> order{"Service::Singleton",
                                         "GlobalConfig",
                                         "BuildInfo::Singleton",
                                         "AlarmRegistryImpl::Singleton",
                                         "CallDataRegistryImpl::Singleton",
                                         "CallAppenderFactory::Singleton",
                                         "Velmora::SingletonRegistryImpl",
                                         "Velmora::AceCleanupAccountMemAllocator",
                                         "keswardin.infra.AlarmRegistry",
                                         "keswardin.infra.AlarmImpl",
                                         "keswardin.infra.Alarm",
                                         "admin.alarm",
                                         "keswardin.infra.CallData",
                                         "ACEBackend"};
    std::vector<std::string> entries =
        linesOf(runHelper(VELMORA_HELPER_LIFETIME_EXIT_LIST).strOutput);
    std::erase_if(entries, [&order](const std::string& in_strEntry)
                  { return std::find(order.begin(), order.end(), in_strEntry) == order.end(); });
    EXPECT_EQ(order, entries);
}

TEST(Lifetime, TwoImagesWithTheSameSingletonShareOneObject)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_TWINS,
                  {VELMORA_HELPER_LIFETIME_TWIN_ONE, VELMORA_HELPER_LIFETIME_TWIN_TWO});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesWith(result.strOutput, "twin"),
                ElementsAre("WARN - twin made", "WARN - twin made", "WARN - twin deleted",
                            "WARN - twins are one: 1", "WARN - twin deleted"));
}

TEST(Lifetime, TwoCopiesOfTheLibraryShareWhatThereIsOneOfInAProcess)
{
    expectSharingOfUsers(VELMORA_HELPER_LIFETIME_USER_OF_FIRST_COPY,
                         VELMORA_HELPER_LIFETIME_USER_OF_SECOND_COPY);
}

TEST(Lifetime, TwoCopiesOfTheLibraryShareTheSameInTheOtherOrder)
{
    expectSharingOfUsers(VELMORA_HELPER_LIFETIME_USER_OF_SECOND_COPY,
                         VELMORA_HELPER_LIFETIME_USER_OF_FIRST_COPY);
}

TEST(Lifetime, ACopyOfTheFileOfTheLibraryShares)
{
    const TemporaryDirectory directory;
    const std::string strCopy = directory.file("libcopied.so");
    std::filesystem::copy_file(VELMORA_HELPER_KESWARDIN_INFRA, strCopy);
    expectSharing(VELMORA_HELPER_LIFETIME_COPIES, VELMORA_HELPER_KESWARDIN_INFRA, strCopy);
    expectSharing(VELMORA_HELPER_LIFETIME_COPIES, strCopy, VELMORA_HELPER_KESWARDIN_INFRA);
}

TEST(Lifetime, ACopySharesWithTheLibraryThatTheProgramIsLinkedWith)
{
    const TemporaryDirectory directory;
    const std::string strCopy = directory.file("libcopied.so");
    std::filesystem::copy_file(VELMORA_HELPER_KESWARDIN_INFRA, strCopy);
    expectSharing(VELMORA_HELPER_LIFETIME_COPIES_LINKED, "", strCopy);
    expectSharing(VELMORA_HELPER_LIFETIME_COPIES_LINKED, "", VELMORA_HELPER_LIFETIME_SECOND_COPY);
}

TEST(Lifetime, AProgramLogsFromStaticConstructorsToTheExitListWithOneTask)
{
    expectLinesOfWholeLife(VELMORA_HELPER_LIFETIME_ORDINARY);
}

TEST(Lifetime, AProgramThatLinksAceBeforeLog4cplusEndsWell)
{
    expectLinesOfWholeLife(VELMORA_HELPER_LIFETIME_ACE_FIRST);
}

TEST(Lifetime, AProgramThatLinksLog4cplusBeforeAceEndsWell)
{
    expectLinesOfWholeLife(VELMORA_HELPER_LIFETIME_LOG4CPLUS_FIRST);
}

TEST(Lifetime, AProgramThatOpensTheLibraryLateAndKeepsItEndsWell)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_PLUGIN_HOST, {VELMORA_HELPER_LIFETIME_PLUGIN, "keep"});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesWith(result.strOutput, "plugin"),
                ElementsAre("WARN - plugin static constructor", "WARN - plugin function",
                            "WARN - plugin static destructor"));
}

TEST(Lifetime, AProgramThatOpensTheLibraryLateAndClosesItEndsWell)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_PLUGIN_HOST, {VELMORA_HELPER_LIFETIME_PLUGIN, "close"});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesOf(result.strOutput), Contains("WARN - plugin function"));
}

TEST(Lifetime, StaticDestructorsAfterTheExitListDoNoHarm)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_CLOSES_MANAGER);
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesWith(result.strOutput, "WARN"),
                ElementsAre("WARN - main", "WARN - from the object's logger"));
}

TEST(Lifetime, AssertionsAfterTheExitListGoOutAtError)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_CLOSES_MANAGER);
    EXPECT_THAT(
        linesWith(result.strOutput, "ERROR"),
        ElementsAre(StartsWith("ERROR - Assertion failed (object) file="),
                    StartsWith("ERROR - Assertion failed (file) file="),
                    StartsWith("ERROR - Assertion failed (false) file="),
                    StartsWith("ERROR - Assertion failed (Fallible object used in invalid state) "
                               "file=")));
}

TEST(Lifetime, AnAssertionAbortsAfterTheExitListHasDeletedTheFirstLogger)
{
    expectAbort("exit-list", "exit list: loggers deleted 1, configuration 1");
}

TEST(Lifetime, AnAssertionAbortsAfterTheExitListAndTheConfiguration)
{
    expectAbort("after-list", "after the exit list: loggers deleted 1, configuration 0");
}

TEST(Lifetime, AnAssertionAbortsWhileAnotherThreadLoadsTheConfiguration)
{
    expectAbort("during-load", "during a load: loggers deleted 0, configuration 1");
}

TEST(Lifetime, AnAbortWritesOutWhatStandardOutputHoldsBack)
{
    expectAbort("main", "main: loggers deleted 0, configuration 1");
    expectAbort("main-unsynchronised", "main: loggers deleted 0, configuration 1");
}

TEST(Lifetime, AProgramEndsAtLoadWithExitCode1WhereTheLogOfACECannotBeOpened)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_NO_LOG_OF_ACE);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_EQ("Failed to create ACE logger", result.strErrors);
    EXPECT_EQ("", result.strOutput);
}

TEST(Lifetime, ExitOnAnotherThreadRunsTheExitList)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_EXITS_ON_THREAD);
    EXPECT_EQ(7, result.iExitCode) << result.strErrors;
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesWith(result.strOutput, "WARN"), ElementsAre("WARN - exit list"));
}

TEST(Lifetime, TheAllocatorsReportBeforeTheLoggersGo)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_TRACES_EXIT);
    ASSERT_EQ(0, result.iExitCode) << result.strErrors;
    const std::vector<std::string> lines = linesOf(result.strOutput);
    const auto firstLoggerGone = std::find_if(
        lines.begin(), lines.end(),
        [](const std::string& in_strLine)
        {
            return in_strLine.find("AceCleanupLogger::~AceCleanupLogger name = keswardin.infra.") !=
                   std::string::npos;
        });
    ASSERT_NE(lines.end(), firstLoggerGone);
    const std::vector<std::string> before(lines.begin(), firstLoggerGone);
    const std::vector<std::string> after(firstLoggerGone, lines.end());
    EXPECT_THAT(before, Contains(HasSubstr("Memory leak in 24 bytes ChunkAllocator")));
    EXPECT_THAT(before, Contains(HasSubstr("Allocation stats for 256 bytes ChunkAllocator")));
    EXPECT_THAT(after, Not(Contains(HasSubstr("ChunkAllocator"))));
}

TEST(Lifetime, TheTableOfParametersIsEmptyAfterTheExitList)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_USES_TABLE);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    const std::string strWhole = "known 1, listed 1 299, deprecated 1, has defaults 1, valid 0, "
                                 "closest 'keswardin.run.mode', fits 0";
    const std::string strEmpty = "known 0, listed 1 0, deprecated 0, has defaults 0, valid 0, "
                                 "closest '', fits 1";
    EXPECT_THAT(linesWith(result.strOutput, ": known "),
                ElementsAre("static constructor: " + strWhole, "main: " + strWhole,
                            "after the exit list: " + strEmpty, "once more: " + strEmpty));
    EXPECT_THAT(linesWith(result.strOutput, ": registers "),
                ElementsAre("main: registers 1, has bounds 1",
                            "after the exit list: registers 0, has bounds 0"));
}

TEST(Lifetime, TheTableOfParametersGivesItsMemoryBackBeforeTheAllocatorsReport)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_TRACES_EXIT, {}, {{"VELMORA_MEM_ACCOUNTING", "1"}});
    EXPECT_EQ(0, result.iExitCode);
    for (const std::string strAccount : {"ParamDefs", "Trie", "ParameterValue"})
        EXPECT_THAT(linesWith(result.strOutput, "Memory Account " + strAccount + " : "),
                    ElementsAre(testing::MatchesRegex("DEBUG - Memory Account " + strAccount +
                                                      " : max_bytes = [1-9][0-9]*")));
}

TEST(Lifetime, TheConfigurationIsThereFromStaticConstructorsToTheExitList)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_USES_CONFIGURATION);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(linesWith(result.strOutput, ": for readers "),
                ElementsAre("static constructor: for readers 1, for writers 1, for assertions 1",
                            "main: for readers 1, for writers 1, for assertions 1",
                            "after the exit list: for readers 0, for writers 0, for assertions 0"));
}

TEST(Lifetime, TheConfigurationGivesItsMemoryBackBeforeTheAllocatorsReport)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_TRACES_EXIT, {}, {{"VELMORA_MEM_ACCOUNTING", "1"}});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(linesWith(result.strOutput, "Memory Account GlobalConfigImpl : "),
                ElementsAre(testing::MatchesRegex(
                    "DEBUG - Memory Account GlobalConfigImpl : max_bytes = [1-9][0-9]*")));
}

TEST(Lifetime, FileScopeLoggersGoInTheReverseOfTheirComing)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_TRACES_EXIT);
    const std::string strBegin = "AceCleanupLogger::~AceCleanupLogger name = ";
    std::vector<std::string> names = linesWith(result.strOutput, strBegin);
    for (std::string& name : names)
        name.erase(0, name.find(strBegin) + strBegin.size());
    std::vector<std::string> expected = documentedExitList();
    std::erase_if(expected, [](const std::string& in_strName)
                  { return !in_strName.starts_with("keswardin.") && in_strName != "admin.alarm"; });
    expected.insert(expected.begin(), "keswardin.test.TracesExit");
    EXPECT_EQ(expected, names);
}

TEST(Lifetime, AChildThatForksAndExitsEndsAtOnceWhileOtherThreadsLog)
{
    const TemporaryDirectory directory;
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_FORKS, {directory.file("log"), "300"}, {}, s_forksLimit);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    EXPECT_EQ("last child ended with status 0\n", result.strOutput);

    std::set<std::string> processes;
    for (const std::string& line : linesWith(directory.read("log"), "a line of process "))
        processes.insert(
            line.substr(line.find("process "), line.find(" with") - line.find("process ")));
    EXPECT_EQ(301U, processes.size()) << "each child and the parent have logged";
}

TEST(Lifetime, AChildEndsAtOnceWithMemoryAccounting)
{
    const TemporaryDirectory directory;
    const HelperResult result =
        runHelper(VELMORA_HELPER_LIFETIME_FORKS, {directory.file("log"), "100"},
                  {{"VELMORA_MEM_ACCOUNTING", "1"}}, s_forksLimit);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ("last child ended with status 0\n", result.strOutput);
}

TEST(Lifetime, ConfiguringTheDefaultLosesNoLineOfOtherThreads)
{
    const HelperResult result = runHelper(VELMORA_HELPER_LIFETIME_RECONFIGURES, {"100"});
    ASSERT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strErrors, testing::MatchesRegex("[1-9][0-9]*"));
    EXPECT_EQ(result.strErrors,
              std::to_string(linesWith(result.strOutput, "INFO - numbered ").size()));
}

} // namespace Velmora::Test

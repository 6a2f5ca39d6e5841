// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Crash.h"

#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

constexpr bool s_bSanitizer = VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER;

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;

const std::string s_strWriteOnCrash = "bool=keswardin.infra.coreDump.writeOnCrash=true";
const std::string s_strPath = "string=keswardin.infra.coreDump.writeOnCrash.path=";

const std::string s_strLimitWarning =
    "WARN keswardin.infra.crash: Failed to configure crash handling : setrlimit failed Set "
    "keswardin.infra.coreDump.writeOnCrash parameter to false to disable this warning.";
const std::string s_strLimitReason =
    "WARN keswardin.infra.crash: cannot set the limit of core files to infinity: Operation not "
    "permitted; raise the hard limit of the process";

/// Returns the lines of the program's output, without those at TRACE.
std::vector<std::string> outputLines(const HelperResult& in_result)
{
    std::vector<std::string> lines = linesOf(in_result.strOutput);
    std::erase_if(lines,
                  [](const std::string& in_strLine) { return in_strLine.starts_with("TRACE "); });
    return lines;
}

/// Runs the program, and expects that it exits with 0 and writes no errors.
HelperResult run(const std::vector<std::string>& in_arguments)
{
    HelperResult result = runHelper(VELMORA_HELPER_CRASH_PREPARES, in_arguments);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    return result;
}

std::vector<std::string> outputOfRun(const std::vector<std::string>& in_arguments)
{
    return outputLines(run(in_arguments));
}

/// Returns whether this user may remove the limit of core files on this machine.
bool mayRemoveLimit()
{
    rlimit limits{RLIM_INFINITY, RLIM_INFINITY};
    return setrlimit(RLIMIT_CORE, &limits) == 0;
}

/// Returns the name of a core file in a directory, or an empty name if there is none.
std::string coreIn(const std::filesystem::path& in_directory)
{
    for (const auto& entry : std::filesystem::directory_iterator(in_directory))
        if (entry.is_regular_file() && entry.file_size() > 0)
            return entry.path().filename().string();
    return "";
}

/// Returns whether the kernel writes a core to the working directory of a process.
bool kernelWritesCores()
{
    std::string strPattern;
    std::getline(std::ifstream("/proc/sys/kernel/core_pattern"), strPattern);
    if (strPattern.empty() || strPattern.find_first_of("|/") != std::string::npos)
        return false;
    const TemporaryDirectory directory;
    runHelper(VELMORA_HELPER_CRASH_PREPARES,
              {"unlimited", "cd=" + directory.path().string(), "abort"});
    return !coreIn(directory.path()).empty();
}

class CrashLimits : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (!mayRemoveLimit())
            GTEST_SKIP() << "this user may not remove the limit of core files";
    }

    [[nodiscard]] std::string start() const { return m_start.path().string(); }
    [[nodiscard]] std::string other() const { return m_other.path().string(); }

    TemporaryDirectory m_start;
    TemporaryDirectory m_other;
};

} // namespace

TEST(Crash, TheParametersHaveTheirNames)
{
    EXPECT_STREQ("keswardin.infra.coreDump.writeOnCrash", s_szINFRA_COREDUMP_WRITEONCRASH_PARAM);
    EXPECT_STREQ("keswardin.infra.coreDump.writeOnCrash.path",
                 s_szINFRA_COREDUMP_WRITEONCRASH_PATH_PARAM);
}

TEST(Crash, WithoutParametersNothingHappens)
{
    EXPECT_THAT(outputOfRun({"cd=/", "limit=0", "configure", "print"}),
                ElementsAre("configure: 1", "directory: /", "soft limit: 0", testing::_));
}

TEST(Crash, WhereCoresAreNotWantedNothingHappens)
{
    const TemporaryDirectory other;
    EXPECT_THAT(outputOfRun({"cd=/", "limit=0", "bool=keswardin.infra.coreDump.writeOnCrash=false",
                             s_strPath + other.path().string(), "configure", "print"}),
                ElementsAre("configure: 1", "directory: /", "soft limit: 0", testing::_));
}

TEST(Crash, ATextThatReadsTrueIsNoBool)
{
    EXPECT_THAT(outputOfRun({"cd=/", "limit=0", "string=keswardin.infra.coreDump.writeOnCrash=true",
                             "string=keswardin.infra.abortOnAssert=true", "configure", "print"}),
                ElementsAre("configure: 1", "directory: /", "soft limit: 0", testing::_));
}

TEST(Crash, AbortingOnAssertionsIsWarnedOf)
{
    EXPECT_THAT(outputOfRun({"bool=keswardin.infra.abortOnAssert=true", "configure"}),
                ElementsAre("WARN keswardin.infra.crash: keswardin.infra.abortOnAssert=true. The "
                            "application will abort on a failed assertion. Is this what you want?",
                            "configure: 1"));
}

TEST(Crash, NotAbortingOnAssertionsIsNotWarnedOf)
{
    EXPECT_THAT(outputOfRun({"bool=keswardin.infra.abortOnAssert=false", "configure"}),
                ElementsAre("configure: 1"));
}

TEST(Crash, BothFunctionsTraceTheirScopes)
{
    std::vector<std::string> lines = linesOf(run({"cd=/", "configure-default"}).strOutput);
    std::erase_if(lines, [](const std::string& in_strLine)
                  { return !in_strLine.starts_with("TRACE keswardin.infra.crash: "); });
    EXPECT_THAT(
        lines,
        ElementsAre("TRACE keswardin.infra.crash: entering Velmora::configureDefaultCrashHandling",
                    "TRACE keswardin.infra.crash: entering Velmora::configureCrashHandling",
                    "TRACE keswardin.infra.crash: exiting Velmora::configureCrashHandling",
                    "TRACE keswardin.infra.crash: exiting Velmora::configureDefaultCrashHandling"));
}

TEST(Crash, ALimitThatCannotBeRaisedIsAWarningAndTheDirectoryStays)
{
    const TemporaryDirectory other;
    const HelperResult result = runHelper(
        VELMORA_HELPER_CRASH_PREPARES, {"cd=/", "limit=0", "refuse", s_strWriteOnCrash,
                                        s_strPath + other.path().string(), "configure", "print"});
    if (result.iExitCode == 4)
        GTEST_SKIP() << "calls of the kernel cannot be made to fail here";
    EXPECT_THAT(outputLines(result),
                ElementsAre(s_strLimitWarning, s_strLimitReason, "configure: 1", "directory: /",
                            "soft limit: 0", testing::_));
}

TEST_F(CrashLimits, AreRemovedAndTheProcessMovesToThePath)
{
    EXPECT_THAT(outputOfRun({"cd=" + start(), "limit=0", s_strWriteOnCrash, s_strPath + other(),
                             "configure", "print"}),
                ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                            "INFO keswardin.infra.crash: CORE directory is " + other(),
                            "configure: 1", "directory: " + other(), "soft limit: unlimited",
                            "hard limit: unlimited"));
}

TEST(Crash, TheLimitThatOthersMayBeRaisedToIsRaisedTooWhereThatIsAllowed)
{
    const std::vector<std::string> lines =
        outputOfRun({"cd=/", "lower=1000", s_strWriteOnCrash, "configure", "print"});
    ASSERT_FALSE(lines.empty());
    if (lines.front() == "lowered for good: 0")
        EXPECT_THAT(lines,
                    AllOf(Contains("soft limit: unlimited"), Contains("hard limit: unlimited")));
    else
        EXPECT_THAT(lines, ElementsAre("lowered for good: 1", s_strLimitWarning, s_strLimitReason,
                                       "configure: 1", "directory: /", "soft limit: 1000",
                                       "hard limit: 1000"));
}

TEST_F(CrashLimits, ARelativePathIsLoggedAsItIs)
{
    std::filesystem::create_directory(m_start.path() / "cores");
    EXPECT_THAT(outputOfRun({"cd=" + start(), s_strWriteOnCrash, s_strPath + "cores", "configure",
                             "print"}),
                AllOf(Contains("INFO keswardin.infra.crash: CORE directory is cores"),
                      Contains("directory: " + start() + "/cores")));
}

TEST_F(CrashLimits, WithoutAPathTheProcessStaysWhereItIs)
{
    EXPECT_THAT(
        outputOfRun({"cd=" + start(), "limit=0", s_strWriteOnCrash, "configure", "print"}),
        ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                    "INFO keswardin.infra.crash: Current directory for core dumps is: " + start(),
                    "configure: 1", "directory: " + start(), "soft limit: unlimited",
                    "hard limit: unlimited"));
}

TEST_F(CrashLimits, WithAPathThatDoesNotExistTheProcessStaysAndIsNotWarned)
{
    EXPECT_THAT(
        outputOfRun({"cd=" + start(), "limit=0", s_strWriteOnCrash, s_strPath + other() + "/none",
                     "configure", "print"}),
        ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                    "INFO keswardin.infra.crash: Current directory for core dumps is: " + start(),
                    "INFO keswardin.infra.crash: cannot change to directory " + other() +
                        "/none: No such file or directory",
                    "configure: 1", "directory: " + start(), "soft limit: unlimited",
                    "hard limit: unlimited"));
}

TEST_F(CrashLimits, APathThatIsNoDirectoryIsAsOneThatDoesNotExist)
{
    m_other.write("file", "text");
    EXPECT_THAT(
        outputOfRun(
            {"cd=" + start(), s_strWriteOnCrash, s_strPath + m_other.file("file"), "configure"}),
        ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                    "INFO keswardin.infra.crash: Current directory for core dumps is: " + start(),
                    "INFO keswardin.infra.crash: cannot change to directory " +
                        m_other.file("file") + ": Not a directory",
                    "configure: 1"));
}

TEST_F(CrashLimits, ThePathOfAnotherTypeIsNone)
{
    EXPECT_THAT(
        outputOfRun({"cd=" + start(), s_strWriteOnCrash,
                     "bool=keswardin.infra.coreDump.writeOnCrash.path=true", "configure"}),
        ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                    "INFO keswardin.infra.crash: Current directory for core dumps is: " + start(),
                    "configure: 1"));
}

TEST_F(CrashLimits, ACurrentDirectoryThatHasGoneHasNoName)
{
    const std::string strGone = start() + "/gone";
    std::filesystem::create_directory(strGone);
    EXPECT_THAT(outputOfRun({"cd=" + strGone, "leave", s_strWriteOnCrash, "configure"}),
                ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                            "INFO keswardin.infra.crash: Current directory for core dumps is: ",
                            "INFO keswardin.infra.crash: cannot name the working directory: No "
                            "such file or directory",
                            "configure: 1"));
}

TEST_F(CrashLimits, TheDefaultsRemoveThemAndStayInTheDirectory)
{
    EXPECT_THAT(
        outputOfRun({"cd=" + start(), "limit=0", "configure-default", "print"}),
        ElementsAre("INFO keswardin.infra.crash: RLIMIT_CORE set to infinity",
                    "INFO keswardin.infra.crash: Current directory for core dumps is: " + start(),
                    "configure-default: 1", "directory: " + start(), "soft limit: unlimited",
                    "hard limit: unlimited"));
}

TEST_F(CrashLimits, TheConfigurationOfTheProgramComesAfterTheDefaults)
{
    EXPECT_THAT(outputOfRun({"cd=" + start(), "configure-default", s_strWriteOnCrash,
                             s_strPath + other(), "configure", "print"}),
                AllOf(Contains("INFO keswardin.infra.crash: CORE directory is " + other()),
                      Contains("directory: " + other())));
}

TEST(Crash, NoSignalGetsAHandler)
{
    const std::vector<std::string> lines = outputOfRun(
        {"cd=/", "handlers", s_strWriteOnCrash, "configure", "configure-default", "handlers"});
    EXPECT_EQ(2, std::count(lines.begin(), lines.end(), lines.front()));
    EXPECT_EQ(lines.front(), lines.back());
    if (!s_bSanitizer)
    {
        EXPECT_EQ("handlers:", lines.front());
    }
}

TEST(Crash, ASignalEndsTheProcessAsItWouldWithoutTheLibrary)
{
    if (s_bSanitizer)
        GTEST_SKIP() << "the sanitizer handles the signal itself";
    const HelperResult result =
        runHelper(VELMORA_HELPER_CRASH_PREPARES,
                  {"configure-default", "limit=0", "kill=" + std::to_string(SIGSEGV), "print"});
    EXPECT_EQ(SIGSEGV, result.iSignal);
    EXPECT_EQ("configure-default: 1", outputLines(result).back());
}

TEST_F(CrashLimits, ACoreLandsInThePath)
{
    if (s_bSanitizer)
        GTEST_SKIP() << "the core would hold the shadow memory of the sanitizer";
    if (!kernelWritesCores())
        GTEST_SKIP() << "the kernel writes no cores into working directories here";
    const HelperResult result =
        runHelper(VELMORA_HELPER_CRASH_PREPARES, {"cd=" + start(), "limit=0", s_strWriteOnCrash,
                                                  s_strPath + other(), "configure", "abort"});
    EXPECT_EQ(SIGABRT, result.iSignal);
    EXPECT_EQ("", coreIn(m_start.path()));
    EXPECT_NE("", coreIn(m_other.path()));
}

TEST(Crash, WhereCoresAreNotWantedTheLimitOfTheStartHolds)
{
    const TemporaryDirectory directory;
    const HelperResult result =
        runHelper(VELMORA_HELPER_CRASH_PREPARES,
                  {"cd=" + directory.path().string(), "limit=0",
                   "bool=keswardin.infra.coreDump.writeOnCrash=false", "configure", "abort"});
    EXPECT_EQ(SIGABRT, result.iSignal);
    EXPECT_EQ("", coreIn(directory.path()));
}

} // namespace Velmora::Test

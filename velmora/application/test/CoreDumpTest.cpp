// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/CoreDump.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <ctime>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr const char* s_szLogger = "keswardin.infra.CoreDump";

} // namespace

TEST(CoreDump, IsNotImplementedAndSaysSo)
{
    const TemporaryDirectory directory;
    const CapturedLog log;
    EXPECT_FALSE(dumpCore(directory.file("core.dump").c_str()));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("Not implemented : Velmora::dumpCore", "CoreDump",
                                            s_szLogger)));
    EXPECT_EQ(1U, log.linesOf(s_szLogger).size());
    EXPECT_THAT(log.linesOf("keswardin.infra.File"),
                ElementsAre(debugLine("keswardin.infra.File", "The file or directory you want to "
                                                              "rename doesn't exist.")));
    EXPECT_THAT(namesIn(directory.path()), IsEmpty());
}

TEST(CoreDump, MovesAnEarlierCoreAside)
{
    const TemporaryDirectory directory;
    const std::string strPath = directory.write("core.dump", "a core");
    const CapturedLog log(ERROR_LOG_LEVEL);
    EXPECT_FALSE(dumpCore(strPath.c_str()));
    const std::vector<std::string> names = namesIn(directory.path());
    ASSERT_THAT(names, ElementsAre(MatchesRegex("core\\.20[0-9][0-9](_[0-9]+)+\\.dump")));
    EXPECT_EQ("a core", directory.read(names.front()));
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(CoreDump, KeepsTenCores)
{
    const TemporaryDirectory directory;
    for (int i = 0; i < 12; ++i)
    {
        const std::string strPath =
            directory.write("core.2025_1_1_0_0_" + std::to_string(i) + ".dump", "an old core");
        const std::timespec when{1000000000 + i, 0};
        const std::array<std::timespec, 2> times{when, when};
        ASSERT_EQ(0, utimensat(AT_FDCWD, strPath.c_str(), times.data(), 0));
    }
    const std::string strPath = directory.write("core.dump", "a core");
    const CapturedLog log(ERROR_LOG_LEVEL);
    EXPECT_FALSE(dumpCore(strPath.c_str()));
    const std::vector<std::string> names = namesIn(directory.path());
    EXPECT_EQ(10U, names.size());
    for (const int iDeleted : {0, 1, 2})
        EXPECT_THAT(names,
                    Not(Contains("core.2025_1_1_0_0_" + std::to_string(iDeleted) + ".dump")));
}

TEST(CoreDump, DoesWithoutAPath)
{
    const CapturedLog log;
    EXPECT_FALSE(dumpCore(nullptr));
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(CoreDump, TracesItsScope)
{
    const TemporaryDirectory directory;
    const CapturedLog log(TRACE_LOG_LEVEL);
    dumpCore(directory.file("core.dump").c_str());
    const std::vector<LogLine> lines = log.linesOf(s_szLogger);
    ASSERT_EQ(3U, lines.size());
    EXPECT_EQ(traceLine(s_szLogger, "entering Velmora::dumpCore"), lines.front());
    EXPECT_EQ(traceLine(s_szLogger, "exiting Velmora::dumpCore"), lines.back());
    EXPECT_THAT(log.linesOf("keswardin.infra.File"),
                Contains(traceLine("keswardin.infra.File", "entering File::renameWithTimestamp")));
}

TEST(CoreDump, EndsTheProcessWhereAssertionsDo)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_CRASH_PREPARES, {"limit=0", "abort-on-assert", "dump"});
    EXPECT_EQ(SIGABRT, result.iSignal);
    EXPECT_THAT(result.strOutput, HasSubstr("FATAL keswardin.infra.CoreDump: Assertion failed "
                                            "(Not implemented : Velmora::dumpCore) file="));
    EXPECT_THAT(result.strOutput, Not(HasSubstr("dump: ")));
}

} // namespace Velmora::Test

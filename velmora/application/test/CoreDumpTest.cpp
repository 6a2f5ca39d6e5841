#include "velmora/application/CoreDump.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/HelperProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* s_szLogger = "keswardin.infra.CoreDump";

} // namespace

TEST(CoreDump, IsNotImplementedAndSaysSo)
{
    const CapturedLog log;
    EXPECT_FALSE(dumpCore("core.dump"));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("Not implemented : Velmora::dumpCore", "CoreDump",
                                            s_szLogger)));
    EXPECT_EQ(1U, log.lines().size());
}

TEST(CoreDump, DoesNotLookAtThePath)
{
    const CapturedLog log;
    EXPECT_FALSE(dumpCore(nullptr));
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(CoreDump, TracesItsScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    dumpCore("core.dump");
    const std::vector<LogLine> lines = log.linesOf(s_szLogger);
    ASSERT_EQ(3U, lines.size());
    EXPECT_EQ(traceLine(s_szLogger, "entering Velmora::dumpCore"), lines.front());
    EXPECT_EQ(traceLine(s_szLogger, "exiting Velmora::dumpCore"), lines.back());
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

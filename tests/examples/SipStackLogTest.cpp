// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/SipStackLog.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cerrno>
#include <stdexcept>
#include <string>

namespace Velmora::Test
{

namespace
{

using GatewayExample::SipStackLog;
using testing::ElementsAre;

constexpr const char* s_szLogger = "keswardin.gateway.SipStack";

/// A log of the stack that counts its lines.
void count(void* inout_pCount, const char*, va_list) { ++*static_cast<int*>(inout_pCount); }

} // namespace

TEST(SipStackLog, LogsTheLinesOfTheStackAtDebug)
{
    const CapturedLog log;
    const SipStackLog stackLog;
    su_log("nta: bind(%s)\n", "127.0.0.1");
    su_log("\n");
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, "nta: bind(127.0.0.1)"),
                                         debugLine(s_szLogger, "")));
}

TEST(SipStackLog, KeepsTheLastLineUntilItIsForgotten)
{
    SipStackLog stackLog;
    su_log("first\n");
    su_log("second\n");
    EXPECT_EQ("second", stackLog.lastLine());
    stackLog.forget();
    EXPECT_EQ("", stackLog.lastLine());
}

TEST(SipStackLog, ALineThatCannotBeLoggedIsReportedOnStandardError)
{
    const CapturedLog log;
    SipStackLog stackLog;
    {
        const CallbackAppender thrower([](const std::string&)
                                       { throw std::runtime_error("disk gone"); });
        testing::internal::CaptureStderr();
        su_log("first\n");
        EXPECT_EQ("keswardin:ERROR a line of the SIP stack is lost : disk gone\n",
                  testing::internal::GetCapturedStderr());
    }
    su_log("second\n");
    EXPECT_EQ("second", stackLog.lastLine());
}

TEST(SipStackLog, GivesTheStackItsFormerLogBack)
{
    int iLines = 0;
    su_log_redirect(nullptr, count, &iLines);
    {
        const SipStackLog stackLog;
        su_log("first\n");
    }
    EXPECT_EQ(0, iLines);
    su_log("second\n");
    EXPECT_EQ(1, iLines);
}

TEST(SipStackLog, LogsAsWarningsWhatTheStackReportsOnStandardError)
{
    const CapturedLog log;
    testing::internal::CaptureStderr();
    // The stack's call of the same function.
    const auto pReport = reinterpret_cast<void (*)(const char*)>(dlsym(RTLD_DEFAULT, "perror"));
    errno = EMFILE;
    pReport("sres: socket");
    errno = EBADF;
    pReport(nullptr);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_THAT(log.lines(), ElementsAre(warnLine(s_szLogger, "sres: socket : Too many open files"),
                                         warnLine(s_szLogger, " : Bad file descriptor")));
}

} // namespace Velmora::Test

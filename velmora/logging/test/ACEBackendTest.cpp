// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ACEBackend.h"

#include "velmora/logging/Log4cplusBackend.h"

#include "tests/support/CapturedLog.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Backend.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace Velmora::Test
{

namespace
{

/// Deletes the bridge as the exit list does, and ends the process. The exit code is 0 if ACE's log
/// then works as it does without the library.
[[noreturn]] void endWithoutBridge()
{
    ace_cleanup_destroyer(getACEBackend(), nullptr);
    const bool bCustom = (ACE_LOG_MSG->flags() & ACE_Log_Msg::CUSTOM) != 0;
    _exit(!bCustom && ACE_Log_Msg::msg_backend() == nullptr && getACEBackend() == nullptr ? 0 : 1);
}

} // namespace

TEST(ACEBackend, ThereIsOneInAProcess)
{
    EXPECT_NE(nullptr, getACEBackend());
    EXPECT_EQ(getACEBackend(), getACEBackend());
}

TEST(ACEBackend, LeadsTheLogOfACEToItsOwnBackendAndNotToStandardError)
{
    EXPECT_NE(nullptr, dynamic_cast<Log4cplusBackend*>(ACE_Log_Msg::msg_backend()));
    EXPECT_NE(0U, ACE_LOG_MSG->flags() & ACE_Log_Msg::CUSTOM);
    EXPECT_EQ(0U, ACE_LOG_MSG->flags() & ACE_Log_Msg::STDERR);
}

TEST(ACEBackend, NamesTheProgramOfTheLogOfACE)
{
    EXPECT_STREQ("keswardin", ACE_Log_Msg::program_name());
}

TEST(ACEBackend, AtItsEndTheLogOfACEIsOnItsOwnAgain)
{
    EXPECT_EXIT(endWithoutBridge(), testing::ExitedWithCode(0), "");
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ScratchMemberGuard.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

} // namespace

TEST(ScratchMemberGuard, TheFlagIsSetWhileItLives)
{
    const CapturedLog log;
    bool bScratchMemberInUse = false;
    {
        const ScratchMemberGuard guard(bScratchMemberInUse);
        EXPECT_TRUE(bScratchMemberInUse);
    }
    EXPECT_FALSE(bScratchMemberInUse);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ScratchMemberGuard, UsingTheMemberTwiceIsAnAssertionAndTheInnerEndClearsTheFlag)
{
    const CapturedLog log;
    bool bScratchMemberInUse = false;
    const ScratchMemberGuard outer(bScratchMemberInUse);
    {
        const ScratchMemberGuard inner(bScratchMemberInUse);
        EXPECT_TRUE(bScratchMemberInUse);
    }
    EXPECT_FALSE(bScratchMemberInUse);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("m_bScratchMemberInUse == false", "ScratchMemberGuard",
                                            "keswardin.infra.Assertion")));
}

TEST(ScratchMemberGuard, IsOnePointer) { EXPECT_EQ(sizeof(void*), sizeof(ScratchMemberGuard)); }

} // namespace Velmora::Test

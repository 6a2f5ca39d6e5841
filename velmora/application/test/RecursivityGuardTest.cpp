// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/RecursivityGuard.h"

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

TEST(RecursivityGuard, TheFlagIsSetWhileItLives)
{
    const CapturedLog log;
    bool bRecursivity = false;
    {
        const RecursivityGuard guard(bRecursivity);
        EXPECT_TRUE(bRecursivity);
    }
    EXPECT_FALSE(bRecursivity);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RecursivityGuard, EnteringTwiceIsAnAssertionAndTheInnerEndClearsTheFlag)
{
    const CapturedLog log;
    bool bRecursivity = false;
    const RecursivityGuard outer(bRecursivity);
    {
        const RecursivityGuard inner(bRecursivity);
        EXPECT_TRUE(bRecursivity);
    }
    EXPECT_FALSE(bRecursivity);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("m_bRecursivity == false", "RecursivityGuard",
                                            "keswardin.infra.Assertion")));
}

TEST(RecursivityGuard, IsOnePointer) { EXPECT_EQ(sizeof(void*), sizeof(RecursivityGuard)); }

} // namespace Velmora::Test

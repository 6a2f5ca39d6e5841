// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/RunMode.h"

#include <gtest/gtest.h>

namespace Velmora::Test
{

TEST(RunMode, EachModeHasItsText)
{
    EXPECT_STREQ("production", getRunModeString(RunMode::production));
    EXPECT_STREQ("development", getRunModeString(RunMode::development));
    EXPECT_STREQ("undef", getRunModeString(RunMode::undefined));
}

TEST(RunMode, AValueThatIsNoModeHasATextOfItsOwn)
{
    EXPECT_STREQ("RunMode???", getRunModeString(static_cast<RunMode>(3)));
    EXPECT_STREQ("RunMode???", getRunModeString(static_cast<RunMode>(-1)));
}

TEST(RunMode, ModesHaveTheNumbersThatOthersStore)
{
    EXPECT_EQ(0, static_cast<int>(RunMode::production));
    EXPECT_EQ(1, static_cast<int>(RunMode::development));
    EXPECT_EQ(2, static_cast<int>(RunMode::undefined));
}

TEST(RunMode, AModeIsReadWithoutRegardToCase)
{
    EXPECT_EQ(RunMode::production, parseRunModeString("production"));
    EXPECT_EQ(RunMode::production, parseRunModeString("PRODUCTION"));
    EXPECT_EQ(RunMode::development, parseRunModeString("Development"));
}

TEST(RunMode, AnyOtherTextIsUndefined)
{
    EXPECT_EQ(RunMode::undefined, parseRunModeString("undef"));
    EXPECT_EQ(RunMode::undefined, parseRunModeString("test"));
    EXPECT_EQ(RunMode::undefined, parseRunModeString(""));
    EXPECT_EQ(RunMode::undefined, parseRunModeString(" production"));
}

} // namespace Velmora::Test

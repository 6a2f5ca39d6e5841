// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValue.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/test/ParameterValueSupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

// Access

TEST(ParameterValue, WrongAccessAsAStringGivesNull)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<const char*>(valueOf(7)), nullptr);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested STRING "
                                     "actual INT"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == STRING_TYPE"));
}

TEST(ParameterValue, WrongAccessAsAnIntGivesZero)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<int>(valueOf("7")), 0);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested INT "
                                     "actual STRING"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == INT_TYPE"));
}

TEST(ParameterValue, WrongAccessAsABoolGivesFalse)
{
    const CapturedLog log;
    EXPECT_FALSE(static_cast<bool>(valueOf(1)));
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested BOOL "
                                     "actual INT"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == BOOL_TYPE"));
}

TEST(ParameterValue, WrongAccessAsAFloatGivesZero)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<float>(ParameterValue()), 0.0F);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested FLOAT "
                                     "actual UNDEF"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == FLOAT_TYPE"));
}

TEST(ParameterValue, WrongAccessAsALongFailsForTheNameOfTheTypeFirst)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<long>(valueOf(7)), 0);
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[1],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested  actual INT"));
    EXPECT_EQ(log.lines()[0].strText.rfind("Assertion failed (0) ", 0), 0U);
    EXPECT_EQ(
        failedAssertions(log),
        (std::vector<FailedAssertion>{assertionHere("0"), assertionHere("m_type == LONG_TYPE")}));
}

TEST(ParameterValue, WrongAccessToALongFailsForTheNameOfTheTypeFirst)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<int>(valueOf(7L)), 0);
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[1],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested INT actual "));
    EXPECT_EQ(failedAssertions(log), (std::vector<FailedAssertion>{
                                         assertionHere("0"), assertionHere("m_type == INT_TYPE")}));
}

TEST(ParameterValue, RightAccessLogsNothing)
{
    const CapturedLog log;
    EXPECT_STREQ(static_cast<const char*>(valueOf("")), "");
    EXPECT_EQ(static_cast<int>(valueOf(0)), 0);
    EXPECT_EQ(static_cast<long>(valueOf(0L)), 0);
    EXPECT_FALSE(static_cast<bool>(valueOf(false)));
    EXPECT_EQ(static_cast<float>(valueOf(0.0F)), 0.0F);
    EXPECT_TRUE(log.lines().empty());
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/EnvironVars.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Velmora::Test
{

namespace
{

class EnvironVars : public testing::Test
{
  protected:
    EnvironVars()
    {
        setenv("VELMORA_TEST_A", "alpha", 1);
        setenv("VELMORA_TEST_TAG", "${VELMORA_TEST_A}", 1);
        setenv("VELMORA_TEST_EMPTY", "", 1);
        unsetenv("VELMORA_TEST_NONE");
    }

    static void expectText(const char* in_szExpected, const char* in_szText)
    {
        std::string strResult = "before";
        EXPECT_TRUE(substEnvironVars(in_szText, strResult)) << in_szText;
        EXPECT_EQ(in_szExpected, strResult);
    }
};

} // namespace

TEST_F(EnvironVars, ATextWithoutTagsStaysAsItIs)
{
    expectText("", "");
    expectText("plain $ { } text", "plain $ { } text");
}

TEST_F(EnvironVars, EachTagBecomesItsVariable)
{
    expectText("alpha", "${VELMORA_TEST_A}");
    expectText("/x/alpha-alpha/y", "/x/${VELMORA_TEST_A}-${VELMORA_TEST_A}/y");
}

TEST_F(EnvironVars, AVariableThatIsNotSetLeavesItsTag)
{
    expectText("${VELMORA_TEST_NONE} alpha", "${VELMORA_TEST_NONE} ${VELMORA_TEST_A}");
}

TEST_F(EnvironVars, AnEmptyVariableLeavesItsTag)
{
    expectText("${VELMORA_TEST_EMPTY}", "${VELMORA_TEST_EMPTY}");
    expectText("${}", "${}");
}

TEST_F(EnvironVars, WhatComesFromTheEnvironmentIsNotSearchedAgain)
{
    expectText("${VELMORA_TEST_A}", "${VELMORA_TEST_TAG}");
}

TEST_F(EnvironVars, ATagThatIsNotClosedIsAFailureAndTheTextStays)
{
    std::string strResult;
    EXPECT_FALSE(substEnvironVars("${VELMORA_TEST_A} ${VELMORA", strResult));
    EXPECT_EQ("${VELMORA_TEST_A} ${VELMORA", strResult);
}

TEST_F(EnvironVars, TheOutputMayBeTheTextItself)
{
    std::string strText = "a ${VELMORA_TEST_A}";
    EXPECT_TRUE(substEnvironVars(strText, strText));
    EXPECT_EQ("a alpha", strText);
    strText = "b ${";
    EXPECT_FALSE(substEnvironVars(strText, strText));
    EXPECT_EQ("b ${", strText);
}

} // namespace Velmora::Test

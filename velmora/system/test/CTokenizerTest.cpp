// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/CTokenizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Velmora;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::string> tokensOf(const std::string& in_strText,
                                  const std::string& in_strDelimiters = ".")
{
    std::vector<std::string> tokens{"what was there"};
    CTokenizer<CIsFromString>::Tokenize(tokens, in_strText, CIsFromString(in_strDelimiters));
    return tokens;
}

} // namespace

TEST(CTokenizer, TokensStandBetweenDelimiters)
{
    EXPECT_THAT(tokensOf("a.bc.d"), ElementsAre("a", "bc", "d"));
    EXPECT_THAT(tokensOf("a"), ElementsAre("a"));
}

TEST(CTokenizer, ARunOfDelimitersCountsAsOne)
{
    EXPECT_THAT(tokensOf("..a...b.."), ElementsAre("a", "b"));
}

TEST(CTokenizer, EachCharacterOfTheSetIsADelimiter)
{
    EXPECT_THAT(tokensOf("a, b;c", ", ;"), ElementsAre("a", "b", "c"));
}

TEST(CTokenizer, ATextWithoutOtherCharactersHasNoTokens)
{
    EXPECT_THAT(tokensOf(""), IsEmpty());
    EXPECT_THAT(tokensOf("..."), IsEmpty());
}

TEST(CTokenizer, WithoutDelimitersTheTextIsOneToken)
{
    EXPECT_THAT(tokensOf("a.b", ""), ElementsAre("a.b"));
}

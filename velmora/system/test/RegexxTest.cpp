// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/Regexx.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <string>

using namespace Velmora;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Regexx, FindsAllMatchesWithTheirGroups)
{
    Regexx rxx("(\\w+)=(\\w+)");
    ASSERT_EQ(2U, rxx.exec("a=1, bc=23"));
    ASSERT_EQ(2U, rxx.match.size());
    EXPECT_EQ("a=1", rxx.match[0].str);
    EXPECT_EQ(0U, rxx.match[0].start);
    EXPECT_THAT(rxx.match[0].atom, ElementsAre("a", "1"));
    EXPECT_EQ("bc=23", rxx.match[1].str);
    EXPECT_EQ(5U, rxx.match[1].start);
    EXPECT_THAT(rxx.match[1].atom, ElementsAre("bc", "23"));
}

TEST(Regexx, GivesNoMatchesWhereThereAreNone)
{
    Regexx rxx("x");
    EXPECT_EQ(0U, rxx.exec("abc"));
    EXPECT_THAT(rxx.match, IsEmpty());
}

TEST(Regexx, ForgetsTheMatchesOfTheTextBefore)
{
    Regexx rxx("a");
    rxx.exec("aaa");
    EXPECT_EQ(1U, rxx.exec("a"));
    EXPECT_EQ(1U, rxx.match.size());
    rxx.exec("");
    EXPECT_THAT(rxx.match, IsEmpty());
}

TEST(Regexx, KeepsMatchesWhenTheTextHasGone)
{
    Regexx rxx("b+");
    rxx.exec(std::string("abbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbc"));
    EXPECT_EQ(std::string(31, 'b'), rxx.match[0].str);
}

TEST(Regexx, HasAnEmptyTextForAGroupThatTookNoPart)
{
    Regexx rxx("(a)|(b)");
    ASSERT_EQ(1U, rxx.exec("b"));
    EXPECT_THAT(rxx.match[0].atom, ElementsAre("", "b"));
}

TEST(Regexx, HasNoGroupsWithoutBrackets)
{
    Regexx rxx("a");
    ASSERT_EQ(1U, rxx.exec("a"));
    EXPECT_THAT(rxx.match[0].atom, IsEmpty());
}

TEST(Regexx, MatchesDoNotOverlap)
{
    Regexx rxx("aa");
    EXPECT_EQ(2U, rxx.exec("aaaaa"));
}

TEST(Regexx, FindsEmptyMatchesAndEnds)
{
    Regexx rxx("x*");
    EXPECT_EQ(3U, rxx.exec("ab"));
}

TEST(Regexx, AnchorsMatchOnlyAtTheEndsOfTheText)
{
    EXPECT_EQ(1U, Regexx("^a").exec("a\na"));
    EXPECT_EQ(1U, Regexx("a$").exec("a\na"));
    EXPECT_EQ(0U, Regexx("a$").exec("a\n"));
}

TEST(Regexx, ReplacesAllMatches)
{
    EXPECT_EQ("x-b-x", Regexx("a+").replace("a-b-aaa", "x"));
    EXPECT_EQ("abc", Regexx("x").replace("abc", "y"));
}

TEST(Regexx, RemovesWhatItReplacesByNothing)
{
    EXPECT_EQ("/a/b", Regexx("/+[^/]+/?$").replace("/a/b//c/", ""));
    EXPECT_EQ("a\nb", Regexx("/+[^/]+/?$").replace("a\nb/c\nd", ""));
}

TEST(Regexx, PutsAReplacementInAsItStands)
{
    EXPECT_EQ("[$1\\1&]", Regexx("(a)").replace("[a]", "$1\\1&"));
}

TEST(Regexx, KeepsItsMatchesWhenItReplaces)
{
    Regexx rxx("a");
    rxx.exec("aa");
    EXPECT_EQ("b", rxx.replace("a", "b"));
    EXPECT_EQ(2U, rxx.match.size());
}

TEST(Regexx, ThrowsForAnExpressionThatIsWrong) { EXPECT_THROW(Regexx("("), std::exception); }

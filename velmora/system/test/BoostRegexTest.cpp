// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/BoostRegex.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace Velmora;

TEST(BoostRegex, MatchesAWholeText)
{
    const BoostRegex regex("a+b");
    EXPECT_TRUE(BoostRegex::regex_match("aab", regex));
    EXPECT_FALSE(BoostRegex::regex_match("aabc", regex));
}

TEST(BoostRegex, FindsAMatchAnywhereInAText)
{
    const BoostRegex regex("a+b");
    EXPECT_TRUE(BoostRegex::regex_search("xaabc", regex));
    EXPECT_FALSE(BoostRegex::regex_search("xbc", regex));
}

TEST(BoostRegex, GivesTheGroupsOfAWholeMatch)
{
    const std::string strText = "name=value";
    boost::smatch results;
    ASSERT_TRUE(BoostRegex::regex_match(strText, results, BoostRegex("(\\w+)=(\\w+)")));
    ASSERT_EQ(3U, results.size());
    EXPECT_EQ("name", results[1]);
    EXPECT_EQ("value", results[2]);
}

TEST(BoostRegex, GivesTheGroupsOfAMatchSomewhere)
{
    const std::string strText = "a name=value pair";
    boost::smatch results;
    ASSERT_TRUE(BoostRegex::regex_search(strText, results, BoostRegex("(\\w+)=(\\w+)")));
    EXPECT_EQ("a ", results.prefix());
    EXPECT_EQ("name", results[1]);
    EXPECT_EQ(" pair", results.suffix());
}

TEST(BoostRegex, HasPerlSyntaxWithoutFlags)
{
    const BoostRegex regex("\\d{4}(?:_\\d+)*");
    EXPECT_TRUE(BoostRegex::regex_match("2026_3_7", regex));
    EXPECT_FALSE(BoostRegex::regex_match("ABC", BoostRegex("abc")));
}

TEST(BoostRegex, HeedsFlags)
{
    EXPECT_TRUE(BoostRegex::regex_match("ABC", BoostRegex("abc", boost::regex::icase)));
    EXPECT_TRUE(BoostRegex::regex_match("a+", BoostRegex("a+", boost::regex::literal)));
}

TEST(BoostRegex, MatchesNothingByDefault)
{
    const BoostRegex regex;
    EXPECT_TRUE(regex.get().empty());
    const std::string strText = "a";
    boost::smatch results;
    EXPECT_FALSE(BoostRegex::regex_match(strText, regex));
    EXPECT_FALSE(BoostRegex::regex_search(strText, regex));
    ASSERT_TRUE(BoostRegex::regex_search(strText, results, BoostRegex("a")));
    EXPECT_FALSE(BoostRegex::regex_search(strText, results, regex));
    EXPECT_TRUE(results.empty());
    EXPECT_FALSE(BoostRegex::regex_match(strText, results, regex));
    EXPECT_TRUE(results.empty());
}

TEST(BoostRegex, CopiesShareTheirCompiledForm)
{
    const BoostRegex regex("a(b)c");
    const BoostRegex copy(regex);
    BoostRegex assigned;
    assigned = regex;
    // The compiled form contains the text of the expression.
    EXPECT_EQ(&*regex.get().begin(), &*copy.get().begin());
    EXPECT_EQ(&*regex.get().begin(), &*assigned.get().begin());
    EXPECT_TRUE(BoostRegex::regex_match("abc", copy));
}

TEST(BoostRegex, AssignLeavesCopiesAsTheyAre)
{
    BoostRegex regex("a");
    const BoostRegex copy(regex);
    EXPECT_EQ(&regex, &regex.assign("B", boost::regex::icase));
    EXPECT_TRUE(BoostRegex::regex_match("b", regex));
    EXPECT_TRUE(BoostRegex::regex_match("a", copy));
    EXPECT_FALSE(BoostRegex::regex_match("a", regex));
}

TEST(BoostRegex, ThrowsForAnExpressionThatIsWrong)
{
    EXPECT_THROW(BoostRegex("a("), boost::regex_error);
    EXPECT_THROW(BoostRegex("a("), std::exception);
}

TEST(BoostRegex, KeepsItsExpressionWhenTheNewOneIsWrong)
{
    BoostRegex regex("a");
    EXPECT_THROW(regex.assign("*"), boost::regex_error);
    EXPECT_TRUE(BoostRegex::regex_match("a", regex));
}

TEST(BoostRegex, ThrowsWhereAMatchIsTooCostly)
{
    EXPECT_THROW(static_cast<void>(BoostRegex::regex_match(std::string(60, 'a') + 'b',
                                                           BoostRegex("(?:a|a|aa)*(?:a|aa|a)*c"))),
                 std::runtime_error);
}

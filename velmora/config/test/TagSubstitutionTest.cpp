// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/TagSubstitution.h"

#include "tests/support/CapturedAssertions.h"
#include "velmora/config/test/ParameterTrieText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using ParameterTrieTags = ParameterTrieText;

} // namespace

TEST_F(ParameterTrieTags, ATagStandsForTheTextOfAParameter)
{
    EXPECT_TRUE(read("x=abc\ny=${x}\nz=<${x}${x}>\n${x}.name=1\n"));
    EXPECT_EQ("type=STRING value=abc", dump("y"));
    EXPECT_EQ("type=STRING value=<abcabc>", dump("z"));
    EXPECT_EQ("type=INT value=1", dump("abc.name"));
}

TEST_F(ParameterTrieTags, WhatATagStandsForIsLogged)
{
    EXPECT_TRUE(read("x=abc\n"));
    const CapturedLog log;
    EXPECT_TRUE(read("y=${x}\n"));
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, "Parameter for key: x is: abc"),
                                         debugLine(s_szLogger, "Parameter value: abc")));
}

TEST_F(ParameterTrieTags, AValueThatComesInIsNotSearchedAgain)
{
    std::istringstream stream("x=${y}\n");
    m_trie.read(stream, nullptr, '\n', false, nullptr, nullptr);
    EXPECT_TRUE(read("y=1\nz=${x}\n"));
    EXPECT_EQ("type=STRING value=${y}", dump("z"));
}

TEST_F(ParameterTrieTags, TagsDoNotNest)
{
    EXPECT_TRUE(read("b=B\n"));
    Lines unresolved;
    EXPECT_FALSE(read("x=${a${b}}\n", &unresolved)) << "what is left has no equals sign";
    EXPECT_THAT(unresolved, IsEmpty());
    // With the name after the tag, the rest is a line.
    EXPECT_TRUE(read("${b}x=${b}}\n"));
    EXPECT_EQ("type=STRING value=B}", dump("Bx"));
}

TEST_F(ParameterTrieTags, ADollarThatOpensNoTagDropsTheTextBeforeIt)
{
    expectParseError("x=a$b\n", 1, "b",
                     "remove the \"$\" in \"$b\" from \"x=a$b\", or write a tag as ${name}");
    expectParseError("x=$a$b=c d\nno\n", 2, "no", "write \"name = value\" instead of \"no\"");
    EXPECT_EQ("type=STRING value=c d", dump("b"));
}

TEST_F(ParameterTrieTags, ADollarAtTheEndIsAParseErrorOfNothing)
{
    expectParseError("x=a$\n", 1, "",
                     "remove the \"$\" in \"$\" from \"x=a$\", or write a tag as ${name}");
}

TEST_F(ParameterTrieTags, AnUnclosedTagIsAParseError)
{
    expectParseError("x=${a\n", 1, "{a", "close the tag that begins with \"${a\" in \"x=${a\"");
}

TEST_F(ParameterTrieTags, ADollarBeforeATagDropsTheTextBeforeIt)
{
    EXPECT_TRUE(read("b=B\n"));
    EXPECT_TRUE(read("x=$y=${b}\n"));
    EXPECT_EQ("type=STRING value=B", dump("y"));
    EXPECT_EQ("type=UNDEF", dump("x"));
}

TEST_F(ParameterTrieTags, ATagOfAParameterThatIsNoStringStandsForNothing)
{
    const CapturedLog log;
    EXPECT_TRUE(read("x=1\ny=${x}\n"));
    EXPECT_EQ("type=STRING value=", dump("y"));
    EXPECT_EQ(errorLine("keswardin.infra.Parameter",
                        "InvalidParamValueTypeException : requested STRING actual INT"),
              log.lines().at(0));
    EXPECT_EQ(1U, failedAssertions(log).size());
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(errorLine(s_szLogger,
                                      "line 2 : ${x} is replaced by nothing, because its parameter "
                                      "is INT and not STRING ; write the value itself"),
                            debugLine(s_szLogger, "Parameter for key: x is: "),
                            debugLine(s_szLogger, "Parameter value: ")));
}

TEST_F(ParameterTrieTags, TheOtherTrieIsAskedNext)
{
    ParameterTrie other;
    other.setStringParameter("a", "other a");
    other.setStringParameter("b", "other b");
    EXPECT_TRUE(read("a=own a\nx=${a},${b}\n", nullptr, &other));
    EXPECT_EQ("type=STRING value=own a,other b", dump("x"));
}

TEST_F(ParameterTrieTags, APrefixInThisTrieDoesNotHideTheOther)
{
    ParameterTrie other;
    other.setStringParameter("a", "other a");
    EXPECT_TRUE(read("a.b=1\nx=${a}\n", nullptr, &other));
    EXPECT_EQ("type=STRING value=other a", dump("x"));
}

TEST_F(ParameterTrieTags, TheEnvironmentIsAskedLast)
{
    setenv("HOME", "/home/operator", 1);
    EXPECT_TRUE(read("x=${HOME}\nHOME=here\ny=${HOME}\n"));
    EXPECT_EQ("type=STRING value=/home/operator", dump("x"));
    EXPECT_EQ("type=STRING value=here", dump("y"));
}

TEST_F(ParameterTrieTags, AnEmptyVariableIsFound)
{
    setenv("VELMORA_TEST_EMPTY", "", 1);
    EXPECT_TRUE(read("x=<${VELMORA_TEST_EMPTY}>\n"));
    EXPECT_EQ("type=STRING value=<>", dump("x"));
}

TEST_F(ParameterTrieTags, AnEmptyTagIsTheRoot)
{
    Lines unresolved;
    EXPECT_TRUE(read("x=${}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("x=${}"));
    EXPECT_TRUE(read("=root\nx=${}\n"));
    EXPECT_EQ("type=STRING value=root", dump("x"));
}

TEST_F(ParameterTrieTags, ATagWithoutAValueEndsTheReadingWhenThereIsNoVector)
{
    const CapturedLog log;
    EXPECT_FALSE(read("w=1\ny=${x}\nx=abc\n"));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(debugLine(s_szLogger, "Parameter value: ${x}"),
                    errorLine(s_szLogger, "Unable to resolve line [y=${x}]. Parameter unknown"),
                    errorLine(s_szLogger,
                              "line 2 : no parameter and no environment variable is named ${x} ; "
                              "add the line \"x = ...\", or correct the tag")));
    EXPECT_EQ("w=1", written());
}

TEST_F(ParameterTrieTags, EachLineIsATraceScopeWithATagOrWithout)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_TRUE(read("# nothing\nx=abc\ny=${x}\n"));
    EXPECT_THAT(scopesOf(log),
                ElementsAre("entering ParameterTrie::substituteVars", s_szEnteringGetKey,
                            s_szExitingGetKey, "exiting ParameterTrie::substituteVars",
                            "entering ParameterTrie::substituteVars", s_szEnteringGetKey,
                            s_szExitingGetKey, s_szEnteringGetKey, s_szExitingGetKey,
                            "exiting ParameterTrie::substituteVars"));
}

TEST_F(ParameterTrieTags, WithoutSubstitutionThereIsNoTraceScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    std::istringstream stream("x=${y}\n");
    m_trie.read(stream, nullptr, '\n', false, nullptr, nullptr);
    EXPECT_THAT(scopesOf(log), IsEmpty());
}

} // namespace Velmora::Test

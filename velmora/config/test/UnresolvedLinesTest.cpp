// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/UnresolvedLines.h"

#include "velmora/config/test/ParameterTrieText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using ParameterTrieFiles = ParameterTrieText;

} // namespace

TEST_F(ParameterTrieFiles, ALineThatNeedsALaterOneIsResolvedAtTheEnd)
{
    const CapturedLog log;
    Lines unresolved;
    EXPECT_TRUE(read("y=${x}\nx=abc\n", &unresolved));
    EXPECT_THAT(unresolved, IsEmpty());
    EXPECT_EQ("type=STRING value=abc", dump("y"));
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger, "Parameter value: ${x}"),
                            debugLine(s_szLogger, "Adding line to unresolved vector: y=${x}"),
                            debugLine(s_szLogger, "Trying to resolve param: y=${x}"),
                            debugLine(s_szLogger, "Parameter for key: x is: abc"),
                            debugLine(s_szLogger, "Parameter value: abc")));
}

TEST_F(ParameterTrieFiles, LinesWaitForTheNextFile)
{
    Lines unresolved;
    EXPECT_TRUE(read("b=${c}\na=${b}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("b=${c}", "a=${b}"));
    EXPECT_TRUE(read("c=z\n", &unresolved));
    EXPECT_THAT(unresolved, IsEmpty());
    EXPECT_EQ("type=STRING value=z", dump("a"));
    EXPECT_EQ("type=STRING value=z", dump("b"));
}

TEST_F(ParameterTrieFiles, ALineTakesTheRawTextOfALaterLine)
{
    Lines unresolved;
    EXPECT_TRUE(read("a=${b}\nb=${c}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("a=${c}", "b=${c}"));
    EXPECT_TRUE(read("c=z\n", &unresolved));
    EXPECT_THAT(unresolved, IsEmpty());
    EXPECT_EQ("type=STRING value=z", dump("a"));
    EXPECT_EQ("type=STRING value=z", dump("b"));
}

TEST_F(ParameterTrieFiles, WhatIsKnownIsReplacedInALineThatWaits)
{
    Lines unresolved;
    EXPECT_TRUE(read("b=B\nx=${a}${b}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("x=${a}B"));
}

TEST_F(ParameterTrieFiles, TheLinesOfAFormerFileAreTriedWithThoseOfTheNext)
{
    Lines unresolved;
    EXPECT_TRUE(read("a=${b}!\n", &unresolved));
    const CapturedLog log;
    EXPECT_TRUE(read("b=${c}?\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("a=${c}?!", "b=${c}?"));
    EXPECT_THAT(log.lines(),
                Contains(debugLine(s_szLogger, "Value of parameter: c not defined yet. Value might "
                                               "in an other configuration file")));
}

TEST_F(ParameterTrieFiles, ADefiningLineMayHaveBlanksAroundItsEqualsSignOnly)
{
    for (const char* const szDefining : {"b  =  ${c}", "b=${c}"})
    {
        Lines unresolved;
        EXPECT_TRUE(read(std::string("a=${b}\n") + szDefining + "\n", &unresolved));
        EXPECT_THAT(unresolved, ElementsAre("a=${c}", szDefining));
    }
    for (const char* const szDefining : {" b=${c}", "b\t=${c}", "bb=${c}", "b"})
    {
        Lines unresolved{"a=${b}", szDefining};
        read("\n", &unresolved);
        EXPECT_EQ("a=${b}", unresolved.at(0)) << szDefining;
    }
}

TEST_F(ParameterTrieFiles, AnEarlierLineOfTheVectorIsNotSearched)
{
    Lines unresolved;
    EXPECT_TRUE(read("b=${c}\na=${b}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("b=${c}", "a=${b}"));
}

TEST_F(ParameterTrieFiles, DotsOfATagsNameMatchAnyCharacterOfADefiningLine)
{
    Lines unresolved;
    EXPECT_TRUE(read("x=${a.b} ${aXb}\naYb=<${c}>\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("x=<${c}> <${c}>", "aYb=<${c}>"));
}

TEST_F(ParameterTrieFiles, ANameIsAnExpressionOfItsOwnInADefiningLine)
{
    Lines unresolved;
    EXPECT_TRUE(read("x=${a+}\naaa=${c}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("x=${a+}", "aaa=${c}"))
        << "the line is found, but \"a+\" is no tag that its own expression matches";
}

TEST_F(ParameterTrieFiles, ANameThatIsNoExpressionHasNoDefiningLine)
{
    for (const char* const szName : {"(", "[", "*"})
    {
        const CapturedLog log;
        const std::string strLine = std::string("x=${") + szName + "}";
        Lines unresolved{strLine, std::string(szName) + "=${c}"};
        EXPECT_TRUE(read("", &unresolved));
        EXPECT_EQ(strLine, unresolved.at(0));
        EXPECT_THAT(log.lines(),
                    Contains(debugLine(s_szLogger, std::string("Value of parameter: ") + szName +
                                                       " not defined yet. Value might in an other "
                                                       "configuration file")));
    }
}

TEST_F(ParameterTrieFiles, TheTextOfADefiningLineIsAFormat)
{
    Lines unresolved{"x=${b}", "b=[$&]\\t${c}"};
    EXPECT_TRUE(read("", &unresolved));
    EXPECT_EQ("x=[${b}]\t${c}", unresolved.at(0));
}

TEST_F(ParameterTrieFiles, CyclesEndWithTheirLinesLeft)
{
    Lines unresolved;
    EXPECT_TRUE(read("a=${b}\nb=${a}\n", &unresolved));
    EXPECT_THAT(unresolved, ElementsAre("a=${a}", "b=${a}"));
    Lines itself;
    EXPECT_TRUE(read("x=${x}\n", &itself));
    EXPECT_THAT(itself, ElementsAre("x=${x}"));
}

TEST_F(ParameterTrieFiles, ACycleBelowALineEndsBeforeItComesRound)
{
    Lines unresolved{"x=${a}", "a=${b}", "b=${a}"};
    EXPECT_TRUE(read("", &unresolved));
    EXPECT_EQ("x=${a}", unresolved.at(0)) << "as it was before its tag was met again";
}

TEST_F(ParameterTrieFiles, ALineThatResolvesToNoParameterIsDroppedAndTheOthersGoOn)
{
    const CapturedLog log;
    Lines unresolved{"${a}", "y=${a}"};
    EXPECT_TRUE(read("a=text\n", &unresolved));
    EXPECT_THAT(unresolved, IsEmpty());
    EXPECT_EQ("type=STRING value=text", dump("y"));
    EXPECT_THAT(log.lines(),
                Contains(errorLine(s_szLogger, "parse error. failed to parse : text")));
}

TEST_F(ParameterTrieFiles, TagsThatDoubleALineRepeatedlyEndInAnError)
{
    std::string strText = "x0=0123456789abcdef\n";
    for (int i = 1; i <= 40; ++i)
    {
        const std::string strTag = "${x" + std::to_string(i - 1) + "}";
        strText += "x" + std::to_string(i) + "=" + strTag + strTag + "\n";
    }
    const CapturedLog log(ERROR_LOG_LEVEL);
    EXPECT_FALSE(read(strText));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(errorLine(s_szLogger, "Line becomes too long with its tags replaced : "
                                          "x17=${x16}${x16}"),
                    errorLine(s_szLogger, "line 18 : shorten the line, or the values of its tags"),
                    errorLine(s_szLogger, "parse error at line 18. failed to parse : "),
                    errorLine(s_szLogger, "line 18 : write a line that reads \"name = "
                                          "value\" with its tags replaced, instead of "
                                          "\"x17=${x16}${x16}\"")));
}

TEST_F(ParameterTrieFiles, TagsThatDoubleALineInTheVectorEndInAnError)
{
    Lines unresolved;
    std::string strText;
    for (int i = 0; i < 60; ++i)
    {
        const std::string strTag = "${x" + std::to_string(i + 1) + "}";
        strText += "x" + std::to_string(i) + "=" + strTag + strTag + "\n";
    }
    const CapturedLog log(ERROR_LOG_LEVEL);
    EXPECT_TRUE(read(strText, &unresolved));
    EXPECT_EQ(60U, unresolved.size());
    ASSERT_FALSE(log.lines().empty());
    for (const LogLine& line : log.lines())
        EXPECT_THAT(
            line.strText,
            testing::AnyOf(testing::StartsWith("Line becomes too long with its tags replaced : x"),
                           testing::EndsWith(" : shorten the line, or the values of its tags")));
}

TEST_F(ParameterTrieFiles, AFormatStringThatMultipliesALineLeavesItWaitingAsItWas)
{
    // The name "|" makes an expression that matches both "${" and "}". In the format string, "$`"
    // and "$'" are replaced by the text before and after each match.
    std::string strFormat;
    for (int i = 0; i < 20000; ++i)
        strFormat += "$`$'";
    const std::string strFirst = "x=" + std::string(100, 'x') + "${|}";
    Lines unresolved;
    const CapturedLog log(ERROR_LOG_LEVEL);
    unresolved = {strFirst, "|=" + strFormat + "${nowhere}"};
    EXPECT_TRUE(read("", &unresolved));
    ASSERT_EQ(2U, unresolved.size());
    EXPECT_EQ(strFirst, unresolved[0]);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(
                                 s_szLogger, "Line becomes too long with its tags replaced : " +
                                                 strFirst.substr(0, 100))));
}

TEST_F(ParameterTrieFiles, NamesThatBringAboutLongerOnesWithoutEndLeaveTheirLineWaiting)
{
    // The name is an expression that matches the second line, whatever that has become, and the
    // replacement makes the line longer: in a format string, "${0}" is the match.
    Lines unresolved{"x=${|}", "b=longer${0}"};
    const CapturedLog log(ERROR_LOG_LEVEL);
    EXPECT_TRUE(read("", &unresolved));
    EXPECT_EQ(2U, unresolved.size());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ParameterTrieFiles, ANameOfMoreThan128CharactersIsNoExpression)
{
    // As an expression, the name matches the second line, and both ends of its own tag.
    for (const std::size_t uiLength : {128, 129})
    {
        const std::string strWaiting = "x=${" + std::string(uiLength - 2, 'a') + "|b}";
        Lines unresolved{strWaiting, "b=V"};
        const CapturedLog log(ERROR_LOG_LEVEL);
        EXPECT_TRUE(read("", &unresolved));
        if (uiLength == 128)
            EXPECT_THAT(unresolved, IsEmpty());
        else
            EXPECT_THAT(unresolved, ElementsAre(strWaiting));
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST_F(ParameterTrieFiles, AnExpressionIsNotSearchedInALineAbove64Kibibytes)
{
    const std::string strTag = "${a|b}";
    for (const std::size_t uiTooMuch : {0, 1})
    {
        const std::string strWaiting =
            "x=" + std::string(64 * 1024 - 2 - strTag.size() + uiTooMuch, 'r') + strTag;
        Lines unresolved{strWaiting, "b=V"};
        const CapturedLog log(ERROR_LOG_LEVEL);
        EXPECT_TRUE(read("", &unresolved));
        EXPECT_EQ(uiTooMuch, unresolved.size());
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST_F(ParameterTrieFiles, ALineThatWaitsMayGrowByTheLongestRawTextAndNoMore)
{
    const std::string strTag = "${a}";
    for (const std::size_t uiTooMuch : {0, 1})
    {
        const std::string strRaw(64 * 1024 + strTag.size() + uiTooMuch - 10, 'r');
        Lines unresolved{"x=" + strTag, "a=" + strRaw + "${nowhere}"};
        const CapturedLog log(ERROR_LOG_LEVEL);
        EXPECT_TRUE(read("", &unresolved));
        ASSERT_EQ(2U, unresolved.size());
        EXPECT_EQ(uiTooMuch == 0 ? "x=" + strRaw + "${nowhere}" : "x=" + strTag, unresolved[0]);
        EXPECT_EQ(uiTooMuch, log.lines().size());
    }
}

TEST_F(ParameterTrieFiles, NamesBesideEachOtherAreCutAsEachByItself)
{
    const std::vector<std::string> names{"a.b",  "a.b.c", "a.b.d", "a..b", "a..c", "a.",
                                         "a.b.", ".a",    ".b",    "..",   "a",    "b",
                                         "a.b",  "a..b",  "",      ".a.b", ".a.c", "a. .x"};
    std::string strText;
    ParameterTrie expected;
    int iValue = 0;
    for (const std::string& strName : names)
    {
        strText += strName + "=" + std::to_string(++iValue) + "\n";
        expected.setIntParameter(strName.c_str(), iValue);
    }
    EXPECT_TRUE(read(strText));
    for (const std::string& strName : names)
    {
        int iExpected = 0;
        int iRead = -1;
        EXPECT_TRUE(expected.getIntParameter(strName.c_str(), iExpected)) << strName;
        m_trie.getIntParameter(strName.c_str(), iRead);
        EXPECT_EQ(iExpected, iRead) << strName;
    }
    std::ostringstream written;
    std::ostringstream expectedText;
    written << m_trie;
    expectedText << expected;
    EXPECT_EQ(expectedText.str().size(), written.str().size());
}

TEST_F(ParameterTrieFiles, EachStepOfALineThatWaitsIsATraceScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Lines unresolved{"a=${b}"};
    EXPECT_TRUE(read("", &unresolved));
    EXPECT_THAT(scopesOf(log),
                ElementsAre("entering ParameterTrie::processUnresolvedConfigLines",
                            "entering ParameterTrie::resolveInVector",
                            "entering ParameterTrie::substituteVars", s_szEnteringGetKey,
                            s_szExitingGetKey, s_szEnteringGetKey, s_szExitingGetKey,
                            "exiting ParameterTrie::substituteVars",
                            "entering ParameterTrie::findKeyInVector", s_szEnteringGetKey,
                            s_szExitingGetKey, "exiting ParameterTrie::findKeyInVector",
                            "exiting ParameterTrie::resolveInVector",
                            "exiting ParameterTrie::processUnresolvedConfigLines"));
}

TEST_F(ParameterTrieFiles, EachTagThatIsReplacedInALineThatWaitsIsAScopeInTheOneBefore)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Lines unresolved{"a=${b}", "b=z"};
    EXPECT_TRUE(read("", &unresolved));
    std::vector<std::string> passes;
    for (const std::string& strScope : scopesOf(log))
        if (strScope.ends_with("::resolveInVector"))
            passes.push_back(strScope.substr(0, strScope.find(' ')));
    EXPECT_THAT(passes,
                ElementsAre("entering", "entering", "exiting", "exiting", "entering", "exiting"));
}

/// Reads a text with waiting lines that remember why they wait, with the log off.
void readQuietly(ParameterTrie& inout_trie, const std::string& in_strText,
                 UnresolvedLines& inout_unresolved)
{
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    std::istringstream text(in_strText);
    inout_trie.read(text, nullptr, nullptr, {nullptr, nullptr, &inout_unresolved});
}

TEST(UnresolvedLinesTries, ALineIsTriedOnceUntilANameThatItNeedsMayBeKnown)
{
    ParameterTrie trie;
    Lines lines;
    UnresolvedLines unresolved(lines);
    constexpr std::size_t uiSources = 300;
    for (std::size_t i = 0; i != uiSources; ++i)
        readQuietly(trie,
                    "x" + std::to_string(i) + "=${known}${missing" + std::to_string(i) +
                        "}\nknown=K\n",
                    unresolved);
    EXPECT_EQ(uiSources, unresolved.getNumTries());
    readQuietly(trie, "missing7=M\n", unresolved);
    EXPECT_EQ(uiSources + 1, unresolved.getNumTries());
    EXPECT_EQ(uiSources - 1, lines.size());
    ParameterValue value;
    trie.getParameter("x7", value);
    EXPECT_STREQ("KM", static_cast<const char*>(value));
}

TEST(UnresolvedLinesTries, ALineIsTriedAgainWhenALaterLineDefinesItsFirstTag)
{
    ParameterTrie trie;
    Lines lines;
    UnresolvedLines unresolved(lines);
    readQuietly(trie, "x=${a.b}\n", unresolved);
    readQuietly(trie, "y=${c}\n", unresolved);
    EXPECT_EQ(2U, unresolved.getNumTries());
    // The dot of the name stands for any character.
    readQuietly(trie, "a-b=${c}!\n", unresolved);
    EXPECT_THAT(lines, ElementsAre("x=${c}!", "y=${c}", "a-b=${c}!"));
}

TEST(UnresolvedLinesTries, EachLineIsTriedAndLoggedAtDebug)
{
    ParameterTrie trie;
    Lines lines;
    UnresolvedLines unresolved(lines);
    const CapturedLog log;
    for (const char* const szText : {"x=${a}\n", "y=${b}\n", "z=1\n"})
    {
        std::istringstream text(szText);
        trie.read(text, nullptr, nullptr, {nullptr, nullptr, &unresolved});
    }
    EXPECT_EQ(5U, unresolved.getNumTries());
    EXPECT_THAT(log.lines(),
                Contains(debugLine(s_szLogger, "Trying to resolve param: x=${a}")).Times(3));
}

TEST(UnresolvedLinesTries, TheResultIsThatOfTryingAllLines)
{
    std::mt19937 random(5);
    const std::vector<std::string> names{"a", "b", "c", "d.e", "dxe", "f", "[", "g.*"};
    for (int iRound = 0; iRound != 2000; ++iRound)
    {
        ParameterTrie remembering;
        ParameterTrie forgetful;
        Lines rememberedLines;
        Lines forgottenLines;
        UnresolvedLines unresolved(rememberedLines);
        for (int iSource = 0; iSource != 8; ++iSource)
        {
            std::string strText;
            for (unsigned int uiLines = random() % 3; uiLines != 0; --uiLines)
            {
                strText += names[random() % names.size()] + (random() % 4 == 0 ? " = " : "=");
                for (unsigned int uiTags = random() % 3; uiTags != 0; --uiTags)
                    strText += "t${" + names[random() % names.size()] + "}";
                strText += "v\n";
            }
            readQuietly(remembering, strText, unresolved);
            UnresolvedLines forgets(forgottenLines);
            readQuietly(forgetful, strText, forgets);
            ASSERT_EQ(forgottenLines, rememberedLines) << "round " << iRound;
            std::ostringstream expected;
            std::ostringstream text;
            ASSERT_EQ((forgetful.write(expected), expected.str()),
                      (remembering.write(text), text.str()))
                << "round " << iRound;
        }
    }
}

} // namespace Velmora::Test

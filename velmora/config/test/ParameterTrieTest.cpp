#include "velmora/config/ParameterTrie.h"

#include "velmora/config/ParameterInfoDB.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/helpers/property.h>

#include <cstdlib>
#include <locale>
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

using Lines = std::vector<std::string>;

const char* const s_szLogger = "keswardin.infra.ParameterTrie";

const ParameterInfoDB* table() { return &ParameterInfoDB::getInstance(); }

class ParameterTrieText : public testing::Test
{
  protected:
    ParameterTrieText()
    {
        unsetenv("a");
        unsetenv("b");
        unsetenv("c");
        unsetenv("x");
    }

    /// Reads a text without a table. Returns whether the stream is still good.
    bool read(const std::string& in_strText, Lines* inout_pUnresolved = nullptr,
              const ParameterTrie* in_pOther = nullptr)
    {
        return readWith(nullptr, in_strText, inout_pUnresolved, in_pOther);
    }

    bool readWith(const ParameterInfoDB* in_pDB, const std::string& in_strText,
                  Lines* inout_pUnresolved = nullptr, const ParameterTrie* in_pOther = nullptr)
    {
        std::istringstream stream(in_strText);
        EXPECT_EQ(&stream, &m_trie.read(stream, in_pDB, '\n', true, inout_pUnresolved, in_pOther));
        return !stream.fail();
    }

    /// Returns the text that the trie writes, with ";" between entries.
    std::string written() const
    {
        std::ostringstream stream;
        m_trie.write(stream, ';');
        return stream.str();
    }

    std::string dump(const char* in_szName) const
    {
        ParameterValue value;
        m_trie.getParameter(in_szName, value);
        std::ostringstream stream;
        value.dump(stream);
        return stream.str();
    }

    void expectParseError(const std::string& in_strText, int in_iLine, const std::string& in_strBad)
    {
        const CapturedLog log;
        EXPECT_FALSE(read(in_strText));
        EXPECT_THAT(log.lines(), ElementsAre(errorLine(
                                     s_szLogger, "parse error at line " + std::to_string(in_iLine) +
                                                     ". failed to parse : " + in_strBad)));
    }

    ParameterTrie m_trie;
};

using ParameterTrieTags = ParameterTrieText;
using ParameterTrieFiles = ParameterTrieText;
using ParameterTrieTable = ParameterTrieText;
using ParameterTrieWrite = ParameterTrieText;
using ParameterTrieEnvironment = ParameterTrieText;

} // namespace

TEST(ParameterTrie, AParameterIsFoundByItsName)
{
    ParameterTrie trie;
    EXPECT_TRUE(trie.setIntParameter("a.b.c", 3));
    EXPECT_TRUE(trie.setStringParameter("a.b", "text"));
    int iValue = 0;
    EXPECT_TRUE(trie.getIntParameter("a.b.c", iValue));
    EXPECT_EQ(3, iValue);
    std::string strValue;
    EXPECT_TRUE(trie.getStringParameter("a.b", strValue));
    EXPECT_EQ("text", strValue);
}

TEST(ParameterTrie, APrefixAndAnAbsentNameAreUndefined)
{
    ParameterTrie trie;
    trie.setIntParameter("a.b", 3);
    EXPECT_FALSE(trie.parameterDefined("a"));
    EXPECT_FALSE(trie.parameterDefined("a.b.c"));
    EXPECT_FALSE(trie.parameterDefined("b"));
    ParameterValue value;
    value = 5;
    trie.getParameter("nobody", value);
    EXPECT_FALSE(value.defined());
}

TEST(ParameterTrie, SettingOverwrites)
{
    ParameterTrie trie;
    trie.setIntParameter("a", 1);
    trie.setStringParameter("a", "two");
    std::string strValue;
    EXPECT_TRUE(trie.getStringParameter("a", strValue));
    EXPECT_EQ("two", strValue);
}

TEST(ParameterTrie, ATrailingDotAddsNothingAndAnEmptyComponentIsKept)
{
    ParameterTrie trie;
    trie.setIntParameter("a.", 1);
    EXPECT_TRUE(trie.parameterDefined("a"));
    trie.setIntParameter("a..b", 2);
    EXPECT_FALSE(trie.parameterDefined("a.b"));
    EXPECT_TRUE(trie.parameterDefined("a..b"));
    trie.setIntParameter(".c", 3);
    EXPECT_FALSE(trie.parameterDefined("c"));
    EXPECT_TRUE(trie.parameterDefined(".c"));
    EXPECT_NE(trie.end(), trie.find("."));
}

TEST(ParameterTrie, TheEmptyNameIsTheRoot)
{
    ParameterTrie trie;
    trie.setIntParameter("", 7);
    EXPECT_EQ(7, static_cast<int>(trie.data()));
    std::vector<std::string> scratch;
    EXPECT_EQ(&trie, trie.fastFind("", scratch));
    EXPECT_EQ(&trie, trie.find("").node());
}

TEST(ParameterTrie, InsertKeepsWhatIsThereAndGivesItsPlace)
{
    ParameterTrie trie;
    ParameterValue value;
    value = 1;
    EXPECT_TRUE(trie.insert("a.b", value).second);
    value = 2;
    const auto [iter, bInserted] = trie.insert("a.b", value);
    EXPECT_FALSE(bInserted);
    EXPECT_EQ(1, static_cast<int>(iter.data()));
    EXPECT_THAT(iter.key(), ElementsAre("a", "b"));
    EXPECT_FALSE(trie.insert("a", value).second) << "a prefix is there already";
    EXPECT_FALSE(trie.parameterDefined("a"));
}

TEST(ParameterTrie, FindGivesThePath)
{
    ParameterTrie trie;
    trie.setIntParameter("a.b", 1);
    EXPECT_THAT(trie.find("a.b").key(), ElementsAre("a", "b"));
    EXPECT_EQ(trie.end(), trie.find("a.c"));
}

TEST(ParameterTrie, FastFindUsesTheStringsOfItsScratchAndDoesNotShrinkIt)
{
    ParameterTrie trie;
    trie.setIntParameter("a.b", 1);
    std::vector<std::string> scratch{"one", "two", "three", "four"};
    const auto* const pNode = trie.fastFind("a.b", scratch);
    ASSERT_NE(nullptr, pNode);
    EXPECT_EQ(1, static_cast<int>(pNode->data()));
    EXPECT_THAT(scratch, ElementsAre("a", "b", "three", "four"));
    EXPECT_EQ(nullptr, trie.fastFind("a.b.three", scratch));
}

TEST(ParameterTrie, CopiesAreDeepAndAssignmentTakesTheWholeTrie)
{
    ParameterTrie trie;
    trie.setIntParameter("a.b", 1);
    ParameterTrie copy(trie);
    trie.setIntParameter("a.b", 2);
    EXPECT_EQ(1, static_cast<int>(copy.find("a.b").data()));
    copy.setIntParameter("c", 3);
    copy = trie;
    EXPECT_EQ(2, static_cast<int>(copy.find("a.b").data()));
    EXPECT_FALSE(copy.parameterDefined("c"));
    const ParameterTrie fromBase{static_cast<const ParameterTrie::StringTrie&>(trie)};
    EXPECT_TRUE(fromBase.parameterDefined("a.b"));
}

TEST_F(ParameterTrieText, BlankLinesAndCommentsAreSkipped)
{
    EXPECT_TRUE(read("\n   \t\r\n# x=1\n  # note\na=1\n#\n"));
    EXPECT_EQ("a=1", written());
}

TEST_F(ParameterTrieText, AHashBehindTheNameBelongsToTheValue)
{
    EXPECT_TRUE(read("a = b # c\nx=#\n"));
    EXPECT_EQ("type=STRING value=b # c", dump("a"));
    EXPECT_EQ("type=STRING value=#", dump("x"));
}

TEST_F(ParameterTrieText, BlanksAroundNameAndValueAreNoPartOfThem)
{
    EXPECT_TRUE(read("\t a.b \t=\t some text \r\n"));
    EXPECT_EQ("type=STRING value=some text", dump("a.b"));
}

TEST_F(ParameterTrieText, QuotesStayInTheValue)
{
    EXPECT_TRUE(read("a=\"text\""));
    EXPECT_EQ("type=STRING value=\"text\"", dump("a"));
}

TEST_F(ParameterTrieText, TheFirstEqualsSignEndsTheName)
{
    EXPECT_TRUE(read("a=b=c"));
    EXPECT_EQ("type=STRING value=b=c", dump("a"));
}

TEST_F(ParameterTrieText, ValuesGetTheTypeThatTheyLookLike)
{
    EXPECT_TRUE(read("i=42\nf=1.5\nb=true\ns=abc\ne=\n"));
    EXPECT_EQ("type=INT value=42", dump("i"));
    EXPECT_EQ("type=FLOAT value=1.5", dump("f"));
    EXPECT_EQ("type=BOOL value=true", dump("b"));
    EXPECT_EQ("type=STRING value=abc", dump("s"));
    EXPECT_EQ("type=STRING value=", dump("e"));
}

TEST_F(ParameterTrieText, TheDelimiterEndsALine)
{
    std::istringstream stream("a=1;b=2\n;c=3");
    m_trie.read(stream, nullptr, ';', true, nullptr, nullptr);
    EXPECT_FALSE(stream.fail());
    EXPECT_EQ("a=1;b=2;c=3", written());
}

TEST_F(ParameterTrieText, ALineWithoutEqualsIsAParseErrorWithItsNumber)
{
    expectParseError("# one\n\na=1\nno parameter\nb=2\n", 4, "no parameter");
    EXPECT_EQ("a=1", written()) << "what was read before stays";
}

TEST_F(ParameterTrieText, WithoutSubstitutionTagsAreText)
{
    std::istringstream stream("x=${a$b");
    m_trie.read(stream, nullptr, '\n', false, nullptr, nullptr);
    EXPECT_FALSE(stream.fail());
    EXPECT_EQ("type=STRING value=${a$b", dump("x"));
}

TEST_F(ParameterTrieText, AtTheEndTheStreamIsInTheStateOfItsEndOnly)
{
    std::istringstream stream("a=1\n");
    m_trie.read(stream, nullptr, '\n', true, nullptr, nullptr);
    EXPECT_EQ(std::ios::eofbit, stream.rdstate());
}

TEST_F(ParameterTrieText, AnEmptyTextIsRead)
{
    EXPECT_TRUE(read(""));
    EXPECT_EQ("", written());
}

TEST_F(ParameterTrieText, AStreamThatThrowsOnFailureIsReadUpToItsEnd)
{
    std::istringstream stream("a=${b}\nb=1\nb=z\n");
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    Lines unresolved;
    EXPECT_NO_THROW(m_trie.read(stream, nullptr, '\n', true, &unresolved, nullptr));
    EXPECT_EQ("b=z;a=z", written());
    EXPECT_EQ(std::ios::eofbit, stream.rdstate());
    EXPECT_EQ(std::ios::failbit | std::ios::badbit, stream.exceptions());
}

TEST_F(ParameterTrieText, AStreamThatThrowsOnItsEndDoesSoOnceTheTextIsRead)
{
    std::istringstream stream("a=${b}\nb=z\n");
    stream.exceptions(std::ios::eofbit);
    Lines unresolved;
    EXPECT_THROW(m_trie.read(stream, nullptr, '\n', true, &unresolved, nullptr),
                 std::ios_base::failure);
    EXPECT_EQ("b=z;a=z", written());
    EXPECT_EQ(std::ios::eofbit, stream.rdstate());
    EXPECT_EQ(std::ios::eofbit, stream.exceptions());
}

TEST_F(ParameterTrieText, AStreamThatThrowsOnFailureDoesSoForAParseErrorThatHasBeenLogged)
{
    const CapturedLog log;
    std::istringstream stream("a=1\nnonsense\nb=2");
    stream.exceptions(std::ios::failbit);
    EXPECT_THROW(m_trie.read(stream, nullptr, '\n', true, nullptr, nullptr),
                 std::ios_base::failure);
    EXPECT_EQ("a=1", written());
    EXPECT_EQ(std::ios::failbit, stream.exceptions());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "parse error at line 2. failed to "
                                                               "parse : nonsense")));
}

TEST_F(ParameterTrieText, AStreamThatHasFailedIsReported)
{
    const CapturedLog log;
    std::istringstream stream("a=1");
    stream.setstate(std::ios::failbit);
    m_trie.read(stream, nullptr, '\n', true, nullptr, nullptr);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ("", written());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "failed to load ParameterTrie")));
}

TEST_F(ParameterTrieText, ALaterLineForANameWinsWithAWarning)
{
    const CapturedLog log;
    EXPECT_TRUE(read("a.b=1\na.b=2\n"));
    EXPECT_EQ("type=INT value=2", dump("a.b"));
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "Parameter a.b redefined from 1 to 2")));
}

TEST_F(ParameterTrieText, APrefixThatGetsAValueIsNotRedefined)
{
    const CapturedLog log;
    EXPECT_TRUE(read("a.b.c=1\na.b=2\n"));
    EXPECT_EQ("type=INT value=2", dump("a.b"));
    EXPECT_EQ("type=INT value=1", dump("a.b.c"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ParameterTrieText, AnEmptyNameSetsTheRootWithoutAWarningTheFirstTime)
{
    const CapturedLog log;
    EXPECT_TRUE(read("=5\n"));
    EXPECT_EQ("type=INT value=5", dump(""));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_TRUE(read("=6\n"));
    EXPECT_THAT(log.lines(), ElementsAre(warnLine(s_szLogger, "Parameter  redefined from 5 to 6")));
}

TEST_F(ParameterTrieText, AHundredThousandLinesAreRead)
{
    std::ostringstream text;
    for (int i = 0; i < 100000; ++i)
        text << "section" << i % 100 << ".name" << i << "=" << i << '\n';
    EXPECT_TRUE(read(text.str()));
    EXPECT_EQ("type=INT value=99999", dump("section99.name99999"));
}

TEST_F(ParameterTrieText, ALineOfAMegabyteIsRead)
{
    const std::string strLong(1 << 20, 'x');
    EXPECT_TRUE(read("a=" + strLong + "\nb=y${a}\n"));
    EXPECT_EQ("type=STRING value=y" + strLong, dump("b"));
}

TEST_F(ParameterTrieText, ALineOfAMegabyteOfOpenTagsIsAParseErrorOfItsLast)
{
    std::string strLine = "a=";
    for (int i = 0; i < 1 << 18; ++i)
        strLine += "${x ";
    expectParseError(strLine, 1, "{x ");
}

TEST_F(ParameterTrieText, ANameOfAHundredThousandComponentsIsRead)
{
    std::string strName = "a";
    for (int i = 0; i < 100000; ++i)
        strName += ".b";
    EXPECT_TRUE(read(strName + "=1\n"));
    EXPECT_EQ("type=INT value=1", dump(strName.c_str()));
    EXPECT_EQ(strName + "=1", written());
}

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
    expectParseError("x=a$b\n", 1, "b");
    expectParseError("x=$a$b=c d\nno\n", 2, "no");
    EXPECT_EQ("type=STRING value=c d", dump("b"));
}

TEST_F(ParameterTrieTags, ADollarAtTheEndIsAParseErrorOfNothing)
{
    expectParseError("x=a$\n", 1, "");
}

TEST_F(ParameterTrieTags, AnUnclosedTagIsAParseError) { expectParseError("x=${a\n", 1, "{a"); }

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
                ElementsAre(debugLine(s_szLogger, "Parameter for key: x is: "),
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
                    errorLine(s_szLogger, "Unable to resolve line [y=${x}]. Parameter unknown")));
    EXPECT_EQ("w=1", written());
}

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
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "Line becomes too long with its tags replaced : "
                                                  "x17=${x16}${x16}"),
                            errorLine(s_szLogger, "parse error at line 18. failed to parse : ")));
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
        EXPECT_THAT(line.strText,
                    testing::StartsWith("Line becomes too long with its tags replaced : x"));
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

TEST_F(ParameterTrieTable, ValuesGetTheTypeOfTheTable)
{
    EXPECT_TRUE(readWith(table(), "keswardin.Installation.Directory=5x\n"
                                  "keswardin.exitTimeoutSec=5\n"));
    EXPECT_EQ("type=STRING value=5x", dump("keswardin.Installation.Directory"));
    EXPECT_EQ("type=INT value=5", dump("keswardin.exitTimeoutSec"));
}

TEST_F(ParameterTrieTable, AnUnknownNameIsStoredWithAWarning)
{
    const CapturedLog log;
    EXPECT_TRUE(readWith(table(), "keswardin.exitTimeoutSecs=5\n"));
    EXPECT_EQ("type=INT value=5", dump("keswardin.exitTimeoutSecs"));
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(warnLine(s_szLogger, "Unknown parameter : keswardin.exitTimeoutSecs. "
                                                 "Closest known parameter : "
                                                 "keswardin.exitTimeoutSec")));
}

TEST_F(ParameterTrieTable, ANameOfTheLogIsStoredInSilence)
{
    const CapturedLog log;
    EXPECT_TRUE(readWith(table(), "log4cplus.rootLogger=INFO\nlog4cplusX=1\n"));
    EXPECT_EQ("type=STRING value=INFO", dump("log4cplus.rootLogger"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ParameterTrieTable, AValueOfTheWrongTypeIsStoredWithAWarning)
{
    const CapturedLog log;
    EXPECT_TRUE(readWith(table(), "keswardin.exitTimeoutSec=soon\n"));
    EXPECT_EQ("type=STRING value=soon", dump("keswardin.exitTimeoutSec"));
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(warnLine(s_szLogger, "Parameter keswardin.exitTimeoutSec with type STRING has "
                                         "wrong type. Should be INT")));
}

namespace
{

/// A table with one parameter that the table of the process does not know.
class OtherTable : public ParameterInfoDB
{
  public:
    bool retrieve(const char* in_szName, ParameterInfo& out_info) const override
    {
        out_info.reset();
        if (std::string(in_szName) != "other.count")
            return false;
        out_info.m_type = ParameterValue::INT_TYPE;
        return true;
    }
    bool retrieve(const char*, std::vector<ParameterInfoWithName>&) const override { return true; }
    void addDefaultsToConfig(Configuration&, bool) const override {}
    bool warnOnDeprecated(const ROConfiguration&) const override { return false; }
    bool validateParamName(const char*, std::string&) const override { return true; }
    bool validateParamValue(const char*, ParameterValue&) const override { return true; }
};

} // namespace

TEST_F(ParameterTrieTable, ATableThatDoesNotKnowWhatThatOfTheProcessKnowsIsAnAssertion)
{
    const OtherTable other;
    const CapturedLog log;
    EXPECT_TRUE(readWith(&other, "keswardin.exitTimeoutSec=5\n"));
    EXPECT_EQ("type=INT value=5", dump("keswardin.exitTimeoutSec"));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion(
                    "! ParameterInfoDB::getInstance(). validateParamName(parameter.getName(), "
                    "strClosestParamName)",
                    "ParameterTrie", s_szLogger)));
}

TEST_F(ParameterTrieTable, ATableThatKnowsWhatThatOfTheProcessDoesNotIsAnAssertion)
{
    const OtherTable other;
    const CapturedLog log;
    EXPECT_TRUE(readWith(&other, "other.count=many\n"));
    EXPECT_EQ("type=STRING value=many", dump("other.count"));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion(
                    "ParameterInfoDB::getInstance(). retrieve(parameter.getName(), paramInfo)",
                    "ParameterTrie", s_szLogger)));
}

TEST_F(ParameterTrieWrite, EachParameterIsWrittenOnceInPreOrder)
{
    EXPECT_TRUE(read("b.c=1\na=x\nb=2\nb.c.d=3\n"));
    std::ostringstream stream;
    stream << m_trie;
    EXPECT_EQ("b=2\nb.c=1\nb.c.d=3\na=x", stream.str());
    EXPECT_EQ("b=2;b.c=1;b.c.d=3;a=x", written());
}

TEST_F(ParameterTrieWrite, AnEmptyTrieWritesNothing)
{
    EXPECT_EQ("", written());
    m_trie.insert("a.b", ParameterValue());
    EXPECT_EQ("", written());
}

TEST_F(ParameterTrieWrite, ARootWithAValueHasAnEmptyName)
{
    EXPECT_TRUE(read("=5\n"));
    EXPECT_EQ("=5", written());
}

TEST_F(ParameterTrieWrite, StringsWithBlanksComeBackAsTheyWere)
{
    m_trie.setStringParameter("a", "some text = 5 # 6");
    const std::string strText = written();
    ParameterTrie other;
    std::istringstream stream(strText);
    other.read(stream, nullptr, ';', true, nullptr, nullptr);
    std::string strValue;
    EXPECT_TRUE(other.getStringParameter("a", strValue));
    EXPECT_EQ("some text = 5 # 6", strValue);
}

TEST_F(ParameterTrieWrite, BlanksAtTheEndsAndDigitsOfAFloatDoNotComeBack)
{
    m_trie.setStringParameter("a", " text ");
    m_trie.setFloatParameter("f", 1.23456789F);
    m_trie.setStringParameter("s", "5");
    const std::string strText = written();
    ParameterTrie other;
    std::istringstream stream(strText);
    other.read(stream, nullptr, ';', true, nullptr, nullptr);
    std::string strValue;
    float fValue = 0;
    int iValue = 0;
    EXPECT_TRUE(other.getStringParameter("a", strValue));
    EXPECT_EQ("text", strValue);
    EXPECT_TRUE(other.getFloatParameter("f", fValue));
    EXPECT_EQ(1.23457F, fValue);
    EXPECT_TRUE(other.getIntParameter("s", iValue)) << "a string that looks like a number";
}

TEST_F(ParameterTrieWrite, NumbersComeBackFromAStreamThatFormatsThemInItsOwnWay)
{
    m_trie.setIntParameter("a", 1234567);
    m_trie.setFloatParameter("b", 12345.5F);
    std::stringstream stream;
    stream.imbue(groupingLocale());
    stream << std::hex << std::showbase << std::showpos << m_trie;
    EXPECT_EQ("a=1234567\nb=12345.5", stream.str());
    ParameterTrie read;
    read.read(stream, nullptr, '\n', false, nullptr, nullptr);
    int iValue = 0;
    float fValue = 0;
    EXPECT_TRUE(read.getIntParameter("a", iValue));
    EXPECT_TRUE(read.getFloatParameter("b", fValue));
    EXPECT_EQ(1234567, iValue);
    EXPECT_EQ(12345.5F, fValue);
}

TEST_F(ParameterTrieWrite, TheLocaleOfTheProgramDoesNotMatter)
{
    m_trie.setIntParameter("a", 1234567);
    m_trie.setFloatParameter("b", 12345.5F);
    const GlobalLocale locale;
    EXPECT_EQ("a=1234567;b=12345.5", written());
    log4cplus::helpers::Properties properties;
    m_trie.convertTo(properties);
    EXPECT_EQ("1234567", properties.getProperty("a"));
    EXPECT_EQ("12345.5", properties.getProperty("b"));
}

TEST_F(ParameterTrieWrite, ATableBringsBackAStringThatLooksLikeANumber)
{
    m_trie.setStringParameter("keswardin.Installation.Directory", "5.5");
    std::istringstream stream(written());
    ParameterTrie other;
    other.read(stream, table(), ';', true, nullptr, nullptr);
    std::string strValue;
    EXPECT_TRUE(other.getStringParameter("keswardin.Installation.Directory", strValue));
    EXPECT_EQ("5.5", strValue);
}

TEST_F(ParameterTrieWrite, PropertiesGetEachParameterAsText)
{
    EXPECT_TRUE(read("a.b=1\na=text\nf=1.5\nb=true\n"));
    log4cplus::helpers::Properties properties;
    m_trie.convertTo(properties);
    EXPECT_EQ(4U, properties.size());
    EXPECT_EQ("1", properties.getProperty("a.b"));
    EXPECT_EQ("text", properties.getProperty("a"));
    EXPECT_EQ("1.5", properties.getProperty("f"));
    EXPECT_EQ("true", properties.getProperty("b"));
}

TEST_F(ParameterTrieEnvironment, StringValuesTakeVariables)
{
    setenv("VELMORA_TEST_DIR", "/var/log", 1);
    m_trie.setStringParameter("a", "${VELMORA_TEST_DIR}/x");
    m_trie.setIntParameter("i", 5);
    m_trie.setStringParameter("b", "plain");
    EXPECT_TRUE(m_trie.substituteEnvVarsInValues());
    EXPECT_EQ("a=/var/log/x;i=5;b=plain", written());
}

TEST_F(ParameterTrieEnvironment, AnUnclosedTagInAValueIsAFailureBehindTheValuesBeforeIt)
{
    setenv("VELMORA_TEST_DIR", "/var/log", 1);
    m_trie.setStringParameter("a", "${VELMORA_TEST_DIR}");
    m_trie.setStringParameter("b", "${VELMORA");
    m_trie.setStringParameter("c", "${VELMORA_TEST_DIR}");
    const CapturedLog log;
    EXPECT_FALSE(m_trie.substituteEnvVarsInValues());
    EXPECT_EQ("a=/var/log;b=${VELMORA;c=${VELMORA_TEST_DIR}", written());
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger,
                                      "failed to substitute environment variables in ${VELMORA")));
}

TEST_F(ParameterTrieEnvironment, ComponentsOfNamesTakeVariables)
{
    setenv("VELMORA_TEST_NAME", "value", 1);
    m_trie.setIntParameter("a.${VELMORA_TEST_NAME}.b", 1);
    m_trie.setIntParameter("c", 2);
    EXPECT_TRUE(m_trie.substituteEnvVarsInKeys());
    EXPECT_EQ("a.value.b=1;c=2", written());
}

TEST_F(ParameterTrieEnvironment, OfTwoNamesThatBecomeTheSameTheLastWins)
{
    setenv("VELMORA_TEST_NAME", "value", 1);
    m_trie.setIntParameter("value", 1);
    m_trie.setIntParameter("${VELMORA_TEST_NAME}", 2);
    EXPECT_TRUE(m_trie.substituteEnvVarsInKeys());
    EXPECT_EQ("value=2", written());
}

TEST_F(ParameterTrieEnvironment, AnUnclosedTagInANameIsAFailureAndNothingChanges)
{
    setenv("VELMORA_TEST_NAME", "value", 1);
    m_trie.setIntParameter("${VELMORA_TEST_NAME}", 1);
    m_trie.setIntParameter("a.${VELMORA", 2);
    const CapturedLog log;
    EXPECT_FALSE(m_trie.substituteEnvVarsInKeys());
    EXPECT_EQ("${VELMORA_TEST_NAME}=1;a.${VELMORA=2", written());
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger,
                                      "failed to substitute environment variables in ${VELMORA")));
}

namespace
{

/// Returns the trace scopes that the reading of a text enters and exits, without the lines of other
/// levels.
std::vector<std::string> scopesOf(const CapturedLog& in_log)
{
    std::vector<std::string> scopes;
    for (const LogLine& line : in_log.linesOf(s_szLogger))
        if (line.level == TRACE_LOG_LEVEL)
            scopes.push_back(line.strText);
    return scopes;
}

constexpr const char* s_szEnteringGetKey =
    "entering ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches)";
constexpr const char* s_szExitingGetKey =
    "exiting ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches)";

} // namespace

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

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"

#include "velmora/config/LoadSummary.h"
#include "velmora/config/ParameterInfoDB.h"

#include "tests/support/CapturedAssertions.h"
#include "velmora/config/test/ParameterTrieText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using ParameterTrieTable = ParameterTrieText;

const ParameterInfoDB* table() { return &ParameterInfoDB::getInstance(); }

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
    expectParseError("# one\n\na=1\nno parameter\nb=2\n", 4, "no parameter",
                     "write \"name = value\" instead of \"no parameter\"");
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
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            errorLine(s_szLogger, "parse error at line 2. failed to parse : nonsense"),
            errorLine(s_szLogger, "line 2 : write \"name = value\" instead of \"nonsense\"")));
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
                ElementsAre(warnLine(s_szLogger, "Parameter a.b redefined from 1 to 2"),
                            warnLine(s_szLogger,
                                     "line 2 : replaces line 1 ; delete one of the two lines")));
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
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "Parameter  redefined from 5 to 6"),
                            warnLine(s_szLogger, "line 1 : replaces an earlier value")));
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
    const std::string strShown = strLine.substr(0, 200);
    expectParseError(strLine, 1, "{x ",
                     "close the tag that begins with \"" + strLine.substr(2, 40) + "\" in \"" +
                         strShown + "...\"");
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
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(warnLine(s_szLogger, "Unknown parameter : keswardin.exitTimeoutSecs. "
                                         "Closest known parameter : "
                                         "keswardin.exitTimeoutSec"),
                    warnLine(s_szLogger, "line 1 : write \"keswardin.exitTimeoutSec = 5\"")));
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
                                         "wrong type. Should be INT"),
                    warnLine(s_szLogger,
                             "line 1 : write an INT, a whole number without a unit, as in "
                             "\"keswardin.exitTimeoutSec = 60\", instead of \"soon\"")));
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

TEST_F(ParameterTrieTable, ThisIsAnAssertionAlsoIfItsWarningIsOff)
{
    const OtherTable other;
    const CapturedLog log;
    log4cplus::Logger::getInstance(s_szLogger).setLogLevel(ERROR_LOG_LEVEL);
    EXPECT_TRUE(readWith(&other, "keswardin.exitTimeoutSec=5\n"));
    EXPECT_EQ("type=INT value=5", dump("keswardin.exitTimeoutSec"));
    EXPECT_THAT(failedAssertions(log), testing::SizeIs(1));
    LoadSummary summary;
    std::istringstream text("no.such.name=1\n");
    m_trie.read(text, &ParameterInfoDB::getInstance(), '\n', true, nullptr, nullptr, &summary);
    EXPECT_EQ(1U, summary.m_uiUnknownNames);
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

} // namespace Velmora::Test

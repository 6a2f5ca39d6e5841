#include "velmora/config/ParamDefs.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/system/BoostRegex.h"
#include "velmora/system/DottedName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <limits>
#include <locale>
#include <numeric>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Velmora
{

void PrintTo(const ParameterInfoWithName& in_info, std::ostream* out_pStream)
{
    *out_pStream << in_info.m_strName << ' ' << in_info;
}

} // namespace Velmora

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char* s_szLogger = "keswardin.infra.ParameterInfo";

/// Returns a row with a name and a type only.
ParameterRow row(const char* in_szName, ParameterValue::Type in_type = INT_TYPE,
                 const char* in_szDefault = nullptr)
{
    return {in_szName, in_type, in_szDefault, false, false, nullptr};
}

ParameterRow deprecatedRow(const char* in_szName, const char* in_szDescription,
                           const char* in_szDefault = nullptr)
{
    return {in_szName, INT_TYPE, in_szDefault, false, true, in_szDescription};
}

/// Returns a table of the given rows, which belongs to the test and not to the exit list.
ParamDefs tableOf(const std::vector<ParameterRow>& in_rows) { return ParamDefs(in_rows); }

template <class T>
ParameterValue valueOf(T in_value)
{
    ParameterValue value;
    value = in_value;
    return value;
}

std::string dumped(const ParameterValue& in_value)
{
    // A LONG value has no dump.
    if (in_value.getType() == ParameterValue::LONG_TYPE)
        return "type=LONG value=" + std::to_string(static_cast<long>(in_value));
    std::ostringstream text;
    in_value.dump(text);
    return text.str();
}

std::string written(const ParameterInfo& in_info)
{
    std::ostringstream text;
    text << in_info;
    return text.str();
}

bool isKnown(const ParamDefs& in_defs, const char* in_szName)
{
    ParameterInfo info;
    return in_defs.retrieve(in_szName, info);
}

/// Returns the text of a known parameter's definition.
std::string described(const ParamDefs& in_defs, const char* in_szName)
{
    ParameterInfo info;
    EXPECT_TRUE(in_defs.retrieve(in_szName, info)) << in_szName;
    return written(info);
}

std::vector<std::string> namesMatching(const ParamDefs& in_defs, const char* in_szRegex)
{
    std::vector<ParameterInfoWithName> infos;
    EXPECT_TRUE(in_defs.retrieve(in_szRegex, infos));
    std::vector<std::string> names;
    for (const ParameterInfoWithName& info : infos)
        names.push_back(info.m_strName);
    return names;
}

/// Returns the known name closest to an unknown one.
std::string closest(const ParamDefs& in_defs, const char* in_szName)
{
    std::string strName = "former";
    EXPECT_FALSE(in_defs.validateParamName(in_szName, strName)) << in_szName;
    return strName;
}

/// Returns the Levenshtein distance, computed by its definition with two rows of the matrix.
unsigned long plainDistance(const std::string& in_strLeft, const std::string& in_strRight)
{
    std::vector<unsigned long> above(in_strRight.size() + 1);
    std::vector<unsigned long> below(above.size());
    std::iota(above.begin(), above.end(), 0UL);
    for (std::size_t uiRow = 1; uiRow <= in_strLeft.size(); ++uiRow)
    {
        below[0] = uiRow;
        for (std::size_t uiColumn = 1; uiColumn <= in_strRight.size(); ++uiColumn)
        {
            const bool bSame = in_strLeft[uiRow - 1] == in_strRight[uiColumn - 1];
            below[uiColumn] = std::min({above[uiColumn] + 1, below[uiColumn - 1] + 1,
                                        above[uiColumn - 1] + (bSame ? 0 : 1)});
        }
        above.swap(below);
    }
    return above.back();
}

/// Returns the first of the names with the smallest distance.
std::string plainClosest(const std::vector<std::string>& in_names, const std::string& in_strName)
{
    std::string strClosest;
    unsigned long uiSmallest = std::numeric_limits<unsigned long>::max();
    for (const std::string& strKnown : in_names)
    {
        const unsigned long uiDistance = plainDistance(in_strName, strKnown);
        if (uiDistance < uiSmallest)
        {
            uiSmallest = uiDistance;
            strClosest = strKnown;
        }
    }
    return strClosest;
}

/// An empty configuration that records the names that it is asked for.
class AskedConfiguration : public ROConfiguration
{
  public:
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        m_names.emplace_back(in_szParamName);
        out_value = ParameterValue();
    }

    mutable std::vector<std::string> m_names;
};

} // namespace

// Building

TEST(ParamDefs, KnowsAllThatARowSays)
{
    const ParamDefs defs = tableOf({{"a.flags", STRING_TYPE, "some text", true, true, "A text."}});
    EXPECT_EQ("type=STRING default-value=some text run-time-settable=true deprecated=true "
              "description=\"A text.\"",
              described(defs, "a.flags"));
}

TEST(ParamDefs, HasNoDefaultAndNoDescriptionWhereTheRowHasNone)
{
    const ParamDefs defs = tableOf({{"a.b", FLOAT_TYPE, nullptr, false, false, nullptr}});
    EXPECT_EQ("type=FLOAT default-value=UNDEF run-time-settable=false deprecated=false "
              "description=\"\"",
              described(defs, "a.b"));
}

TEST(ParamDefs, ReadsDefaultsOfEachType)
{
    const CapturedLog log;
    const ParamDefs defs =
        tableOf({row("string", STRING_TYPE, "text"), row("empty", STRING_TYPE, ""),
                 row("int", INT_TYPE, "60"), row("bool", BOOL_TYPE, "true"),
                 row("float", FLOAT_TYPE, "90.0")});
    const auto defaultOf = [&defs](const char* in_szName)
    {
        ParameterInfo info;
        defs.retrieve(in_szName, info);
        return dumped(info.m_defaultValue);
    };
    EXPECT_EQ("type=STRING value=text", defaultOf("string"));
    EXPECT_EQ("type=STRING value=", defaultOf("empty"));
    EXPECT_EQ("type=INT value=60", defaultOf("int"));
    EXPECT_EQ("type=BOOL value=true", defaultOf("bool"));
    EXPECT_EQ("type=FLOAT value=90", defaultOf("float"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, AddsNothingForARowOfTypeUndef)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a.b", ParameterValue::UNDEF_TYPE, "text"), row("c")});
    EXPECT_FALSE(isKnown(defs, "a.b"));
    EXPECT_THAT(namesMatching(defs, "."), ElementsAre("c"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, FailsAnAssertionForADefaultOfAnotherType)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a.port", INT_TYPE, "udp")});
    ASSERT_EQ(2U, log.lines().size());
    EXPECT_EQ(errorLine(s_szLogger, "parameter a.port default value type mismatch"),
              log.lines()[0]);
    EXPECT_THAT(failedAssertions(log), ElementsAre(failedAssertion(
                                           "paramInfo.m_type == paramInfo.m_defaultValue.getType()",
                                           "ParamDefs", s_szLogger)));
    // The constructor continues: the row exists, with the value that its default reads as.
    EXPECT_EQ(
        "type=INT default-value=udp run-time-settable=false deprecated=false description=\"\"",
        described(defs, "a.port"));
}

TEST(ParamDefs, FailsAnAssertionForDefaultsThatReadAsANumberOrABool)
{
    for (const ParameterRow& wrong :
         {row("a", STRING_TYPE, "1"), row("a", STRING_TYPE, "true"), row("a", FLOAT_TYPE, "90"),
          row("a", BOOL_TYPE, "1"), row("a", INT_TYPE, "1.0"), row("a", INT_TYPE, ""),
          row("a", ParameterValue::LONG_TYPE, "1")})
    {
        const CapturedLog log;
        const ParamDefs defs = tableOf({wrong});
        EXPECT_THAT(log.lines(),
                    Contains(errorLine(s_szLogger, "parameter a default value type mismatch")));
        EXPECT_EQ(1U, failedAssertions(log).size());
    }
}

TEST(ParamDefs, FailsAnAssertionForASecondRowOfTheSameName)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a.b", INT_TYPE, "1"), row("a.b", STRING_TYPE, "second")});
    ASSERT_EQ(1U, log.lines().size());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion(
                    "insertionResult.first->data().m_type == ParameterValue::UNDEF_TYPE",
                    "ParamDefs", s_szLogger)));
    // The constructor continues: the later row wins.
    EXPECT_EQ("type=STRING default-value=second run-time-settable=false deprecated=false "
              "description=\"\"",
              described(defs, "a.b"));
    EXPECT_THAT(namesMatching(defs, "."), ElementsAre("a.b"));
}

TEST(ParamDefs, FillsAPathNodeByALaterRow)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a.b.c", INT_TYPE), row("a.b", BOOL_TYPE, "true")});
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(namesMatching(defs, "."), ElementsAre("a.b", "a.b.c"));
    EXPECT_EQ(
        "type=BOOL default-value=true run-time-settable=false deprecated=false description=\"\"",
        described(defs, "a.b"));
    EXPECT_EQ(
        "type=INT default-value=UNDEF run-time-settable=false deprecated=false description=\"\"",
        described(defs, "a.b.c"));
}

TEST(ParamDefs, HangsARowBelowAnEarlierOne)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a.b"), row("a.b.c")});
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_TRUE(isKnown(defs, "a.b"));
    EXPECT_TRUE(isKnown(defs, "a.b.c"));
}

TEST(ParamDefs, KeepsNothingOfTheRows)
{
    std::string strName = "a.b";
    std::string strDefault = "text";
    std::string strDescription = "A text.";
    const ParamDefs defs = tableOf(
        {{strName.c_str(), STRING_TYPE, strDefault.c_str(), false, false, strDescription.c_str()}});
    strName = strDefault = strDescription = "xxx";
    EXPECT_EQ("type=STRING default-value=text run-time-settable=false deprecated=false "
              "description=\"A text.\"",
              described(defs, "a.b"));
}

TEST(ParamDefs, BuildsTheLibrarysTableWithoutComplaint)
{
    const CapturedLog log;
    const ParamDefs defs;
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(std::size(s_paramDefsTable), namesMatching(defs, ".").size());
}

TEST(ParamDefs, DescribesEachRowOfTheLibrarysTable)
{
    const ParamDefs defs;
    for (const ParameterRow& expected : s_paramDefsTable)
    {
        ParameterInfo info;
        info.m_type = expected.type;
        if (expected.szDefault != nullptr)
            info.m_defaultValue.initFromText(expected.szDefault, expected.type, true);
        info.m_bRunTimeSettable = expected.bRunTimeSettable;
        info.m_bDeprecated = expected.bDeprecated;
        info.m_strDescription = expected.szDescription != nullptr ? expected.szDescription : "";
        EXPECT_EQ(written(info), described(defs, expected.szName)) << expected.szName;
    }
}

// Retrieving by name

TEST(ParamDefs, ResetsTheOutputForAnUnknownName)
{
    const ParamDefs defs = tableOf({{"a.b", STRING_TYPE, "text", true, true, "A text."}});
    ParameterInfo info;
    ASSERT_TRUE(defs.retrieve("a.b", info));
    EXPECT_FALSE(defs.retrieve("a.c", info));
    EXPECT_EQ(written(ParameterInfo()), written(info));
}

TEST(ParamDefs, DoesNotKnowANameThatIsOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    EXPECT_FALSE(isKnown(defs, "keswardin.infra.coreDump"));
    EXPECT_TRUE(isKnown(defs, "keswardin.infra.coreDump.writeOnCrash"));
    EXPECT_TRUE(isKnown(defs, "keswardin.infra.coreDump.writeOnCrash.path"));
    EXPECT_FALSE(isKnown(defs, "keswardin"));
    EXPECT_FALSE(isKnown(defs, "keswardin.infra.coreDump.writeOnCrash.path.more"));
}

TEST(ParamDefs, ResetsTheOutputForANameThatIsOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    ParameterInfo info;
    ASSERT_TRUE(defs.retrieve("keswardin.run.mode", info));
    EXPECT_FALSE(defs.retrieve("keswardin.infra.coreDump", info));
    EXPECT_EQ(written(ParameterInfo()), written(info));
}

TEST(ParamDefs, SplitsNamesAsAllOfTheLibraryDoes)
{
    const ParamDefs defs = tableOf({row("a.b"), row("a..c"), row(".d")});
    EXPECT_TRUE(isKnown(defs, "a.b"));
    EXPECT_TRUE(isKnown(defs, "a.b."));
    EXPECT_TRUE(isKnown(defs, "a..c"));
    EXPECT_TRUE(isKnown(defs, ".d"));
    for (const char* const szName : {"", ".", "a", "a.", "a..", "b", "ab", "a.b..", ".a.b", "a.b.b",
                                     "a.c", "d", "A.b", " a.b"})
        EXPECT_FALSE(isKnown(defs, szName)) << szName;
}

TEST(ParamDefs, KnowsTheNamesWithTheComponentsOfARowAndNoOthers)
{
    const std::vector<ParameterRow> rows{row("a"),    row("a.b"),   row(".a"),  row("b..a"),
                                         row("b.b."), row("a.b.b"), row("..b"), row("b.a..")};
    const ParamDefs defs = tableOf(rows);
    const auto componentsOf = [](const std::string& in_strName)
    {
        std::vector<std::string> components;
        dottedStringToVector(in_strName.c_str(), components);
        return components;
    };
    int iKnown = 0;
    // All texts of up to seven characters out of three.
    std::vector<std::string> names{""};
    for (std::size_t uiName = 0; uiName < names.size(); ++uiName)
    {
        const std::string strName = names[uiName];
        if (strName.size() < 7)
            for (const char character : {'a', 'b', '.'})
                names.push_back(strName + character);
        const bool bKnown =
            std::any_of(rows.begin(), rows.end(),
                        [&](const ParameterRow& in_row)
                        { return componentsOf(in_row.szName) == componentsOf(strName); });
        EXPECT_EQ(bKnown, isKnown(defs, strName.c_str())) << '"' << strName << '"';
        iKnown += bKnown ? 1 : 0;
    }
    EXPECT_EQ(15, iKnown) << "each with and without a dot at its end, except the last row";
}

TEST(ParamDefs, LooksUpShortNamesAfterLongOnes)
{
    const ParamDefs defs = tableOf({row("a.b.c.d.e"), row("a.b")});
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        EXPECT_TRUE(isKnown(defs, "a.b.c.d.e"));
        EXPECT_TRUE(isKnown(defs, "a.b"));
        EXPECT_FALSE(isKnown(defs, "a"));
    }
}

// Listing by expression

TEST(ParamDefs, ListsAllNamesInWhichAnExpressionMatchesSomewhere)
{
    const ParamDefs defs;
    EXPECT_THAT(namesMatching(defs, "mem.leak"),
                UnorderedElementsAre("keswardin.mem.leak.detecting.aggregateDuplicates",
                                     "keswardin.mem.leak.detecting.showUselessFrames",
                                     "keswardin.mem.leak.detecting.maxFrames"));
}

TEST(ParamDefs, ListsByAnchoredExpressionsToo)
{
    const ParamDefs defs;
    EXPECT_THAT(namesMatching(defs, "^keswardin\\.run\\.mode$"), ElementsAre("keswardin.run.mode"));
    EXPECT_THAT(namesMatching(defs, "^run"), IsEmpty());
}

TEST(ParamDefs, ListsEachNameWithWhatIsKnownOfIt)
{
    const ParamDefs defs;
    std::vector<ParameterInfoWithName> infos;
    ASSERT_TRUE(defs.retrieve("traceShutdown", infos));
    ASSERT_EQ(1U, infos.size());
    EXPECT_EQ("keswardin.traceShutdown", infos[0].m_strName);
    EXPECT_EQ(described(defs, "keswardin.traceShutdown"), written(infos[0]));
}

TEST(ParamDefs, LeavesOutNamesThatAreOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    EXPECT_THAT(namesMatching(defs, "infra.coreDump"),
                UnorderedElementsAre("keswardin.infra.coreDump.writeOnCrash",
                                     "keswardin.infra.coreDump.writeOnCrash.path"));
}

TEST(ParamDefs, DropsWhatTheListHeldBefore)
{
    const ParamDefs defs = tableOf({row("a")});
    std::vector<ParameterInfoWithName> infos(3);
    EXPECT_TRUE(defs.retrieve("a", infos));
    EXPECT_EQ(1U, infos.size());
}

TEST(ParamDefs, GivesAnEmptyListForNoMatch)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a")});
    std::vector<ParameterInfoWithName> infos(3);
    EXPECT_TRUE(defs.retrieve("b", infos));
    EXPECT_THAT(infos, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, LogsWhatIsWrongWithAnExpression)
{
    std::string strReason;
    try
    {
        const BoostRegex regex("a(b");
    }
    catch (const std::exception& exception)
    {
        strReason = exception.what();
    }
    ASSERT_NE("", strReason);

    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a")});
    std::vector<ParameterInfoWithName> infos(3);
    EXPECT_FALSE(defs.retrieve("a(b", infos));
    EXPECT_THAT(infos, IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, strReason)));
}

TEST(ParamDefs, KeepsWhatWasFoundBeforeTheSearchGotTooCostly)
{
    const char* const szCostly = "(a+)+c";
    const std::string strLong(200, 'a');
    std::string strReason;
    try
    {
        static_cast<void>(BoostRegex::regex_search(strLong, BoostRegex(szCostly)));
    }
    catch (const std::exception& exception)
    {
        strReason = exception.what();
    }
    ASSERT_NE("", strReason);

    const CapturedLog log;
    const ParamDefs defs = tableOf({row("aac"), row(strLong.c_str()), row("ac")});
    std::vector<ParameterInfoWithName> infos;
    EXPECT_FALSE(defs.retrieve(szCostly, infos));
    ASSERT_EQ(1U, infos.size());
    EXPECT_EQ("aac", infos[0].m_strName);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, strReason)));
}

TEST(ParamDefs, ListsInTheOrderOfTheTriesIteration)
{
    Trie<std::string, std::string> trie;
    for (const ParameterRow& knownRow : s_paramDefsTable)
    {
        std::vector<std::string> components;
        dottedStringToVector(knownRow.szName, components);
        trie.fastInsert(components.begin(), components.end(), std::string()).first->data() =
            knownRow.szName;
    }
    std::vector<std::string> expected;
    for (auto node = trie.begin(); node != trie.end(); ++node)
        if (!node.data().empty())
            expected.push_back(node.data());
    ASSERT_EQ(std::size(s_paramDefsTable), expected.size());
    EXPECT_EQ(expected, namesMatching(ParamDefs(), "."));
}

// Validating names

TEST(ParamDefs, GivesAKnownNameBackAsItWasGiven)
{
    const ParamDefs defs;
    std::string strName = "former";
    EXPECT_TRUE(defs.validateParamName("keswardin.run.mode", strName));
    EXPECT_EQ("keswardin.run.mode", strName);
    EXPECT_TRUE(defs.validateParamName("keswardin.run.mode.", strName));
    EXPECT_EQ("keswardin.run.mode.", strName);
}

TEST(ParamDefs, GivesTheClosestNameToOneWithAWrongLetter)
{
    const ParamDefs defs;
    EXPECT_EQ("keswardin.run.mode", closest(defs, "keswardin.run.mods"));
    EXPECT_EQ("keswardin.run.mode", closest(defs, "keswardin.runmode"));
    EXPECT_EQ("keswardin.run.mode", closest(defs, "Keswardin.run.mode"));
    EXPECT_EQ("keswardin.infra.abortOnAssert", closest(defs, "keswardin.infra.abortOnAsert"));
}

TEST(ParamDefs, GivesTheNameBackThatOneOfItsLettersWasChangedIn)
{
    const ParamDefs defs;
    for (const ParameterRow& knownRow : s_paramDefsTable)
    {
        std::string strWrong = knownRow.szName;
        strWrong[strWrong.size() / 2] = '#';
        EXPECT_EQ(knownRow.szName, closest(defs, strWrong.c_str()));
    }
}

TEST(ParamDefs, SuggestsANameForOneThatIsOnlyOnTheWayToOthers)
{
    const ParamDefs defs;
    const std::vector<std::string> names = namesMatching(defs, ".");
    const std::string strName = closest(defs, "keswardin.infra.coreDump");
    EXPECT_EQ(plainClosest(names, "keswardin.infra.coreDump"), strName);
    EXPECT_TRUE(isKnown(defs, strName.c_str()));
}

TEST(ParamDefs, GivesTheFirstOfTheNamesThatAreEquallyClose)
{
    EXPECT_EQ("a.xa", closest(tableOf({row("a.xa"), row("a.xb")}), "a.xc"));
    EXPECT_EQ("a.xb", closest(tableOf({row("a.xb"), row("a.xa")}), "a.xc"));
    // Not the first row: the iteration visits all nodes below "b" before "c".
    EXPECT_EQ("b.c", closest(tableOf({row("b.a"), row("c"), row("b.c")}), ".c"));
}

TEST(ParamDefs, GivesACloserNameOfAnotherLengthThoughItComesLater)
{
    EXPECT_EQ("abcdef", closest(tableOf({row("x"), row("abcdef"), row("y")}), "abcdeX"));
    EXPECT_EQ("a", closest(tableOf({row("abcdef"), row("a"), row("bbcdef")}), ""));
}

TEST(ParamDefs, FindsWhatAPlainScanFinds)
{
    const ParamDefs defs;
    const std::vector<std::string> names = namesMatching(defs, ".");
    std::vector<std::string> wrong{
        "",      ".",         "a",
        "gw",    "keswardin", "keswardin.media.kt.ec.advancedParms.fRinEnable",
        "media", "xxxxxxxxx", std::string(500, 'k'),
    };
    for (std::size_t uiName = 0; uiName < names.size(); uiName += 23)
    {
        const std::string& strName = names[uiName];
        wrong.push_back(strName.substr(0, strName.rfind('.')) + "#");
        wrong.push_back(strName.substr(strName.find('.')) + ".x");
        wrong.push_back(strName + strName);
        wrong.emplace_back(strName.rbegin(), strName.rend());
    }
    for (const std::string& strWrong : wrong)
        EXPECT_EQ(plainClosest(names, strWrong), closest(defs, strWrong.c_str())) << strWrong;
}

TEST(ParamDefs, TakesANameThatIsTheOutputsOwnText)
{
    const ParamDefs defs;
    std::string strName = "keswardin.run.mode";
    EXPECT_TRUE(defs.validateParamName(strName.c_str(), strName));
    EXPECT_EQ("keswardin.run.mode", strName);
    strName = "keswardin.run.mods";
    EXPECT_FALSE(defs.validateParamName(strName.c_str(), strName));
    EXPECT_EQ("keswardin.run.mode", strName);
}

TEST(ParamDefs, ValidatesNamesWithoutALine)
{
    const CapturedLog log;
    const ParamDefs defs;
    std::string strName;
    defs.validateParamName("keswardin.run.mode", strName);
    defs.validateParamName("keswardin.run.mods", strName);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, HasNoClosestNameInAnEmptyTable) { EXPECT_EQ("", closest(tableOf({}), "a")); }

// Validating values

TEST(ParamDefs, LeavesTheValueOfAnUnknownNameAlone)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a.b.c", BOOL_TYPE)});
    for (const char* const szName : {"x", "a.b", "", "a.b.c.d"})
    {
        ParameterValue value = valueOf(7);
        EXPECT_TRUE(defs.validateParamValue(szName, value)) << szName;
        EXPECT_EQ("type=INT value=7", dumped(value));
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, LeavesAValueOfTheDeclaredTypeAlone)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("string", STRING_TYPE), row("int", INT_TYPE),
                                    row("bool", BOOL_TYPE), row("float", FLOAT_TYPE)});
    const std::vector<std::pair<const char*, ParameterValue>> values{{"string", valueOf("text")},
                                                                     {"int", valueOf(7)},
                                                                     {"bool", valueOf(true)},
                                                                     {"float", valueOf(2.5F)}};
    for (const auto& [szName, original] : values)
    {
        ParameterValue value = original;
        EXPECT_TRUE(defs.validateParamValue(szName, value)) << szName;
        EXPECT_EQ(dumped(original), dumped(value));
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, MakesAFloatOfAnIntegerWhereAFloatIsDeclared)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("gain", FLOAT_TYPE)});
    ParameterValue value = valueOf(-7);
    EXPECT_TRUE(defs.validateParamValue("gain", value));
    EXPECT_EQ("type=FLOAT value=-7", dumped(value));
    value = 16777217;
    EXPECT_TRUE(defs.validateParamValue("gain", value));
    EXPECT_EQ(16777216.0F, static_cast<float>(value)) << "in single precision";
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, MakesTheTextOfAnyValueWhereAStringIsDeclared)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("text", STRING_TYPE)});
    const std::vector<std::pair<ParameterValue, std::string>> values{
        {valueOf(5060), "5060"},     {valueOf(true), "true"},
        {valueOf(false), "false"},   {valueOf(2.5F), "2.5"},
        {ParameterValue(), "UNDEF"}, {valueOf(12345678901L), "12345678901"}};
    for (const auto& [original, strText] : values)
    {
        ParameterValue value = original;
        EXPECT_TRUE(defs.validateParamValue("text", value));
        EXPECT_EQ("type=STRING value=" + strText, dumped(value));
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, WritesTextsByTheRulesOfTheClassicLocale)
{
    const GlobalLocale locale;
    ParameterValue value = valueOf(5060);
    tableOf({row("text", STRING_TYPE)}).validateParamValue("text", value);
    EXPECT_EQ("type=STRING value=5060", dumped(value));
}

TEST(ParamDefs, RefusesEveryOtherPairOfTypesWithAWarning)
{
    struct Refused
    {
        ParameterValue value;
        const char* szValueType;
        const char* szName;
        const char* szNameType;
    };
    const ParamDefs defs =
        tableOf({row("a.int", INT_TYPE), row("a.bool", BOOL_TYPE), row("a.float", FLOAT_TYPE)});
    const std::vector<Refused> refused{{valueOf("7"), "STRING", "a.int", "INT"},
                                       {valueOf("true"), "STRING", "a.bool", "BOOL"},
                                       {valueOf("2.5"), "STRING", "a.float", "FLOAT"},
                                       {valueOf(1), "INT", "a.bool", "BOOL"},
                                       {valueOf(true), "BOOL", "a.int", "INT"},
                                       {valueOf(true), "BOOL", "a.float", "FLOAT"},
                                       {valueOf(7.0F), "FLOAT", "a.int", "INT"},
                                       {valueOf(1.0F), "FLOAT", "a.bool", "BOOL"},
                                       {ParameterValue(), "UNDEF", "a.int", "INT"},
                                       {ParameterValue(), "UNDEF", "a.bool", "BOOL"},
                                       {ParameterValue(), "UNDEF", "a.float", "FLOAT"}};
    for (const Refused& pair : refused)
    {
        const CapturedLog log;
        ParameterValue value = pair.value;
        EXPECT_FALSE(defs.validateParamValue(pair.szName, value));
        EXPECT_EQ(dumped(pair.value), dumped(value)) << "the value stays";
        EXPECT_THAT(log.lines(),
                    ElementsAre(warnLine(s_szLogger, std::string("Parameter ") + pair.szName +
                                                         " has type " + pair.szValueType +
                                                         " but should be " + pair.szNameType)));
    }
}

TEST(ParamDefs, RefusesALongWhoseTypeHasNoName)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf({row("a", INT_TYPE)});
    ParameterValue value = valueOf(7L);
    EXPECT_FALSE(defs.validateParamValue("a", value));
    EXPECT_EQ("type=LONG value=7", dumped(value));
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(warnLine(s_szLogger, "Parameter a has type  but should be INT")));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("0", "Parameter", "keswardin.infra.Parameter")));
}

TEST(ParamDefs, RefusesAValueAlsoWhereWarningsAreOff)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    ParameterValue value = valueOf(1);
    EXPECT_FALSE(tableOf({row("a", BOOL_TYPE)}).validateParamValue("a", value));
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Deprecated parameters

TEST(ParamDefs, WarnsOfEachDeprecatedParameterThatAConfigurationHas)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.sip.transport", "tcp");
    configuration.setIntParameter("keswardin.sip.userAgentPort", 5060);
    configuration.setStringParameter("keswardin.sip.userAgentIPAddress", "10.0.0.1");
    configuration.setStringParameter("keswardin.media.audioFormat", "mulaw");
    configuration.setBoolParameter("keswardin.b2bua.doDlgcCPD", false);
    configuration.setStringParameter("keswardin.run.mode", "production");
    EXPECT_TRUE(ParamDefs().warnOnDeprecated(configuration));
    EXPECT_THAT(
        log.lines(),
        UnorderedElementsAre(
            warnLine(s_szLogger, "Parameter keswardin.sip.transport is deprecated. "
                                 "Use parameter sip.userAgent.IPAddress"),
            warnLine(s_szLogger, "Parameter keswardin.sip.userAgentPort is deprecated. "
                                 "Use parameter sip.userAgent.IPAddress"),
            warnLine(s_szLogger, "Parameter keswardin.sip.userAgentIPAddress is deprecated. "
                                 "Use parameter sip.userAgent.IPAddress"),
            warnLine(s_szLogger, "Parameter keswardin.media.audioFormat is deprecated. "
                                 "Use parameter rtp.encodingList"),
            warnLine(s_szLogger,
                     "Parameter keswardin.b2bua.doDlgcCPD is deprecated. NO LONGER SUPPORTED! When "
                     "set to true, the B2BUA will perform Call Progress Analysis (CPA) on audio "
                     "received from the callee. Set to false if you want the CPA to be performed "
                     "in the Velmora Gateway.")));
}

TEST(ParamDefs, WarnsOfADeprecatedParameterOfTheWrongTypeToo)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("old", "text");
    EXPECT_TRUE(tableOf({deprecatedRow("old", "Use new.")}).warnOnDeprecated(configuration));
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "Parameter old is deprecated. Use new.")));
}

TEST(ParamDefs, HasNoWarningForAnEmptyConfiguration)
{
    const CapturedLog log;
    EXPECT_FALSE(ParamDefs().warnOnDeprecated(ParameterHashMap()));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, HasNoWarningForParametersThatAreNotDeprecatedOrNotDefined)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.run.mode", "production");
    configuration.setStringParameter("keswardin.unknown", "text");
    configuration.setParameter("keswardin.sip.transport", ParameterValue());
    EXPECT_FALSE(ParamDefs().warnOnDeprecated(configuration));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, ReportsDeprecatedParametersAlsoWhereWarningsAreOff)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    ParameterHashMap configuration;
    configuration.setIntParameter("old", 1);
    EXPECT_TRUE(tableOf({deprecatedRow("old", "Use new.")}).warnOnDeprecated(configuration));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, AsksAConfigurationForDeprecatedParametersOnly)
{
    const AskedConfiguration configuration;
    const ParamDefs defs =
        tableOf({row("a"), deprecatedRow("b", "Use a."), row("c"), deprecatedRow("d", "Use c.")});
    EXPECT_FALSE(defs.warnOnDeprecated(configuration));
    EXPECT_THAT(configuration.m_names, ElementsAre("b", "d"));
}

// Defaults

TEST(ParamDefs, AddsTheDefaultsThatAConfigurationDoesNotHave)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    const ParamDefs defs =
        tableOf({row("string", STRING_TYPE, "text"), row("int", INT_TYPE, "60"),
                 row("bool", BOOL_TYPE, "true"), row("float", FLOAT_TYPE, "90.0"), row("none"),
                 row("empty", STRING_TYPE, "")});
    defs.addDefaultsToConfig(configuration, false);
    EXPECT_EQ(5U, configuration.size());
    EXPECT_EQ("type=STRING value=text", dumped(configuration["string"]));
    EXPECT_EQ("type=INT value=60", dumped(configuration["int"]));
    EXPECT_EQ("type=BOOL value=true", dumped(configuration["bool"]));
    EXPECT_EQ("type=FLOAT value=90", dumped(configuration["float"]));
    EXPECT_EQ("type=STRING value=", dumped(configuration["empty"]));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, AddsADefaultForAnUndefinedValue)
{
    ParameterHashMap configuration;
    configuration.setParameter("a", ParameterValue());
    tableOf({row("a", INT_TYPE, "7")}).addDefaultsToConfig(configuration, false);
    EXPECT_EQ("type=INT value=7", dumped(configuration["a"]));
}

TEST(ParamDefs, AddsNothingToNamesThatAreOnlyOnTheWayToOthers)
{
    ParameterHashMap configuration;
    tableOf({row("a.b", INT_TYPE, "7")}).addDefaultsToConfig(configuration, true);
    EXPECT_EQ(1U, configuration.size());
    EXPECT_TRUE(configuration.parameterDefined("a.b"));
}

TEST(ParamDefs, LeavesValuesOfTheDeclaredTypeAsTheyAre)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.run.mode", "development");
    configuration.setIntParameter("keswardin.exitTimeoutSec", 3);
    ParamDefs().addDefaultsToConfig(configuration, false);
    EXPECT_EQ("type=STRING value=development", dumped(configuration["keswardin.run.mode"]));
    EXPECT_EQ("type=INT value=3", dumped(configuration["keswardin.exitTimeoutSec"]));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, LeavesAValueOfAnotherTypeWithAWarning)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.exitTimeoutSec", "soon");
    configuration.setIntParameter("keswardin.system.cpu.monitor.setAlarmThreshold", 90);
    ParamDefs().addDefaultsToConfig(configuration, false);
    EXPECT_EQ("type=STRING value=soon", dumped(configuration["keswardin.exitTimeoutSec"]));
    EXPECT_EQ("type=INT value=90",
              dumped(configuration["keswardin.system.cpu.monitor.setAlarmThreshold"]))
        << "nothing is converted here";
    EXPECT_THAT(
        log.lines(),
        UnorderedElementsAre(
            warnLine(s_szLogger, "ParamDefs::addDefaultsToConfig : parameter "
                                 "keswardin.exitTimeoutSec with value soon should be of type INT, "
                                 "not STRING"),
            warnLine(s_szLogger,
                     "ParamDefs::addDefaultsToConfig : parameter "
                     "keswardin.system.cpu.monitor.setAlarmThreshold with value 90 should be of "
                     "type FLOAT, not INT")));
}

TEST(ParamDefs, AddsDeprecatedDefaultsOnlyWhereAskedFor)
{
    const ParamDefs defs;
    ParameterHashMap without;
    defs.addDefaultsToConfig(without, false);
    EXPECT_FALSE(without.parameterDefined("keswardin.sip.transport"));
    EXPECT_FALSE(without.parameterDefined("keswardin.b2bua.doDlgcCPD"));
    EXPECT_EQ(169U, without.size());

    ParameterHashMap with;
    defs.addDefaultsToConfig(with, true);
    EXPECT_EQ("type=STRING value=udp", dumped(with["keswardin.sip.transport"]));
    EXPECT_EQ("type=BOOL value=true", dumped(with["keswardin.b2bua.doDlgcCPD"]));
    EXPECT_EQ(171U, with.size());
}

TEST(ParamDefs, WarnsOfWrongTypesOfDeprecatedParametersOnlyWhereAskedFor)
{
    const ParamDefs defs = tableOf({deprecatedRow("old", "Use new.", "7")});
    ParameterHashMap configuration;
    configuration.setBoolParameter("old", true);
    const CapturedLog log;
    defs.addDefaultsToConfig(configuration, false);
    EXPECT_THAT(log.lines(), IsEmpty());
    defs.addDefaultsToConfig(configuration, true);
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger,
                                     "ParamDefs::addDefaultsToConfig : parameter old with value "
                                     "true should be of type INT, not BOOL")));
    EXPECT_EQ("type=BOOL value=true", dumped(configuration["old"]));
}

} // namespace Velmora::Test

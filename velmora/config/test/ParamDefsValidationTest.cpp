// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefs.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/test/ParamDefsSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
ParameterValue valueOf(T in_value)
{
    ParameterValue value;
    value = in_value;
    return value;
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

} // namespace

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
                ElementsAre(failedAssertion("0", "ParameterValue", "keswardin.infra.Parameter")));
}

TEST(ParamDefs, RefusesAValueAlsoWhereWarningsAreOff)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    ParameterValue value = valueOf(1);
    EXPECT_FALSE(tableOf({row("a", BOOL_TYPE)}).validateParamValue("a", value));
    EXPECT_THAT(log.lines(), IsEmpty());
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefs.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/test/ParamDefsSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <utility>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// Texts on both sides of each boundary between the types, with the type that each reads as.
constexpr std::pair<const char*, ParameterValue::Type> s_texts[] = {
    {"", STRING_TYPE},
    {".", STRING_TYPE},
    {"..", STRING_TYPE},
    {"./logs", STRING_TYPE},
    {".log", STRING_TYPE},
    {"0", INT_TYPE},
    {"1", INT_TYPE},
    {"-1", INT_TYPE},
    {"+1", INT_TYPE},
    {"007", INT_TYPE},
    {"10", INT_TYPE},
    {"99999", INT_TYPE},
    {"999999999", INT_TYPE},
    {"4294967296", FLOAT_TYPE},
    {"0x1F", INT_TYPE},
    {"0xZZ", STRING_TYPE},
    {"0.0", FLOAT_TYPE},
    {"90.0", FLOAT_TYPE},
    {"-3.5", FLOAT_TYPE},
    {"5.", FLOAT_TYPE},
    {".5", FLOAT_TYPE},
    {"1e5", FLOAT_TYPE},
    {"1e", STRING_TYPE},
    {"0e1", FLOAT_TYPE},
    {"00.5", STRING_TYPE},
    {"true", BOOL_TYPE},
    {"false", BOOL_TYPE},
    {"TRUE", BOOL_TYPE},
    {"True", BOOL_TYPE},
    {"falsE", BOOL_TYPE},
    {"truer", STRING_TYPE},
    {"tru", STRING_TYPE},
    {"1,8", STRING_TYPE},
    {"10000-1999", STRING_TYPE},
    {"0.0.0.0", STRING_TYPE},
    {"1.2.3", STRING_TYPE},
    {"0-31", STRING_TYPE},
    {"udp", STRING_TYPE},
    {"a b", STRING_TYPE},
    {"1 2", STRING_TYPE},
    {" 1", INT_TYPE},
    {"1 ", INT_TYPE},
    {" true", BOOL_TYPE},
    {"-", STRING_TYPE},
    {"+", STRING_TYPE},
    {"-.5", FLOAT_TYPE},
    {"1-", STRING_TYPE},
    {"mulaw", STRING_TYPE},
    {"inf", STRING_TYPE},
    {"nan", STRING_TYPE},
    {"eth0", STRING_TYPE},
    {"--1", STRING_TYPE},
    {"10.0.0.1:5060", STRING_TYPE},
    {"x1", STRING_TYPE},
    {"1x", STRING_TYPE},
    {"e5", STRING_TYPE},
    {"1e+5", FLOAT_TYPE},
    {"1e+", STRING_TYPE},
    {"1.e1", FLOAT_TYPE},
    {"PCMU,PCMA", STRING_TYPE},
    {"\t1", INT_TYPE},
    {"text\t", STRING_TYPE},
    {"0x", STRING_TYPE},
    {"255.25", FLOAT_TYPE},
    {"-0", INT_TYPE},
    {"-01", INT_TYPE},
    {"0.", FLOAT_TYPE},
    {"00", INT_TYPE},
    {"-00.5", FLOAT_TYPE},
    {"0b1", STRING_TYPE},
};

} // namespace

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

TEST(ParamDefs, TakesAnyTypeWithoutADefault)
{
    for (const ParameterValue::Type type : {STRING_TYPE, INT_TYPE, BOOL_TYPE, FLOAT_TYPE})
    {
        const CapturedLog log;
        EXPECT_TRUE(isKnown(tableOf({row("a", type)}), "a"));
        EXPECT_THAT(log.lines(), IsEmpty());
    }
}

TEST(ParamDefs, TakesNoDefaultThatReadsAsAnotherType)
{
    for (const auto& [szText, readsAs] : s_texts)
        for (const ParameterValue::Type type :
             {STRING_TYPE, INT_TYPE, ParameterValue::LONG_TYPE, BOOL_TYPE, FLOAT_TYPE})
        {
            const CapturedLog log;
            const ParamDefs defs = tableOf({row("a", type, szText)});
            EXPECT_EQ(type == readsAs ? 0U : 1U, failedAssertions(log).size())
                << '"' << szText << "\" as " << ParameterValue::getTypeAsString(readsAs);
        }
}

TEST(ParamDefs, TakesThePlainFormsOfEachType)
{
    const CapturedLog log;
    for (const char* const szText : {"", ".", "./logs/recordings", ".log", "udp", "1,8", "0.0.0.0",
                                     "10000-19999", "udp:10.0.0.1:5060", "a b"})
        EXPECT_TRUE(isKnown(tableOf({row("a", STRING_TYPE, szText)}), "a")) << szText;
    for (const char* const szText : {"0", "7", "60", "-3", "999999999"})
        EXPECT_TRUE(isKnown(tableOf({row("a", INT_TYPE, szText)}), "a")) << szText;
    for (const char* const szText : {"true", "false"})
        EXPECT_TRUE(isKnown(tableOf({row("a", BOOL_TYPE, szText)}), "a")) << szText;
    for (const char* const szText : {"0.0", "90.0", "0.25", "-3.5"})
        EXPECT_TRUE(isKnown(tableOf({row("a", FLOAT_TYPE, szText)}), "a")) << szText;
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, RefusesOneWrongDefaultAmongGoodOnes)
{
    const CapturedLog log;
    const ParamDefs defs = tableOf(
        {row("a", INT_TYPE, "1"), row("b", FLOAT_TYPE, "90"), row("c", FLOAT_TYPE, "90.0")});
    EXPECT_THAT(log.lines(),
                Contains(errorLine(s_szLogger, "parameter b default value type mismatch")));
    EXPECT_EQ(1U, failedAssertions(log).size());
}

} // namespace Velmora::Test

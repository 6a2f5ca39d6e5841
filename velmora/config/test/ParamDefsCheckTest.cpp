#include "velmora/config/ParamDefsCheck.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using namespace ParamDefsCheck;
using enum ParameterValue::Type;

constexpr ParameterRow rowOfName(const char* in_szName)
{
    return {in_szName, INT_TYPE, nullptr, false, false, nullptr};
}

constexpr ParameterRow rowOfDefault(ParameterValue::Type in_type, const char* in_szDefault)
{
    return {"keswardin.name", in_type, in_szDefault, false, false, nullptr};
}

constexpr ParameterRow rowOfDescription(bool in_bDeprecated, const char* in_szDescription)
{
    return {"keswardin.name", INT_TYPE, nullptr, false, in_bDeprecated, in_szDescription};
}

ParameterValue::Type inferredType(const char* in_szText)
{
    ParameterValue value;
    value.initFromText(in_szText, UNDEF_TYPE, true);
    return value.getType();
}

/// Texts on both sides of each boundary between the types.
const std::vector<std::string> s_texts{
    "",
    ".",
    "..",
    "./logs",
    ".log",
    "0",
    "1",
    "-1",
    "+1",
    "007",
    "10",
    "99999",
    "999999999",
    "4294967296",
    "0x1F",
    "0xZZ",
    "0.0",
    "90.0",
    "-3.5",
    "5.",
    ".5",
    "1e5",
    "1e",
    "0e1",
    "00.5",
    "true",
    "false",
    "TRUE",
    "True",
    "falsE",
    "truer",
    "tru",
    "1,8",
    "10000-1999",
    "0.0.0.0",
    "1.2.3",
    "0-31",
    "udp",
    "a b",
    "1 2",
    " 1",
    "1 ",
    " true",
    "-",
    "+",
    "-.5",
    "1-",
    "mulaw",
    "inf",
    "nan",
    "eth0",
    "--1",
    "10.0.0.1:5060",
    "x1",
    "1x",
    "e5",
    "1e+5",
    "1e+",
    "1.e1",
    "PCMU,PCMA",
    "\t1",
    "text\t",
    "0x",
    "255.25",
    "-0",
    "-01",
    "0.",
    "00",
    "-00.5",
    "0b1",
};

} // namespace

TEST(ParamDefsCheck, TakesNamesBelowTheCommonPrefix)
{
    static constexpr ParameterRow s_rows[] = {rowOfName("keswardin.name"),
                                              rowOfName("keswardin.long.name")};
    static_assert(areNamesWellFormed(s_rows));
    EXPECT_TRUE(areNamesWellFormed(s_rows));
}

TEST(ParamDefsCheck, RefusesNamesThatAreNotDottedNamesBelowThePrefix)
{
    for (const char* const szName :
         {"", "keswardin", "keswardin.", "name", "keswardinx.name", "keswardin..name",
          "keswardin.name.", "keswardin.a..b", "Keswardin.name", "keswardin.na me",
          "keswardin.name=1", "keswardin.${name}", "keswardin.na#me"})
    {
        const ParameterRow rows[] = {rowOfName("keswardin.first"), rowOfName(szName)};
        EXPECT_FALSE(areNamesWellFormed(rows)) << szName;
    }
}

TEST(ParamDefsCheck, RefusesANameThatStandsTwice)
{
    static constexpr ParameterRow s_distinct[] = {
        rowOfName("keswardin.a"), rowOfName("keswardin.b"), rowOfName("keswardin.a.b")};
    static_assert(areNamesDistinct(s_distinct));
    EXPECT_TRUE(areNamesDistinct(s_distinct));
    static constexpr ParameterRow s_same[] = {rowOfName("keswardin.a"), rowOfName("keswardin.b"),
                                              rowOfName("keswardin.a")};
    static_assert(!areNamesDistinct(s_same));
    EXPECT_FALSE(areNamesDistinct(s_same));
}

TEST(ParamDefsCheck, RefusesTypesThatNoParameterHas)
{
    const ParameterRow good[] = {rowOfDefault(STRING_TYPE, nullptr),
                                 rowOfDefault(INT_TYPE, nullptr), rowOfDefault(BOOL_TYPE, nullptr),
                                 rowOfDefault(FLOAT_TYPE, nullptr)};
    EXPECT_TRUE(areTypesOfParameters(good));
    for (const ParameterValue::Type type : {UNDEF_TYPE, LONG_TYPE})
    {
        const ParameterRow bad[] = {rowOfDefault(INT_TYPE, nullptr), rowOfDefault(type, nullptr)};
        EXPECT_FALSE(areTypesOfParameters(bad));
    }
}

TEST(ParamDefsCheck, TakesAnyTypeWithoutADefault)
{
    for (const ParameterValue::Type type : {STRING_TYPE, INT_TYPE, BOOL_TYPE, FLOAT_TYPE})
        EXPECT_TRUE(doesDefaultFitType(rowOfDefault(type, nullptr)));
}

TEST(ParamDefsCheck, TakesNoDefaultThatReadsAsAnotherType)
{
    for (const std::string& strText : s_texts)
        for (const ParameterValue::Type type :
             {UNDEF_TYPE, STRING_TYPE, INT_TYPE, LONG_TYPE, BOOL_TYPE, FLOAT_TYPE})
            if (doesDefaultFitType(rowOfDefault(type, strText.c_str())))
            {
                EXPECT_EQ(type, inferredType(strText.c_str())) << '"' << strText << '"';
            }
}

TEST(ParamDefsCheck, TakesThePlainFormsOfEachType)
{
    for (const char* const szText : {"", ".", "./logs/recordings", ".log", "udp", "1,8", "0.0.0.0",
                                     "10000-19999", "udp:10.0.0.1:5060", "a b"})
        EXPECT_TRUE(doesDefaultFitType(rowOfDefault(STRING_TYPE, szText))) << szText;
    for (const char* const szText : {"0", "7", "60", "-3", "999999999"})
        EXPECT_TRUE(doesDefaultFitType(rowOfDefault(INT_TYPE, szText))) << szText;
    for (const char* const szText : {"true", "false"})
        EXPECT_TRUE(doesDefaultFitType(rowOfDefault(BOOL_TYPE, szText))) << szText;
    for (const char* const szText : {"0.0", "90.0", "0.25", "-3.5"})
        EXPECT_TRUE(doesDefaultFitType(rowOfDefault(FLOAT_TYPE, szText))) << szText;
}

TEST(ParamDefsCheck, RefusesOneWrongDefaultAmongGoodOnes)
{
    static constexpr ParameterRow s_good[] = {rowOfDefault(INT_TYPE, "1"),
                                              rowOfDefault(FLOAT_TYPE, "90.0")};
    static_assert(doDefaultsFitTypes(s_good));
    EXPECT_TRUE(doDefaultsFitTypes(s_good));
    static constexpr ParameterRow s_bad[] = {rowOfDefault(INT_TYPE, "1"),
                                             rowOfDefault(FLOAT_TYPE, "90")};
    static_assert(!doDefaultsFitTypes(s_bad));
    EXPECT_FALSE(doDefaultsFitTypes(s_bad));
}

TEST(ParamDefsCheck, TakesDescriptionsOfOneLineOrNone)
{
    static constexpr ParameterRow s_rows[] = {rowOfDescription(false, nullptr),
                                              rowOfDescription(false, "A text."),
                                              rowOfDescription(true, "Use another one.")};
    static_assert(areDescriptionsReadable(s_rows));
    EXPECT_TRUE(areDescriptionsReadable(s_rows));
}

TEST(ParamDefsCheck, RefusesAnEmptyDescriptionOneOfTwoLinesAndADeprecatedRowWithout)
{
    for (const ParameterRow& row :
         {rowOfDescription(false, ""), rowOfDescription(false, "Two\nlines."),
          rowOfDescription(true, nullptr), rowOfDescription(true, "")})
    {
        const ParameterRow rows[] = {rowOfDescription(false, "A text."), row};
        EXPECT_FALSE(areDescriptionsReadable(rows));
    }
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefsCheck.h"

#include <gtest/gtest.h>

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

constexpr ParameterRow rowOfType(ParameterValue::Type in_type)
{
    return {"keswardin.name", in_type, nullptr, false, false, nullptr};
}

constexpr ParameterRow rowOfDescription(bool in_bDeprecated, const char* in_szDescription)
{
    return {"keswardin.name", INT_TYPE, nullptr, false, in_bDeprecated, in_szDescription};
}

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
    const ParameterRow good[] = {rowOfType(STRING_TYPE), rowOfType(INT_TYPE), rowOfType(BOOL_TYPE),
                                 rowOfType(FLOAT_TYPE)};
    EXPECT_TRUE(areTypesOfParameters(good));
    for (const ParameterValue::Type type : {UNDEF_TYPE, LONG_TYPE})
    {
        const ParameterRow bad[] = {rowOfType(INT_TYPE), rowOfType(type)};
        EXPECT_FALSE(areTypesOfParameters(bad));
    }
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

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValue.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/test/ParameterValueSupport.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

/// Returns a text so long that its memory is unmapped as soon as it is released.
const std::string& hugeText()
{
    static const std::string s_strText = std::string(std::size_t{40} << 20, 'x') + " 42";
    return s_strText;
}

} // namespace

// Construction and assignment

TEST(ParameterValue, TypesHaveFixedNumbers)
{
    EXPECT_EQ(static_cast<int>(ParameterValue::UNDEF_TYPE), 0);
    EXPECT_EQ(static_cast<int>(ParameterValue::STRING_TYPE), 1);
    EXPECT_EQ(static_cast<int>(ParameterValue::INT_TYPE), 2);
    EXPECT_EQ(static_cast<int>(ParameterValue::LONG_TYPE), 3);
    EXPECT_EQ(static_cast<int>(ParameterValue::BOOL_TYPE), 4);
    EXPECT_EQ(static_cast<int>(ParameterValue::FLOAT_TYPE), 5);
}

TEST(ParameterValue, HasNoVirtualOperationsAndHoldsATypeAndOneWord)
{
    EXPECT_FALSE(std::is_polymorphic_v<ParameterValue>);
    EXPECT_EQ(sizeof(ParameterValue), 16U);
}

TEST(ParameterValue, IsUndefinedAtFirst)
{
    const ParameterValue value;
    EXPECT_EQ(value.getType(), ParameterValue::UNDEF_TYPE);
    EXPECT_FALSE(value.defined());
}

TEST(ParameterValue, TakesAString)
{
    const ParameterValue value = valueOf("text");
    EXPECT_EQ(value.getType(), ParameterValue::STRING_TYPE);
    EXPECT_TRUE(value.defined());
    EXPECT_STREQ(static_cast<const char*>(value), "text");
}

TEST(ParameterValue, CopiesTheStringThatItTakes)
{
    std::string strText = "text";
    const ParameterValue value = valueOf(strText.c_str());
    strText[0] = 'n';
    EXPECT_STREQ(static_cast<const char*>(value), "text");
}

TEST(ParameterValue, TakesANullStringAsTheEmptyString)
{
    EXPECT_STREQ(static_cast<const char*>(valueOf(static_cast<const char*>(nullptr))), "");
}

TEST(ParameterValue, TakesPartOfItsOwnString)
{
    ParameterValue value = valueOf(hugeText().c_str());
    value = static_cast<const char*>(value) + 1;
    EXPECT_TRUE(static_cast<const char*>(value) == hugeText().substr(1));
}

TEST(ParameterValue, TakesAnInt)
{
    const ParameterValue value = valueOf(-7);
    EXPECT_EQ(value.getType(), ParameterValue::INT_TYPE);
    EXPECT_EQ(static_cast<int>(value), -7);
}

TEST(ParameterValue, TakesALong)
{
    const ParameterValue value = valueOf(std::numeric_limits<long>::min());
    EXPECT_EQ(value.getType(), ParameterValue::LONG_TYPE);
    EXPECT_EQ(static_cast<long>(value), std::numeric_limits<long>::min());
}

TEST(ParameterValue, TakesABool)
{
    const ParameterValue value = valueOf(true);
    EXPECT_EQ(value.getType(), ParameterValue::BOOL_TYPE);
    EXPECT_TRUE(static_cast<bool>(value));
}

TEST(ParameterValue, TakesAFloat)
{
    const ParameterValue value = valueOf(0.1F);
    EXPECT_EQ(value.getType(), ParameterValue::FLOAT_TYPE);
    EXPECT_EQ(static_cast<float>(value), 0.1F);
}

TEST(ParameterValue, NarrowsADoubleToAFloat)
{
    const ParameterValue value = valueOf(0.1);
    EXPECT_EQ(value.getType(), ParameterValue::FLOAT_TYPE);
    EXPECT_EQ(static_cast<float>(value), 0.1F);
}

TEST(ParameterValue, AssignmentsReplaceAStringByAnyOtherType)
{
    ParameterValue value;
    EXPECT_EQ(dumped((value = "text") = 7), "type=INT value=7");
    EXPECT_EQ(dumped((value = "text") = true), "type=BOOL value=true");
    EXPECT_EQ(dumped((value = "text") = 1.5F), "type=FLOAT value=1.5");
    EXPECT_EQ(dumped((value = "text") = 2.5), "type=FLOAT value=2.5");
    EXPECT_EQ(dumped((value = "text") = "other"), "type=STRING value=other");
    EXPECT_EQ(dumped((value = "text") = valueOf(7)), "type=INT value=7");
    EXPECT_EQ(dumped((value = "text") = ParameterValue()), "type=UNDEF");
}

TEST(ParameterValue, ALongReplacesAString)
{
    const CapturedLog log;
    ParameterValue value = valueOf("text");
    value = 5L;
    EXPECT_EQ(value.getType(), ParameterValue::LONG_TYPE);
    EXPECT_EQ(static_cast<long>(value), 5);
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, ALongReplacesAPayloadThatIsNoPointer)
{
    const CapturedLog log;
    ParameterValue value = valueOf(5L);
    value = 6L;
    EXPECT_EQ(static_cast<long>(value), 6);
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, CopiesAreDeep)
{
    ParameterValue original = valueOf("text");
    const ParameterValue copy(original);
    ParameterValue assigned = valueOf("former");
    assigned = original;
    EXPECT_NE(static_cast<const char*>(copy), static_cast<const char*>(original));
    EXPECT_NE(static_cast<const char*>(assigned), static_cast<const char*>(original));

    original = "other";
    EXPECT_STREQ(static_cast<const char*>(copy), "text");
    EXPECT_STREQ(static_cast<const char*>(assigned), "text");
}

TEST(ParameterValue, CopiesThatAreNoStringsTakeThePayloadAsAWholeWord)
{
    ParameterValue original;
    original = 0x1122334455667788L;
    original.m_type = ParameterValue::INT_TYPE;

    const ParameterValue copy(original);
    ParameterValue assigned;
    assigned = original;
    EXPECT_EQ(copy.getType(), ParameterValue::INT_TYPE);
    EXPECT_EQ(copy.m_payload.lLong, 0x1122334455667788L);
    EXPECT_EQ(assigned.getType(), ParameterValue::INT_TYPE);
    EXPECT_EQ(assigned.m_payload.lLong, 0x1122334455667788L);
}

TEST(ParameterValue, SelfAssignmentHasNoEffect)
{
    ParameterValue value = valueOf(hugeText().c_str());
    const ParameterValue& same = value;
    const char* const szString = value;
    value = same;
    EXPECT_EQ(static_cast<const char*>(value), szString);
    EXPECT_TRUE(static_cast<const char*>(value) == hugeText());
}

TEST(ParameterValue, SelfMoveHasNoEffect)
{
    ParameterValue value = valueOf(hugeText().c_str());
    ParameterValue& same = value;
    value = std::move(same);
    EXPECT_TRUE(static_cast<const char*>(value) == hugeText());
}

TEST(ParameterValue, MovesLeaveTheSourceUndefined)
{
    ParameterValue first = valueOf("text");
    const ParameterValue& afterFirstMove = first;
    const char* const szString = first;
    ParameterValue second(std::move(first));
    EXPECT_EQ(afterFirstMove.m_type, ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(static_cast<const char*>(second), szString);

    ParameterValue third = valueOf("former");
    const ParameterValue& afterSecondMove = second;
    third = std::move(second);
    EXPECT_EQ(afterSecondMove.m_type, ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(static_cast<const char*>(third), szString);
}

// The representation

TEST(ParameterValue, FillsTheStringPayloadWithARange)
{
    const char* const szText = "some text";
    ParameterValue value;
    value.initUnionFromString(szText + 5, szText + 7);
    EXPECT_EQ(value.getType(), ParameterValue::UNDEF_TYPE);
    EXPECT_STREQ(value.m_payload.szString, "te");
    value.deallocateString();
}

TEST(ParameterValue, FillsTheStringPayloadUpToTheTerminatorForANullEnd)
{
    ParameterValue value;
    value.initUnionFromString("some text", nullptr);
    value.m_type = ParameterValue::STRING_TYPE;
    EXPECT_EQ(dumped(value), "type=STRING value=some text");
}

TEST(ParameterValue, FillsTheStringPayloadWithTheEmptyTextForANullBegin)
{
    ParameterValue value;
    value.initUnionFromString(nullptr, nullptr);
    EXPECT_STREQ(value.m_payload.szString, "");
    value.deallocateString();

    const char* const szText = "text";
    value.initUnionFromString(nullptr, szText + 4);
    EXPECT_STREQ(value.m_payload.szString, "");
    value.deallocateString();
}

TEST(ParameterValue, TakesTheLengthOfARangeAs32Bits)
{
    const std::size_t uiSize = (std::size_t{1} << 32) + 3;
    void* const pMapping = mmap(nullptr, uiSize, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(pMapping, MAP_FAILED);
    char* const pBegin = static_cast<char*>(pMapping);
    std::string("abcdef").copy(pBegin, 6);

    ParameterValue value;
    value.initUnionFromString(pBegin, pBegin + uiSize);
    value.m_type = ParameterValue::STRING_TYPE;
    EXPECT_EQ(dumped(value), "type=STRING value=abc");
    munmap(pMapping, uiSize);
}

TEST(ParameterValue, DeallocatingTheStringDoesNotTouchTheType)
{
    ParameterValue value = valueOf("text");
    value.deallocateString();
    EXPECT_EQ(value.getType(), ParameterValue::STRING_TYPE);
    value.m_type = ParameterValue::UNDEF_TYPE;
}

// Names of types

TEST(ParameterValue, NamesTheTypes)
{
    const CapturedLog log;
    EXPECT_STREQ(ParameterValue::getTypeAsString(ParameterValue::UNDEF_TYPE), "UNDEF");
    EXPECT_STREQ(ParameterValue::getTypeAsString(ParameterValue::STRING_TYPE), "STRING");
    EXPECT_STREQ(ParameterValue::getTypeAsString(ParameterValue::INT_TYPE), "INT");
    EXPECT_STREQ(ParameterValue::getTypeAsString(ParameterValue::BOOL_TYPE), "BOOL");
    EXPECT_STREQ(ParameterValue::getTypeAsString(ParameterValue::FLOAT_TYPE), "FLOAT");
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, HasNoNameForLong)
{
    const CapturedLog log;
    EXPECT_STREQ(ParameterValue::getTypeAsString(ParameterValue::LONG_TYPE), "");
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

TEST(ParameterValue, HasNoNameForWhatIsNoType)
{
    const CapturedLog log;
    EXPECT_STREQ(ParameterValue::getTypeAsString(static_cast<ParameterValue::Type>(s_iNoType)), "");
    EXPECT_STREQ(ParameterValue::getTypeAsString(static_cast<ParameterValue::Type>(-1)), "");
    EXPECT_EQ(failedAssertions(log),
              (std::vector<FailedAssertion>{assertionHere("0"), assertionHere("0")}));
}

TEST(ParameterValue, KnowsTheWordsForTypesInAnyCase)
{
    EXPECT_EQ(ParameterValue::parseTypeString("string"), ParameterValue::STRING_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("int"), ParameterValue::INT_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("long"), ParameterValue::LONG_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("bool"), ParameterValue::BOOL_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("float"), ParameterValue::FLOAT_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("STRING"), ParameterValue::STRING_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("Int"), ParameterValue::INT_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("fLOAT"), ParameterValue::FLOAT_TYPE);
}

TEST(ParameterValue, TakesAnyOtherWordForTheUndefinedType)
{
    EXPECT_EQ(ParameterValue::parseTypeString("undef"), ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString(""), ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("in"), ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString("integer"), ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString(" int"), ParameterValue::UNDEF_TYPE);
    EXPECT_EQ(ParameterValue::parseTypeString(nullptr), ParameterValue::UNDEF_TYPE);
}

// Comparison

TEST(ParameterValue, ValuesOfOneTypeCompareByTheirPayload)
{
    const CapturedLog log;
    EXPECT_TRUE(valueOf("text") == valueOf("text"));
    EXPECT_FALSE(valueOf("text") == valueOf("Text"));
    EXPECT_TRUE(valueOf(7) == valueOf(7));
    EXPECT_FALSE(valueOf(7) == valueOf(8));
    EXPECT_TRUE(valueOf(true) == valueOf(true));
    EXPECT_FALSE(valueOf(true) == valueOf(false));
    EXPECT_TRUE(valueOf(2.5F) == valueOf(2.5F));
    EXPECT_FALSE(valueOf(2.5F) == valueOf(2.25F));
    EXPECT_TRUE(valueOf(0.0F) == valueOf(-0.0F));
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, IntsCompareWithoutTheRestOfTheWord)
{
    ParameterValue value;
    value = 0x1122334400000007L;
    value.m_type = ParameterValue::INT_TYPE;
    EXPECT_TRUE(value == valueOf(7));
}

TEST(ParameterValue, NotANumberDiffersFromItself)
{
    const ParameterValue value = valueOf(std::numeric_limits<float>::quiet_NaN());
    EXPECT_FALSE(value == value);
}

TEST(ParameterValue, ValuesOfDifferentTypesDiffer)
{
    const CapturedLog log;
    EXPECT_FALSE(valueOf(1) == valueOf(true));
    EXPECT_FALSE(valueOf(1) == valueOf(1L));
    EXPECT_FALSE(valueOf(1) == valueOf(1.0F));
    EXPECT_FALSE(valueOf(1) == valueOf("1"));
    EXPECT_FALSE(valueOf(1) == ParameterValue());
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, UndefinedValuesDoNotCompare)
{
    const CapturedLog log;
    EXPECT_FALSE(ParameterValue() == ParameterValue());
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

TEST(ParameterValue, LongsDoNotCompare)
{
    const CapturedLog log;
    EXPECT_FALSE(valueOf(7L) == valueOf(7L));
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

TEST(ParameterValue, ValuesOfNoTypeDoNotCompare)
{
    const CapturedLog log;
    EXPECT_FALSE(valueOfType(s_iNoType) == valueOfType(s_iNoType));
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

// Truth

TEST(ParameterValue, StringsAreTrueUnlessEmpty)
{
    EXPECT_TRUE(valueOf("0").isPerlTrue());
    EXPECT_TRUE(valueOf("false").isPerlTrue());
    EXPECT_FALSE(valueOf("").isPerlTrue());
}

TEST(ParameterValue, NumbersAreTrueUnlessZero)
{
    EXPECT_TRUE(valueOf(-1).isPerlTrue());
    EXPECT_FALSE(valueOf(0).isPerlTrue());
    EXPECT_TRUE(valueOf(1L << 32).isPerlTrue());
    EXPECT_FALSE(valueOf(0L).isPerlTrue());
    EXPECT_TRUE(valueOf(0.5F).isPerlTrue());
    EXPECT_TRUE(valueOf(-0.5F).isPerlTrue());
    EXPECT_FALSE(valueOf(0.0F).isPerlTrue());
    EXPECT_FALSE(valueOf(-0.0F).isPerlTrue());
}

TEST(ParameterValue, NotANumberIsTrue)
{
    EXPECT_TRUE(valueOf(std::numeric_limits<float>::quiet_NaN()).isPerlTrue());
}

TEST(ParameterValue, BoolsAreWhatTheyAre)
{
    EXPECT_TRUE(valueOf(true).isPerlTrue());
    EXPECT_FALSE(valueOf(false).isPerlTrue());
}

TEST(ParameterValue, AnUndefinedValueIsFalse)
{
    const CapturedLog log;
    EXPECT_FALSE(ParameterValue().isPerlTrue());
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, AValueOfNoTypeIsFalse)
{
    const CapturedLog log;
    EXPECT_FALSE(valueOfType(s_iNoType).isPerlTrue());
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

#include "velmora/config/ParameterValue.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <iomanip>
#include <ios>
#include <sys/mman.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

const std::string s_strLogger = "keswardin.infra.Parameter";

/// Returns a text so long that its memory is unmapped as soon as it is released.
const std::string& hugeText()
{
    static const std::string s_strText = std::string(std::size_t{40} << 20, 'x') + " 42";
    return s_strText;
}

template <class T>
ParameterValue valueOf(T in_value)
{
    ParameterValue value;
    value = in_value;
    return value;
}

ParameterValue valueOfType(int in_iType)
{
    ParameterValue value;
    value.m_type = static_cast<ParameterValue::Type>(in_iType);
    return value;
}

constexpr int s_iNoType = 6;

ParameterValue read(const char* in_szText,
                    ParameterValue::Type in_target = ParameterValue::UNDEF_TYPE,
                    bool in_bTrim = true)
{
    ParameterValue value;
    value.initFromText(in_szText, in_target, in_bTrim);
    return value;
}

std::string dumped(const ParameterValue& in_value)
{
    std::ostringstream stream;
    in_value.dump(stream);
    return stream.str();
}

std::string written(const ParameterValue& in_value)
{
    std::ostringstream stream;
    stream << in_value;
    return stream.str();
}

/// Returns the result of reading a text with a target, in the form of `dump`.
std::string outcome(const char* in_szText,
                    ParameterValue::Type in_target = ParameterValue::UNDEF_TYPE,
                    bool in_bTrim = true)
{
    return dumped(read(in_szText, in_target, in_bTrim));
}

FailedAssertion assertionHere(const std::string& in_strCondition)
{
    return failedAssertion(in_strCondition, "Parameter", s_strLogger);
}

std::vector<FailedAssertion> assertionsHere(const std::string& in_strCondition)
{
    return {assertionHere(in_strCondition)};
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

// Access

TEST(ParameterValue, WrongAccessAsAStringGivesNull)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<const char*>(valueOf(7)), nullptr);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested STRING "
                                     "actual INT"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == STRING_TYPE"));
}

TEST(ParameterValue, WrongAccessAsAnIntGivesZero)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<int>(valueOf("7")), 0);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested INT "
                                     "actual STRING"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == INT_TYPE"));
}

TEST(ParameterValue, WrongAccessAsABoolGivesFalse)
{
    const CapturedLog log;
    EXPECT_FALSE(static_cast<bool>(valueOf(1)));
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested BOOL "
                                     "actual INT"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == BOOL_TYPE"));
}

TEST(ParameterValue, WrongAccessAsAFloatGivesZero)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<float>(ParameterValue()), 0.0F);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested FLOAT "
                                     "actual UNDEF"));
    EXPECT_EQ(failedAssertions(log), assertionsHere("m_type == FLOAT_TYPE"));
}

TEST(ParameterValue, WrongAccessAsALongFailsForTheNameOfTheTypeFirst)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<long>(valueOf(7)), 0);
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[1],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested  actual INT"));
    EXPECT_EQ(log.lines()[0].strText.rfind("Assertion failed (0) ", 0), 0U);
    EXPECT_EQ(
        failedAssertions(log),
        (std::vector<FailedAssertion>{assertionHere("0"), assertionHere("m_type == LONG_TYPE")}));
}

TEST(ParameterValue, WrongAccessToALongFailsForTheNameOfTheTypeFirst)
{
    const CapturedLog log;
    EXPECT_EQ(static_cast<int>(valueOf(7L)), 0);
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[1],
              errorLine(s_strLogger, "InvalidParamValueTypeException : requested INT actual "));
    EXPECT_EQ(failedAssertions(log), (std::vector<FailedAssertion>{
                                         assertionHere("0"), assertionHere("m_type == INT_TYPE")}));
}

TEST(ParameterValue, RightAccessLogsNothing)
{
    const CapturedLog log;
    EXPECT_STREQ(static_cast<const char*>(valueOf("")), "");
    EXPECT_EQ(static_cast<int>(valueOf(0)), 0);
    EXPECT_EQ(static_cast<long>(valueOf(0L)), 0);
    EXPECT_FALSE(static_cast<bool>(valueOf(false)));
    EXPECT_EQ(static_cast<float>(valueOf(0.0F)), 0.0F);
    EXPECT_TRUE(log.lines().empty());
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

// Output

TEST(ParameterValue, DumpsTypeAndValue)
{
    EXPECT_EQ(dumped(ParameterValue()), "type=UNDEF");
    EXPECT_EQ(dumped(valueOf("a \"text\"")), "type=STRING value=a \"text\"");
    EXPECT_EQ(dumped(valueOf(-7)), "type=INT value=-7");
    EXPECT_EQ(dumped(valueOf(true)), "type=BOOL value=true");
    EXPECT_EQ(dumped(valueOf(false)), "type=BOOL value=false");
    EXPECT_EQ(dumped(valueOf(2.5F)), "type=FLOAT value=2.5");
}

TEST(ParameterValue, DumpsNothingForALong)
{
    const CapturedLog log;
    EXPECT_EQ(dumped(valueOf(7L)), "");
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

TEST(ParameterValue, DumpsNothingForWhatIsNoType)
{
    const CapturedLog log;
    EXPECT_EQ(dumped(valueOfType(s_iNoType)), "");
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
}

TEST(ParameterValue, WritesTheBareValue)
{
    const CapturedLog log;
    EXPECT_EQ(written(ParameterValue()), "UNDEF");
    EXPECT_EQ(written(valueOf("a \"text\"")), "a \"text\"");
    EXPECT_EQ(written(valueOf(-7)), "-7");
    EXPECT_EQ(written(valueOf(12345678901L)), "12345678901");
    EXPECT_EQ(written(valueOf(true)), "true");
    EXPECT_EQ(written(valueOf(false)), "false");
    EXPECT_EQ(written(valueOf(2.5F)), "2.5");
    EXPECT_TRUE(log.lines().empty());
}

TEST(ParameterValue, WritesNothingForWhatIsNoType)
{
    const CapturedLog log;
    EXPECT_EQ(written(valueOfType(s_iNoType)), "");
    EXPECT_EQ(failedAssertions(log), assertionsHere("0"));
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

// Text without a required type

TEST(ParameterValue, NullTextFailsAnAssertionAndChangesNothing)
{
    const CapturedLog log;
    ParameterValue value = valueOf("former");
    value.initFromText(nullptr, ParameterValue::UNDEF_TYPE, true);
    EXPECT_EQ(dumped(value), "type=STRING value=former");
    EXPECT_EQ(failedAssertions(log), assertionsHere("in_szText != 0"));
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(ParameterValue, ReadsPartOfItsOwnString)
{
    ParameterValue value = valueOf(hugeText().c_str());
    value.initFromText(static_cast<const char*>(value) + hugeText().size() - 3,
                       ParameterValue::UNDEF_TYPE, true);
    EXPECT_EQ(dumped(value), "type=INT value=42");
}

TEST(ParameterValue, ATextThatDoesNotFitReplacesAFormerValueByUndefined)
{
    ParameterValue value = valueOf("former");
    value.initFromText("text", ParameterValue::INT_TYPE, true);
    EXPECT_EQ(dumped(value), "type=UNDEF");
}

TEST(ParameterValue, BlanksAroundANumberAreTrimmed)
{
    EXPECT_EQ(outcome("  42  "), "type=INT value=42");
    EXPECT_EQ(outcome(" \t\n\v\f\r42\r\f\v\n\t "), "type=INT value=42");
}

TEST(ParameterValue, BlanksInsideMakeAString)
{
    EXPECT_EQ(outcome("4 2"), "type=STRING value=4 2");
    EXPECT_EQ(outcome("  4 2  "), "type=STRING value=4 2");
    EXPECT_EQ(outcome(" two words "), "type=STRING value=two words");
    EXPECT_EQ(outcome("true 1"), "type=STRING value=true 1");
}

TEST(ParameterValue, WithoutTrimmingBlanksAtTheEndsAreInside)
{
    EXPECT_EQ(outcome(" 42", ParameterValue::UNDEF_TYPE, false), "type=STRING value= 42");
    EXPECT_EQ(outcome("42 ", ParameterValue::UNDEF_TYPE, false), "type=STRING value=42 ");
    EXPECT_EQ(outcome("42 ", ParameterValue::INT_TYPE, false), "type=UNDEF");
    EXPECT_EQ(outcome("true ", ParameterValue::UNDEF_TYPE, false), "type=STRING value=true ");
    EXPECT_EQ(outcome("  ", ParameterValue::UNDEF_TYPE, false), "type=STRING value=  ");
    EXPECT_EQ(outcome("42", ParameterValue::UNDEF_TYPE, false), "type=INT value=42");
    EXPECT_EQ(outcome("", ParameterValue::UNDEF_TYPE, false), "type=STRING value=");
}

TEST(ParameterValue, BoolsAreReadInAnyCase)
{
    EXPECT_EQ(outcome("TRUE"), "type=BOOL value=true");
    EXPECT_EQ(outcome("False"), "type=BOOL value=false");
    EXPECT_EQ(outcome("true "), "type=BOOL value=true");
    EXPECT_EQ(outcome("false"), "type=BOOL value=false");
}

TEST(ParameterValue, WhatIsNearlyABoolIsAString)
{
    EXPECT_EQ(outcome("tru e"), "type=STRING value=tru e");
    EXPECT_EQ(outcome("tru"), "type=STRING value=tru");
    EXPECT_EQ(outcome("true1"), "type=STRING value=true1");
    EXPECT_EQ(outcome("falsee"), "type=STRING value=falsee");
    EXPECT_EQ(outcome("\x74\x52\x55\x45!"), "type=STRING value=tRUE!");
}

TEST(ParameterValue, InfAndNanAreStrings)
{
    EXPECT_EQ(outcome("inf"), "type=STRING value=inf");
    EXPECT_EQ(outcome("nan"), "type=STRING value=nan");
    EXPECT_EQ(outcome("-inf"), "type=STRING value=-inf");
    EXPECT_EQ(outcome("nan(1)"), "type=STRING value=nan(1)");
}

TEST(ParameterValue, DecimalIntegersAreIntsWithASignOrWithout)
{
    EXPECT_EQ(outcome("7"), "type=INT value=7");
    EXPECT_EQ(outcome("+5"), "type=INT value=5");
    EXPECT_EQ(outcome("-5"), "type=INT value=-5");
    EXPECT_EQ(outcome("-0"), "type=INT value=0");
    EXPECT_EQ(outcome("-010"), "type=INT value=-10");
    EXPECT_EQ(outcome("2147483647"), "type=INT value=2147483647");
    EXPECT_EQ(outcome("-2147483648"), "type=INT value=-2147483648");
}

TEST(ParameterValue, DecimalIntegersBeyondSigned32BitsAreTruncated)
{
    EXPECT_EQ(outcome("2147483648"), "type=INT value=-2147483648");
    EXPECT_EQ(outcome("4294967295"), "type=INT value=-1");
}

TEST(ParameterValue, DecimalIntegersBeyondUnsigned32BitsAreFloats)
{
    EXPECT_EQ(outcome("4294967296"), "type=FLOAT value=4.29497e+09");
    EXPECT_EQ(outcome("-2147483649"), "type=FLOAT value=-2.14748e+09");
    EXPECT_EQ(outcome("12345678901234"), "type=FLOAT value=1.23457e+13");
    EXPECT_EQ(outcome("99999999999999999999"), "type=FLOAT value=1e+20");
}

TEST(ParameterValue, ZeroIsAnOctalInteger)
{
    EXPECT_EQ(outcome("0"), "type=INT value=0");
    EXPECT_EQ(outcome("00"), "type=INT value=0");
    EXPECT_EQ(outcome("0", ParameterValue::FLOAT_TYPE), "type=UNDEF");
}

TEST(ParameterValue, ALeadingZeroMakesAnOctalInteger)
{
    EXPECT_EQ(outcome("010"), "type=INT value=8");
    EXPECT_EQ(outcome("037777777777"), "type=INT value=-1");
    EXPECT_EQ(outcome("08"), "type=STRING value=08");
    EXPECT_EQ(outcome("040000000000"), "type=STRING value=040000000000");
    EXPECT_EQ(outcome("0+1"), "type=STRING value=0+1");
}

TEST(ParameterValue, TheOctalFormStopsAtAPoint)
{
    EXPECT_EQ(outcome("00.5"), "type=STRING value=00.5");
}

TEST(ParameterValue, ZeroXMakesAHexadecimalInteger)
{
    EXPECT_EQ(outcome("0x1F"), "type=INT value=31");
    EXPECT_EQ(outcome("0xabcdef"), "type=INT value=11259375");
    EXPECT_EQ(outcome("0xFFFFFFFF"), "type=INT value=-1");
    EXPECT_EQ(outcome("0x0"), "type=INT value=0");
}

TEST(ParameterValue, WhatIsNearlyHexadecimalIsAString)
{
    EXPECT_EQ(outcome("0xZZ"), "type=STRING value=0xZZ");
    EXPECT_EQ(outcome("0x100000000"), "type=STRING value=0x100000000");
    EXPECT_EQ(outcome("0xFFFFFFFFFFFFFFFFF"), "type=STRING value=0xFFFFFFFFFFFFFFFFF");
    EXPECT_EQ(outcome("0x"), "type=STRING value=0x");
    EXPECT_EQ(outcome("0x0x1"), "type=STRING value=0x0x1");
    EXPECT_EQ(outcome("-0x10"), "type=STRING value=-0x10");
    EXPECT_EQ(outcome("0x-10"), "type=STRING value=0x-10");
    EXPECT_EQ(outcome("0x1p3"), "type=STRING value=0x1p3");
}

TEST(ParameterValue, AnUpperCaseXBelongsToTheOctalFormAndMakesAString)
{
    EXPECT_EQ(outcome("0X1F"), "type=STRING value=0X1F");
    EXPECT_EQ(outcome("0X1F", ParameterValue::INT_TYPE), "type=UNDEF");
}

TEST(ParameterValue, ZeroBeforeAPointOrAnExponentMakesAFloat)
{
    EXPECT_EQ(outcome("0.5"), "type=FLOAT value=0.5");
    EXPECT_EQ(outcome("0e1"), "type=FLOAT value=0");
    EXPECT_EQ(outcome("0E-1"), "type=FLOAT value=0");
    EXPECT_EQ(outcome("0."), "type=FLOAT value=0");
    EXPECT_EQ(outcome("0e"), "type=STRING value=0e");
    EXPECT_EQ(outcome("0.5.1"), "type=STRING value=0.5.1");
}

TEST(ParameterValue, WhatIsNoDecimalIntegerMayBeAFloat)
{
    EXPECT_EQ(outcome(".5"), "type=FLOAT value=0.5");
    EXPECT_EQ(outcome("5."), "type=FLOAT value=5");
    EXPECT_EQ(outcome("1e5"), "type=FLOAT value=100000");
    EXPECT_EQ(outcome("1.e5"), "type=FLOAT value=100000");
    EXPECT_EQ(outcome("+.5e-1"), "type=FLOAT value=0.05");
    EXPECT_EQ(outcome("-2.5E+1"), "type=FLOAT value=-25");
}

TEST(ParameterValue, WhatIsNearlyAFloatIsAString)
{
    EXPECT_EQ(outcome("1e"), "type=STRING value=1e");
    EXPECT_EQ(outcome("1e+"), "type=STRING value=1e+");
    EXPECT_EQ(outcome(".e5"), "type=STRING value=.e5");
    EXPECT_EQ(outcome("1e5.5"), "type=STRING value=1e5.5");
    EXPECT_EQ(outcome("+-5"), "type=STRING value=+-5");
    EXPECT_EQ(outcome("1p3"), "type=STRING value=1p3");
    EXPECT_EQ(outcome("1,5"), "type=STRING value=1,5");
    EXPECT_EQ(outcome("5f"), "type=STRING value=5f");
}

TEST(ParameterValue, NumbersTooLargeForAFloatAreStrings)
{
    EXPECT_EQ(outcome("1e39"), "type=STRING value=1e39");
    EXPECT_EQ(outcome("-1e99999"), "type=STRING value=-1e99999");
    EXPECT_EQ(outcome("1e39", ParameterValue::FLOAT_TYPE), "type=UNDEF");
}

TEST(ParameterValue, NumbersTooSmallForAFloatAreZero)
{
    EXPECT_EQ(outcome("1e-99"), "type=FLOAT value=0");
    const ParameterValue value = read("-1e-99999");
    EXPECT_EQ(static_cast<float>(value), 0.0F);
    EXPECT_TRUE(std::signbit(static_cast<float>(value)));
}

TEST(ParameterValue, TheSmallestFloatIsRead)
{
    EXPECT_EQ(static_cast<float>(read("1.4e-45")), std::numeric_limits<float>::denorm_min());
}

TEST(ParameterValue, BytesBeyondAsciiAreNeitherBlanksNorDigits)
{
    EXPECT_EQ(outcome("\xa0"
                      "42"),
              "type=STRING value=\xa0"
              "42");
    EXPECT_EQ(outcome("42\x85"), "type=STRING value=42\x85");
    EXPECT_EQ(outcome("\xd9\xa1"), "type=STRING value=\xd9\xa1");
}

TEST(ParameterValue, TheLocaleOfTheProgramDoesNotMatter)
{
    const GlobalLocale locale;
    const float fRead = read("1.500");
    const ParameterValue comma = read("1,5");
    EXPECT_EQ(fRead, 1.5F);
    EXPECT_EQ(dumped(comma), "type=STRING value=1,5");
}

TEST(ParameterValue, EmptyAndBlankTextsAreTheEmptyString)
{
    EXPECT_EQ(outcome(""), "type=STRING value=");
    EXPECT_EQ(outcome("   "), "type=STRING value=");
    EXPECT_EQ(outcome("", ParameterValue::STRING_TYPE), "type=STRING value=");
    EXPECT_EQ(outcome("   ", ParameterValue::STRING_TYPE), "type=STRING value=");
}

// Text with a required type

TEST(ParameterValue, EmptyAndBlankTextsAreUndefinedForOtherTypes)
{
    for (const ParameterValue::Type target :
         {ParameterValue::INT_TYPE, ParameterValue::LONG_TYPE, ParameterValue::BOOL_TYPE,
          ParameterValue::FLOAT_TYPE})
    {
        EXPECT_EQ(outcome("", target), "type=UNDEF");
        EXPECT_EQ(outcome("   ", target), "type=UNDEF");
    }
}

TEST(ParameterValue, AStringTargetTakesTextsThatLookLikeSomethingElse)
{
    EXPECT_EQ(outcome("123", ParameterValue::STRING_TYPE), "type=STRING value=123");
    EXPECT_EQ(outcome("0.5", ParameterValue::STRING_TYPE), "type=STRING value=0.5");
    EXPECT_EQ(outcome("1e5", ParameterValue::STRING_TYPE), "type=STRING value=1e5");
    EXPECT_EQ(outcome(" true ", ParameterValue::STRING_TYPE), "type=STRING value=true");
    EXPECT_EQ(outcome("08", ParameterValue::STRING_TYPE), "type=STRING value=08");
    EXPECT_EQ(outcome("0xZZ", ParameterValue::STRING_TYPE), "type=STRING value=0xZZ");
}

TEST(ParameterValue, OctalAndHexadecimalTextsAreUndefinedForAStringTarget)
{
    EXPECT_EQ(outcome("0123", ParameterValue::STRING_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("0", ParameterValue::STRING_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("0x1F", ParameterValue::STRING_TYPE), "type=UNDEF");
}

TEST(ParameterValue, OctalAndHexadecimalTextsAreUndefinedForAllTargetsButInt)
{
    for (const ParameterValue::Type target :
         {ParameterValue::LONG_TYPE, ParameterValue::BOOL_TYPE, ParameterValue::FLOAT_TYPE})
    {
        EXPECT_EQ(outcome("0123", target), "type=UNDEF");
        EXPECT_EQ(outcome("0x1F", target), "type=UNDEF");
    }
    EXPECT_EQ(outcome("0123", ParameterValue::INT_TYPE), "type=INT value=83");
    EXPECT_EQ(outcome("0x1F", ParameterValue::INT_TYPE), "type=INT value=31");
}

TEST(ParameterValue, AnIntTargetTakesNothingButIntegers)
{
    EXPECT_EQ(outcome("7", ParameterValue::INT_TYPE), "type=INT value=7");
    EXPECT_EQ(outcome("4294967295", ParameterValue::INT_TYPE), "type=INT value=-1");
    EXPECT_EQ(outcome("4294967296", ParameterValue::INT_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("7.0", ParameterValue::INT_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("true", ParameterValue::INT_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("4 2", ParameterValue::INT_TYPE), "type=UNDEF");
}

TEST(ParameterValue, AFloatTargetTakesDecimalIntegers)
{
    EXPECT_EQ(outcome("7", ParameterValue::FLOAT_TYPE), "type=FLOAT value=7");
    EXPECT_EQ(outcome("-7", ParameterValue::FLOAT_TYPE), "type=FLOAT value=-7");
    EXPECT_EQ(outcome("0.0", ParameterValue::FLOAT_TYPE), "type=FLOAT value=0");
    EXPECT_EQ(outcome("4294967296", ParameterValue::FLOAT_TYPE), "type=FLOAT value=4.29497e+09");
    EXPECT_EQ(outcome("true", ParameterValue::FLOAT_TYPE), "type=UNDEF");
}

TEST(ParameterValue, AFloatTargetTakesAnIntegerOnlyAfterItsTruncation)
{
    EXPECT_EQ(outcome("4294967295", ParameterValue::FLOAT_TYPE), "type=FLOAT value=-1");
    EXPECT_EQ(static_cast<float>(read("2147483648", ParameterValue::FLOAT_TYPE)), -2147483648.0F);
}

TEST(ParameterValue, ABoolTargetTakesNothingButBools)
{
    EXPECT_EQ(outcome("True", ParameterValue::BOOL_TYPE), "type=BOOL value=true");
    EXPECT_EQ(outcome("fAlse", ParameterValue::BOOL_TYPE), "type=BOOL value=false");
    EXPECT_EQ(outcome("1", ParameterValue::BOOL_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("1.5", ParameterValue::BOOL_TYPE), "type=UNDEF");
    EXPECT_EQ(outcome("yes", ParameterValue::BOOL_TYPE), "type=UNDEF");
}

TEST(ParameterValue, NoTextFitsLong)
{
    for (const char* const szText :
         {"7", "-7", "0", "0x7", "7.5", "true", "text", "4294967296", ""})
        EXPECT_EQ(outcome(szText, ParameterValue::LONG_TYPE), "type=UNDEF") << szText;
}

TEST(ParameterValue, NoTextFitsWhatIsNoType)
{
    const auto noType = static_cast<ParameterValue::Type>(s_iNoType);
    for (const char* const szText : {"7", "0", "7.5", "true", "text", ""})
        EXPECT_EQ(outcome(szText, noType), "type=UNDEF") << szText;
}

// Input

TEST(ParameterValue, IsReadFromAStreamTokenByToken)
{
    std::istringstream stream(" 42\ttrue\n4,2 x=y ");
    ParameterValue value;
    EXPECT_TRUE(stream >> value);
    EXPECT_EQ(dumped(value), "type=INT value=42");
    EXPECT_TRUE(stream >> value);
    EXPECT_EQ(dumped(value), "type=BOOL value=true");
    EXPECT_TRUE(stream >> value);
    EXPECT_EQ(dumped(value), "type=STRING value=4,2");
    EXPECT_TRUE(stream >> value);
    EXPECT_EQ(dumped(value), "type=STRING value=x=y");
}

TEST(ParameterValue, IsUndefinedAfterAStreamHasEnded)
{
    std::istringstream stream("  ");
    ParameterValue value = valueOf("former");
    EXPECT_FALSE(stream >> value);
    EXPECT_EQ(dumped(value), "type=UNDEF");
    EXPECT_TRUE(stream.eof());
}

namespace
{

/// Returns the text that a stream with another number format writes for a value.
template <class T>
std::string writtenInGroups(T in_value, std::ios_base::fmtflags in_flags = {})
{
    const ParameterValue value = valueOf(in_value);
    std::ostringstream stream;
    stream.imbue(groupingLocale());
    stream.setf(in_flags);
    stream << value;
    stream << ' ';
    value.dump(stream);
    return stream.str();
}

} // namespace

TEST(ParameterValue, NumbersAreWrittenTheSameInEachLocale)
{
    EXPECT_EQ(writtenInGroups(1234567), "1234567 type=INT value=1234567");
    EXPECT_EQ(writtenInGroups(-1234567), "-1234567 type=INT value=-1234567");
    EXPECT_EQ(writtenInGroups(12345.5F), "12345.5 type=FLOAT value=12345.5");
    std::ostringstream stream;
    stream.imbue(groupingLocale());
    stream << valueOf(std::numeric_limits<long>::min());
    EXPECT_EQ(stream.str(), "-9223372036854775808");
}

TEST(ParameterValue, NumbersAreWrittenInDecimalWhateverTheBaseOfTheStream)
{
    EXPECT_EQ(writtenInGroups(1234, std::ios::showbase | std::ios::showpos),
              "1234 type=INT value=1234");
    std::ostringstream stream;
    stream << std::hex << valueOf(1234) << ' ' << std::oct << valueOf(1234);
    EXPECT_EQ(stream.str(), "1234 1234");
}

TEST(ParameterValue, FloatsAreWrittenAsAStreamOfTheClassicLocaleWritesThem)
{
    using Manipulator = std::ios_base& (*)(std::ios_base&);
    for (const float fValue :
         {0.0F, -0.0F, 1.0F, 0.1F, 100.0F, 1e6F, 1234567.0F, 1e-5F, 3.4028235e38F, 1e-45F, -2.5F,
          std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()})
        for (const Manipulator format :
             std::initializer_list<Manipulator>{std::defaultfloat, std::fixed, std::scientific})
            for (const int iPrecision : {-1, 0, 1, 6, 9, 40, 149})
            {
                std::ostringstream expected;
                expected << format << std::setprecision(iPrecision) << fValue;
                std::ostringstream stream;
                stream << format << std::setprecision(iPrecision) << valueOf(fValue);
                EXPECT_EQ(stream.str(), expected.str());
            }
}

TEST(ParameterValue, NoPrecisionIsTooLongForAFloat)
{
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(100000) << valueOf(std::numeric_limits<float>::max());
    EXPECT_TRUE(stream.str().starts_with("340282346638528859811704183484516925440.000"));
}

TEST(ParameterValue, NumbersTakeTheWidthOfTheStream)
{
    std::ostringstream stream;
    stream << std::setfill('*') << std::setw(6) << valueOf(42) << std::left << std::setw(6)
           << valueOf(0.5F);
    EXPECT_EQ(stream.str(), "****420.5***");
}

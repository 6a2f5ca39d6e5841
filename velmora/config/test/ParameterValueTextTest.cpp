// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValue.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "velmora/config/test/ParameterValueSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <iomanip>
#include <ios>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
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

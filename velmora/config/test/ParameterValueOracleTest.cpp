// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValue.h"
#include "velmora/config/test/StreamExtractionOracle.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace Velmora;
using Velmora::Test::areIdentical;
using Velmora::Test::StreamExtractionOracle;

namespace
{

constexpr std::array<ParameterValue::Type, 6> s_targets{
    ParameterValue::UNDEF_TYPE, ParameterValue::STRING_TYPE, ParameterValue::INT_TYPE,
    ParameterValue::LONG_TYPE,  ParameterValue::BOOL_TYPE,   ParameterValue::FLOAT_TYPE};

/// Compares the library with the oracle, text by text.
class Comparison
{
  public:
    void compare(const std::string& in_strText, ParameterValue::Type in_target, bool in_bTrim)
    {
        m_value.initFromText(in_strText.c_str(), in_target, in_bTrim);
        m_oracle.initFromText(m_expected, in_strText.c_str(), in_target, in_bTrim);
        if (!areIdentical(m_value, m_expected))
        {
            ADD_FAILURE() << "\"" << in_strText << "\" target " << in_target << " trim " << in_bTrim
                          << " gave " << m_value.getType() << ":" << m_value << " and not "
                          << m_expected.getType() << ":" << m_expected;
        }
        ++m_uiTypes.at(m_value.getType());
    }

    void compareForAllTargets(const std::string& in_strText)
    {
        for (const ParameterValue::Type target : s_targets)
        {
            compare(in_strText, target, true);
            compare(in_strText, target, false);
        }
    }

    /// Returns the number of texts that yielded this type, so that a test can check that all types
    /// occurred.
    [[nodiscard]] unsigned int count(ParameterValue::Type in_type) const
    {
        return m_uiTypes.at(in_type);
    }

  private:
    StreamExtractionOracle m_oracle;
    ParameterValue m_value;
    ParameterValue m_expected;
    std::array<unsigned int, s_targets.size()> m_uiTypes{};
};

/// Generates texts that are numbers, nearly numbers, and anything else.
class TextGenerator
{
  public:
    explicit TextGenerator(std::uint64_t in_uiSeed) : m_random(in_uiSeed) {}

    unsigned int below(unsigned int in_uiLimit)
    {
        return static_cast<unsigned int>(m_random() % in_uiLimit);
    }

    std::string text()
    {
        std::string strText = core();
        if (below(8) == 0)
            damage(strText);
        return blanks() + strText + blanks();
    }

  private:
    char oneOf(std::string_view in_characters)
    {
        return in_characters[below(static_cast<unsigned int>(in_characters.size()))];
    }

    std::string blanks()
    {
        std::string strBlanks;
        while (below(4) == 0)
            strBlanks += oneOf(" \t\n\v\f\r");
        return strBlanks;
    }

    std::string sign()
    {
        static const std::array<const char*, 6> s_signs{"", "", "", "-", "+", "+-"};
        return s_signs.at(below(s_signs.size()));
    }

    std::string digits(std::string_view in_digits, unsigned int in_uiMost)
    {
        std::string strDigits;
        for (unsigned int ui = below(in_uiMost + 1); ui > 0; --ui)
            strDigits += oneOf(in_digits);
        return strDigits;
    }

    std::string exponent()
    {
        std::string strExponent;
        if (below(2) == 0)
            strExponent = oneOf("eE") + sign() + digits("0123456789", below(5) == 0 ? 6 : 2);
        return strExponent;
    }

    /// Returns an integer near a limit of 32 or 64 bits, in any base.
    std::string nearLimit()
    {
        static const std::array<std::uint64_t, 6> s_limits{
            0,
            std::uint64_t{1} << 31,
            std::uint64_t{1} << 32,
            std::uint64_t{1} << 63,
            std::numeric_limits<std::uint64_t>::max(),
            0};
        const std::uint64_t uiValue = s_limits.at(below(s_limits.size())) + below(5) - 2;
        std::array<char, 40> text{};
        switch (below(4))
        {
        case 0:
            std::snprintf(text.data(), text.size(), "%ld", static_cast<long>(uiValue));
            break;
        case 1:
            std::snprintf(text.data(), text.size(), "%lu", uiValue);
            break;
        case 2:
            std::snprintf(text.data(), text.size(), below(2) == 0 ? "0x%lx" : "0x%lX", uiValue);
            break;
        default:
            std::snprintf(text.data(), text.size(), "0%lo", uiValue);
            break;
        }
        return (below(8) == 0 ? "-" : "") + std::string(text.data()) + (below(8) == 0 ? "0" : "");
    }

    float anyFloat()
    {
        const auto uiBits = static_cast<std::uint32_t>(m_random());
        float fValue = 0;
        std::memcpy(&fValue, &uiBits, sizeof fValue);
        return fValue;
    }

    /// Returns the exact decimal text of the midpoint between two floats, or of a number close to
    /// it.
    std::string halfwayFloat()
    {
        const float fValue = anyFloat();
        const double dMiddle = (static_cast<double>(fValue) +
                                std::nextafter(fValue, std::numeric_limits<float>::max())) /
                               2;
        std::array<char, 200> text{};
        std::snprintf(text.data(), text.size(), "%.*e", static_cast<int>(5 + below(150)), dMiddle);
        return text.data();
    }

    std::string printedFloat()
    {
        std::array<char, 100> text{};
        std::snprintf(text.data(), text.size(), below(2) == 0 ? "%.*g" : "%.*f",
                      static_cast<int>(below(12)), static_cast<double>(anyFloat()));
        return text.data();
    }

    std::string core()
    {
        static const std::array<const char*, 15> s_words{
            "true",      "FALSE", "tRue",   "False", "truex",
            "inf",       "nan",   "nan(1)", "-inf",  "0x",
            "infinity1", "0",     "0e",     "",      "\xc3\xa9\xa0\x85"};
        switch (below(13))
        {
        case 0:
        case 1:
            return sign() + digits("0123456789", 12);
        case 2:
            return sign() + "0x" + digits("0123456789abcdefABCDEF", 10);
        case 3:
            return sign() + "0X" + digits("0123456789abcdefABCDEF", 4);
        case 4:
            return sign() + "0" + digits("01234567", 13);
        case 5:
            return sign() + digits("0123456789", 6) + "." + digits("0123456789", 6) + exponent();
        case 6:
            return sign() + digits("0123456789", below(10) == 0 ? 60 : 10) + exponent();
        case 7:
            return nearLimit();
        case 8:
            return halfwayFloat();
        case 9:
            return printedFloat();
        case 10:
        case 11:
            return s_words.at(below(s_words.size()));
        default:
            return digits("0123456789+-.eExXaflrtu \t\x80\xff", 8);
        }
    }

    void damage(std::string& out_strText)
    {
        const std::size_t uiPlace = below(static_cast<unsigned int>(out_strText.size()) + 1);
        out_strText.insert(uiPlace, 1, oneOf("0123456789+-.eExXpaf ,'_\x80\xff"));
    }

    std::mt19937_64 m_random;
};

} // namespace

TEST(ParameterValueOracle, AMillionGeneratedTextsGiveWhatStreamExtractionGives)
{
    TextGenerator generator(20240229);
    Comparison comparison;
    for (int i = 0; i < 1'000'000 && !testing::Test::HasFailure(); ++i)
        comparison.compare(generator.text(), s_targets.at(generator.below(s_targets.size())),
                           generator.below(4) != 0);

    for (const ParameterValue::Type type : s_targets)
    {
        if (type != ParameterValue::LONG_TYPE)
        {
            EXPECT_GT(comparison.count(type), 5'000U) << "too few texts gave type " << type;
        }
    }
    EXPECT_EQ(comparison.count(ParameterValue::LONG_TYPE), 0U);
}

TEST(ParameterValueOracle, AllShortTextsOfTheCharactersOfNumbersGiveWhatStreamExtractionGives)
{
    static constexpr std::string_view s_characters = "0178+-.exXF ";
    static constexpr unsigned int s_uiLongest = 5;
    static constexpr unsigned int s_uiLongestForAllTargets = 4;
    Comparison comparison;
    std::vector<std::string> texts{""};
    for (unsigned int uiLength = 1; uiLength <= s_uiLongest; ++uiLength)
    {
        std::vector<std::string> longer;
        for (const std::string& strText : texts)
        {
            for (const char character : s_characters)
                longer.push_back(strText + character);
        }
        for (const std::string& strText : longer)
        {
            if (uiLength <= s_uiLongestForAllTargets)
                comparison.compareForAllTargets(strText);
            else
                comparison.compare(strText, ParameterValue::UNDEF_TYPE, true);
        }
        texts = std::move(longer);
    }
    EXPECT_GT(comparison.count(ParameterValue::INT_TYPE), 1'000U);
}

TEST(ParameterValueOracle, EveryByteAloneAndBesideADigitGivesWhatStreamExtractionGives)
{
    Comparison comparison;
    for (int iByte = 1; iByte < 256; ++iByte)
    {
        const std::string strByte(1, static_cast<char>(iByte));
        for (const std::string& strText :
             {strByte, strByte + "1", "1" + strByte, "0" + strByte, "1" + strByte + "1",
              "0" + strByte + "1", "0x" + strByte, "1." + strByte, "1e" + strByte + "5"})
            comparison.compareForAllTargets(strText);
    }
    EXPECT_GT(comparison.count(ParameterValue::STRING_TYPE), 1'000U);
}

TEST(ParameterValueOracle, TheLimitsOfFloatsGiveWhatStreamExtractionGives)
{
    Comparison comparison;
    for (const char* const szText : {"3.4028234e38",
                                     "3.4028235677973366e38",
                                     "3.40282356779733661637539395458142568447e38",
                                     "3.40282356779733661637539395458142568448e38",
                                     "3.4028236e38",
                                     "-3.4028236e38",
                                     "1e38",
                                     "1e39",
                                     "1e40",
                                     "-1e39",
                                     "1e99999999999999999999",
                                     "1e-99999999999999999999",
                                     "-1e-99999999999999999999",
                                     "0e99999999999999999999",
                                     "1.17549435e-38",
                                     "1.17549421e-38",
                                     "1.4e-45",
                                     "1e-45",
                                     "7.0064923216240853546186479164495e-46",
                                     "7.0064923216240853546186479164496e-46",
                                     "7e-46",
                                     "-7e-46",
                                     "1e-46",
                                     "16777217",
                                     "16777217.0",
                                     "16777217.00000000000000000000000000000000000001",
                                     "0.1",
                                     "-0.0",
                                     "-0",
                                     "+0.0",
                                     "00.0",
                                     "0.",
                                     "-.5",
                                     "+.5",
                                     "-.",
                                     "+.e1"})
        comparison.compareForAllTargets(szText);
    EXPECT_GT(comparison.count(ParameterValue::FLOAT_TYPE), 50U);
}

TEST(ParameterValueOracle, VeryLongNumbersGiveWhatStreamExtractionGives)
{
    Comparison comparison;
    const std::string strZeros(70'000, '0');
    for (const std::string& strText :
         {"0." + strZeros + "1e70001", "-0." + strZeros + "1e70001", "1" + strZeros + "e-70000",
          "1" + strZeros, "1" + strZeros + "e-70039", "0." + strZeros + "1", strZeros + "17",
          strZeros + "1.5", "0." + strZeros, "0x" + strZeros + "1F", "+" + strZeros + "1e5",
          "1e" + strZeros + "5", "1e-" + strZeros + "5", std::string(5'000, '9') + "e-4990"})
        comparison.compare(strText, ParameterValue::UNDEF_TYPE, true);
    EXPECT_EQ(comparison.count(ParameterValue::FLOAT_TYPE), 10U);
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/TrieConfiguration.h"

#include "velmora/memory/StaticMemAllocator.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;

namespace
{

/// Returns the value of an INT parameter; -1 if there is none.
int numberOf(const TrieConfiguration& in_configuration, const char* in_szName)
{
    int iValue = -1;
    in_configuration.getIntParameter(in_szName, iValue);
    return iValue;
}

FailedAssertion nullName()
{
    return failedAssertion("in_szParamName != 0", "TrieConfiguration",
                           "keswardin.infra.TrieConfiguration");
}

/// Returns the number of allocations of small blocks so far.
std::uint64_t countAllocations()
{
    std::uint64_t uiResult = 0;
    for (std::size_t uiClass = 0; uiClass != 32; ++uiClass)
        uiResult += StaticMemAllocator::getAllocator()->getStats(uiClass).uiNumChunkAlloc;
    return uiResult;
}

} // namespace

TEST(TrieConfiguration, IsAConfigurationAndATrieOfCharacters)
{
    EXPECT_TRUE((std::is_base_of_v<Configuration, TrieConfiguration>));
    EXPECT_TRUE(
        (std::is_base_of_v<Trie<char, ParameterValue, LMHashFcn<char>>, TrieConfiguration>));
}

TEST(TrieConfiguration, GivesWhatWasSet)
{
    TrieConfiguration configuration;
    EXPECT_TRUE(configuration.setStringParameter("keswardin.name", "text"));
    EXPECT_TRUE(configuration.setIntParameter("keswardin.number", 7));
    std::string strValue;
    EXPECT_TRUE(configuration.getStringParameter("keswardin.name", strValue));
    EXPECT_EQ(strValue, "text");
    EXPECT_EQ(numberOf(configuration, "keswardin.number"), 7);
}

TEST(TrieConfiguration, TheEmptyNameIsThatOfTheRoot)
{
    TrieConfiguration configuration;
    EXPECT_TRUE(configuration.setIntParameter("", 7));
    EXPECT_EQ(static_cast<int>(configuration.data()), 7);
    EXPECT_EQ(numberOf(configuration, ""), 7);
    EXPECT_EQ(configuration.size(), 0U);
}

TEST(TrieConfiguration, APrefixOfANameThatIsThereCanBeSet)
{
    TrieConfiguration configuration;
    EXPECT_TRUE(configuration.setIntParameter("ab", 1));
    EXPECT_TRUE(configuration.setIntParameter("a", 2));
    EXPECT_EQ(numberOf(configuration, "ab"), 1);
    EXPECT_EQ(numberOf(configuration, "a"), 2);
}

TEST(TrieConfiguration, SettingAgainOverwrites)
{
    TrieConfiguration configuration;
    configuration.setIntParameter("a", 1);
    EXPECT_TRUE(configuration.setStringParameter("a", "text"));
    ParameterValue value;
    configuration.getParameter("a", value);
    EXPECT_STREQ(static_cast<const char*>(value), "text");
}

TEST(TrieConfiguration, APrefixOfANameIsUndefined)
{
    TrieConfiguration configuration;
    configuration.setIntParameter("abc", 1);
    for (const char* const szName : {"ab", "a", ""})
    {
        ParameterValue value;
        value = 9;
        configuration.getParameter(szName, value);
        EXPECT_EQ(value.getType(), ParameterValue::UNDEF_TYPE) << szName;
    }
}

TEST(TrieConfiguration, ANameThatIsNotThereIsUndefined)
{
    TrieConfiguration configuration;
    configuration.setIntParameter("abc", 1);
    for (const char* const szName : {"abcd", "abd", "b", "abc "})
    {
        ParameterValue value;
        value = "former";
        configuration.getParameter(szName, value);
        EXPECT_EQ(value.getType(), ParameterValue::UNDEF_TYPE) << szName;
        EXPECT_FALSE(configuration.parameterDefined(szName));
    }
}

TEST(TrieConfiguration, ANameMayHoldAnyCharacter)
{
    TrieConfiguration configuration;
    configuration.setIntParameter("\xC3\xA4 =#.\x01", 1);
    EXPECT_EQ(numberOf(configuration, "\xC3\xA4 =#.\x01"), 1);
}

TEST(TrieConfiguration, ReadingANullNameFailsAnAssertionAndChangesNothing)
{
    const CapturedLog log;
    const TrieConfiguration configuration;
    ParameterValue value;
    value = 7;
    configuration.getParameter(nullptr, value);
    EXPECT_THAT(failedAssertions(log), ElementsAre(nullName()));
    EXPECT_EQ(static_cast<int>(value), 7);
}

TEST(TrieConfiguration, SettingANullNameFailsAnAssertionAndGivesFalse)
{
    const CapturedLog log;
    TrieConfiguration configuration;
    ParameterValue value;
    value = 7;
    EXPECT_FALSE(configuration.setParameter(nullptr, value));
    EXPECT_THAT(failedAssertions(log), ElementsAre(nullName()));
    EXPECT_FALSE(configuration.data().defined());
    EXPECT_EQ(configuration.size(), 0U);
}

TEST(TrieConfiguration, PutsOneNodePerCharacter)
{
    inAccountingProcess(
        []
        {
            TrieConfiguration configuration;
            configuration.setIntParameter("abc", 1);
            configuration.setIntParameter("abd", 1);
            EXPECT_EQ(bytesHeld("Trie"), 4 * static_cast<int>(sizeof(Trie<char, ParameterValue>)));
        });
}

TEST(TrieConfiguration, ANodeIsItsValueAndAPointer)
{
    EXPECT_EQ(sizeof(Trie<char, ParameterValue>), sizeof(ParameterValue) + sizeof(void*));
}

TEST(TrieConfiguration, ReadingAllocatesNothing)
{
    TrieConfiguration configuration;
    const std::string strName(1000, 'x');
    configuration.setIntParameter(strName.c_str(), 1);
    ParameterValue value;
    const std::uint64_t uiBefore = countAllocations();
    configuration.getParameter(strName.c_str(), value);
    EXPECT_EQ(static_cast<int>(value), 1);
    configuration.getParameter("xx", value);
    configuration.getParameter("y", value);
    EXPECT_EQ(countAllocations(), uiBefore);
}

TEST(TrieConfiguration, ACopyIsIndependent)
{
    TrieConfiguration configuration;
    configuration.setIntParameter("ab", 1);
    TrieConfiguration copy(configuration);
    copy.setIntParameter("ab", 2);
    copy.setIntParameter("ac", 3);
    EXPECT_EQ(numberOf(configuration, "ab"), 1);
    EXPECT_EQ(numberOf(configuration, "ac"), -1);
    configuration = copy;
    EXPECT_EQ(numberOf(configuration, "ab"), 2);
    EXPECT_EQ(numberOf(configuration, "ac"), 3);
}

TEST(TrieConfiguration, TakesANameOfAMillionCharacters)
{
    const std::string strName(1'000'000, 'x');
    TrieConfiguration configuration;
    EXPECT_TRUE(configuration.setIntParameter(strName.c_str(), 7));
    EXPECT_EQ(numberOf(configuration, strName.c_str()), 7);
    EXPECT_EQ(numberOf(configuration, strName.c_str() + 1), -1);
}

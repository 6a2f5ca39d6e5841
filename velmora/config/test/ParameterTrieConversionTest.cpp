// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"

#include "velmora/config/ParameterInfoDB.h"

#include "tests/support/Locales.h"
#include "velmora/config/test/ParameterTrieText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/helpers/property.h>

#include <cstdlib>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using ParameterTrieWrite = ParameterTrieText;
using ParameterTrieEnvironment = ParameterTrieText;

const ParameterInfoDB* table() { return &ParameterInfoDB::getInstance(); }

} // namespace

TEST_F(ParameterTrieWrite, EachParameterIsWrittenOnceInPreOrder)
{
    EXPECT_TRUE(read("b.c=1\na=x\nb=2\nb.c.d=3\n"));
    std::ostringstream stream;
    stream << m_trie;
    EXPECT_EQ("b=2\nb.c=1\nb.c.d=3\na=x", stream.str());
    EXPECT_EQ("b=2;b.c=1;b.c.d=3;a=x", written());
}

TEST_F(ParameterTrieWrite, AnEmptyTrieWritesNothing)
{
    EXPECT_EQ("", written());
    m_trie.insert("a.b", ParameterValue());
    EXPECT_EQ("", written());
}

TEST_F(ParameterTrieWrite, ARootWithAValueHasAnEmptyName)
{
    EXPECT_TRUE(read("=5\n"));
    EXPECT_EQ("=5", written());
}

TEST_F(ParameterTrieWrite, StringsWithBlanksComeBackAsTheyWere)
{
    m_trie.setStringParameter("a", "some text = 5 # 6");
    const std::string strText = written();
    ParameterTrie other;
    std::istringstream stream(strText);
    other.read(stream, nullptr, ';', true, nullptr, nullptr);
    std::string strValue;
    EXPECT_TRUE(other.getStringParameter("a", strValue));
    EXPECT_EQ("some text = 5 # 6", strValue);
}

TEST_F(ParameterTrieWrite, BlanksAtTheEndsAndDigitsOfAFloatDoNotComeBack)
{
    m_trie.setStringParameter("a", " text ");
    m_trie.setFloatParameter("f", 1.23456789F);
    m_trie.setStringParameter("s", "5");
    const std::string strText = written();
    ParameterTrie other;
    std::istringstream stream(strText);
    other.read(stream, nullptr, ';', true, nullptr, nullptr);
    std::string strValue;
    float fValue = 0;
    int iValue = 0;
    EXPECT_TRUE(other.getStringParameter("a", strValue));
    EXPECT_EQ("text", strValue);
    EXPECT_TRUE(other.getFloatParameter("f", fValue));
    EXPECT_EQ(1.23457F, fValue);
    EXPECT_TRUE(other.getIntParameter("s", iValue)) << "a string that looks like a number";
}

TEST_F(ParameterTrieWrite, NumbersComeBackFromAStreamThatFormatsThemInItsOwnWay)
{
    m_trie.setIntParameter("a", 1234567);
    m_trie.setFloatParameter("b", 12345.5F);
    std::stringstream stream;
    stream.imbue(groupingLocale());
    stream << std::hex << std::showbase << std::showpos << m_trie;
    EXPECT_EQ("a=1234567\nb=12345.5", stream.str());
    ParameterTrie read;
    read.read(stream, nullptr, '\n', false, nullptr, nullptr);
    int iValue = 0;
    float fValue = 0;
    EXPECT_TRUE(read.getIntParameter("a", iValue));
    EXPECT_TRUE(read.getFloatParameter("b", fValue));
    EXPECT_EQ(1234567, iValue);
    EXPECT_EQ(12345.5F, fValue);
}

TEST_F(ParameterTrieWrite, TheLocaleOfTheProgramDoesNotMatter)
{
    m_trie.setIntParameter("a", 1234567);
    m_trie.setFloatParameter("b", 12345.5F);
    const GlobalLocale locale;
    EXPECT_EQ("a=1234567;b=12345.5", written());
    log4cplus::helpers::Properties properties;
    m_trie.convertTo(properties);
    EXPECT_EQ("1234567", properties.getProperty("a"));
    EXPECT_EQ("12345.5", properties.getProperty("b"));
}

TEST_F(ParameterTrieWrite, ATableBringsBackAStringThatLooksLikeANumber)
{
    m_trie.setStringParameter("keswardin.Installation.Directory", "5.5");
    std::istringstream stream(written());
    ParameterTrie other;
    other.read(stream, table(), ';', true, nullptr, nullptr);
    std::string strValue;
    EXPECT_TRUE(other.getStringParameter("keswardin.Installation.Directory", strValue));
    EXPECT_EQ("5.5", strValue);
}

TEST_F(ParameterTrieWrite, PropertiesGetEachParameterAsText)
{
    EXPECT_TRUE(read("a.b=1\na=text\nf=1.5\nb=true\n"));
    log4cplus::helpers::Properties properties;
    m_trie.convertTo(properties);
    EXPECT_EQ(4U, properties.size());
    EXPECT_EQ("1", properties.getProperty("a.b"));
    EXPECT_EQ("text", properties.getProperty("a"));
    EXPECT_EQ("1.5", properties.getProperty("f"));
    EXPECT_EQ("true", properties.getProperty("b"));
}

TEST_F(ParameterTrieEnvironment, StringValuesTakeVariables)
{
    setenv("VELMORA_TEST_DIR", "/var/log", 1);
    m_trie.setStringParameter("a", "${VELMORA_TEST_DIR}/x");
    m_trie.setIntParameter("i", 5);
    m_trie.setStringParameter("b", "plain");
    EXPECT_TRUE(m_trie.substituteEnvVarsInValues());
    EXPECT_EQ("a=/var/log/x;i=5;b=plain", written());
}

TEST_F(ParameterTrieEnvironment, AnUnclosedTagInAValueIsAFailureBehindTheValuesBeforeIt)
{
    setenv("VELMORA_TEST_DIR", "/var/log", 1);
    m_trie.setStringParameter("a", "${VELMORA_TEST_DIR}");
    m_trie.setStringParameter("b", "${VELMORA");
    m_trie.setStringParameter("c", "${VELMORA_TEST_DIR}");
    const CapturedLog log;
    EXPECT_FALSE(m_trie.substituteEnvVarsInValues());
    EXPECT_EQ("a=/var/log;b=${VELMORA;c=${VELMORA_TEST_DIR}", written());
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger,
                                      "failed to substitute environment variables in ${VELMORA")));
}

TEST_F(ParameterTrieEnvironment, ComponentsOfNamesTakeVariables)
{
    setenv("VELMORA_TEST_NAME", "value", 1);
    m_trie.setIntParameter("a.${VELMORA_TEST_NAME}.b", 1);
    m_trie.setIntParameter("c", 2);
    EXPECT_TRUE(m_trie.substituteEnvVarsInKeys());
    EXPECT_EQ("a.value.b=1;c=2", written());
}

TEST_F(ParameterTrieEnvironment, OfTwoNamesThatBecomeTheSameTheLastWins)
{
    setenv("VELMORA_TEST_NAME", "value", 1);
    m_trie.setIntParameter("value", 1);
    m_trie.setIntParameter("${VELMORA_TEST_NAME}", 2);
    EXPECT_TRUE(m_trie.substituteEnvVarsInKeys());
    EXPECT_EQ("value=2", written());
}

TEST_F(ParameterTrieEnvironment, AnUnclosedTagInANameIsAFailureAndNothingChanges)
{
    setenv("VELMORA_TEST_NAME", "value", 1);
    m_trie.setIntParameter("${VELMORA_TEST_NAME}", 1);
    m_trie.setIntParameter("a.${VELMORA", 2);
    const CapturedLog log;
    EXPECT_FALSE(m_trie.substituteEnvVarsInKeys());
    EXPECT_EQ("${VELMORA_TEST_NAME}=1;a.${VELMORA=2", written());
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger,
                                      "failed to substitute environment variables in ${VELMORA")));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"

#include <boost/regex.hpp>
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// Replaces tags by the expression that defines them. "b" is replaced by "B", and no other name is
/// known. Returns whether all tags were replaced.
bool substituteByRegex(const std::string& in_strLine, std::string& out_strLine)
{
    static const boost::regex s_tag("([^\\$]*)(\\$\\{)([^\\$\\{\\}]*)(\\})");
    bool bResult = true;
    out_strLine.clear();
    auto position = in_strLine.cbegin();
    boost::smatch matches;
    while (boost::regex_search(position, in_strLine.cend(), matches, s_tag))
    {
        const bool bKnown = matches[3] == "b";
        bResult = bResult && bKnown;
        out_strLine += matches[1].str();
        out_strLine += bKnown ? "B" : matches[2].str() + matches[3].str() + matches[4].str();
        position = matches[0].second;
    }
    const std::string strRest(position, in_strLine.cend());
    const std::size_t uiDollar = strRest.rfind('$');
    out_strLine += uiDollar == std::string::npos ? strRest : strRest.substr(uiDollar + 1);
    return bResult;
}

class RandomText
{
  public:
    std::string next(std::string_view in_alphabet, std::size_t in_uiMaxLength)
    {
        std::string strText(m_random() % (in_uiMaxLength + 1), ' ');
        for (char& character : strText)
            character = in_alphabet[m_random() % in_alphabet.size()];
        return strText;
    }

  private:
    std::mt19937 m_random{20261121};
};

} // namespace

TEST(ParameterTrieOracle, TagsAreFoundAsTheirExpressionFindsThem)
{
    unsetenv("a");
    unsetenv("");
    RandomText texts;
    int iWaiting = 0;
    int iStored = 0;
    for (int i = 0; i < 30000; ++i)
    {
        const std::string strLine = "x=" + texts.next("$${{}}ab", 14);
        std::string strExpected;
        const bool bResolved = substituteByRegex(strLine, strExpected);

        ParameterTrie trie;
        trie.setStringParameter("b", "B");
        std::vector<std::string> waiting;
        std::istringstream stream(strLine);
        trie.read(stream, nullptr, '\n', true, &waiting, nullptr);
        if (!bResolved)
        {
            ASSERT_FALSE(stream.fail()) << strLine;
            ASSERT_EQ(1U, waiting.size()) << strLine;
            ASSERT_EQ(strExpected, waiting[0]) << strLine;
            ++iWaiting;
            continue;
        }
        ASSERT_TRUE(waiting.empty()) << strLine;
        ASSERT_EQ(strExpected.find('=') == std::string::npos, stream.fail()) << strLine;
        if (stream.fail())
            continue;
        std::string strValue;
        ASSERT_TRUE(trie.getStringParameter("x", strValue)) << strLine;
        ASSERT_EQ(strExpected.substr(2), strValue) << strLine;
        ++iStored;
    }
    EXPECT_LT(1000, iWaiting);
    EXPECT_LT(1000, iStored);
}

TEST(ParameterTrieOracle, DefiningLinesAreFoundAsTheirExpressionFindsThem)
{
    unsetenv("n");
    RandomText texts;
    int iFound = 0;
    for (int i = 0; i < 30000; ++i)
    {
        std::string strName = texts.next("ab.", 3);
        const std::string strDefining = texts.next("ab. =", 6) + "${n}";
        const boost::regex expression("(^" + strName + " *= *)(.*)");
        boost::smatch matches;
        const bool bFound = boost::regex_match(strDefining, matches, expression);

        const std::string strLine = "x=<${" + strName + "}>";
        std::vector<std::string> waiting{strLine, strDefining};
        ParameterTrie trie;
        std::istringstream stream;
        trie.read(stream, nullptr, '\n', true, &waiting, nullptr);
        ASSERT_FALSE(waiting.empty());
        const std::string strExpected = bFound ? "x=<" + matches[2].str() + ">" : strLine;
        ASSERT_EQ(strExpected, waiting[0]) << strName << " in " << strDefining;
        iFound += bFound ? 1 : 0;
    }
    EXPECT_LT(1000, iFound);
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/NameIndex.h"

#include "velmora/config/ParameterTrie.h"
#include "velmora/config/SharedParameterValue.h"

#include "tests/support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

ParameterValue numberValue(int in_iNumber)
{
    ParameterValue value;
    value = in_iNumber;
    return value;
}

std::string textOf(const ParameterTrie& in_trie)
{
    std::ostringstream text;
    in_trie.write(text);
    return text.str();
}

/// Returns the mean number of entries that a search looks at, for names with the prefix.
double stepsOf(const NameIndex& in_index, const std::string& in_strPrefix, int in_iNames)
{
    std::size_t uiSteps = 0;
    for (int i = 0; i != in_iNames; ++i)
        uiSteps += in_index.stepsFor(in_strPrefix + std::to_string(i));
    return static_cast<double>(uiSteps) / in_iNames;
}

} // namespace

TEST(NameIndex, FindsTheRootByTheEmptyName)
{
    ParameterTrie trie;
    NameIndex index(trie);
    EXPECT_EQ(&trie, index.find(""));
    EXPECT_EQ(&trie, &index.nodeFor(""));
    EXPECT_EQ(0U, index.size());
}

TEST(NameIndex, FindsNoNodeOfAnUnknownName)
{
    ParameterTrie trie;
    NameIndex index(trie);
    EXPECT_EQ(nullptr, index.find("a"));
    index.nodeFor("a.b");
    EXPECT_EQ(nullptr, index.find("b"));
    EXPECT_EQ(nullptr, index.find("a.b.c"));
    EXPECT_EQ(nullptr, index.find("."));
}

TEST(NameIndex, FindsThePrefixesOfANameAndTheNodesOfTheTrie)
{
    ParameterTrie trie;
    NameIndex index(trie);
    index.nodeFor("a.b.c").data() = numberValue(7);
    EXPECT_EQ(3U, index.size());
    for (const char* const szName : {"a", "a.b", "a.b.c"})
        EXPECT_EQ(trie.find(szName).node(), index.find(szName)) << szName;
    EXPECT_EQ("a.b.c=7", textOf(trie));
}

TEST(NameIndex, ADotAtTheEndAddsNoComponentAndEmptyOnesAreKept)
{
    ParameterTrie expected;
    ParameterTrie trie;
    NameIndex index(trie);
    const std::vector<std::string> names{"a.", "a",  "a..", "a...", ".",
                                         "..", ".x", "..x", "a..b", "a.b."};
    int iValue = 0;
    for (const std::string& strName : names)
    {
        expected.setParameter(strName.c_str(), numberValue(++iValue));
        index.nodeFor(strName).data() = numberValue(iValue);
    }
    EXPECT_EQ(textOf(expected), textOf(trie));
    for (const std::string& strName : names)
    {
        ParameterValue value;
        expected.getParameter(strName.c_str(), value);
        ASSERT_NE(nullptr, index.find(strName)) << strName;
        EXPECT_EQ(static_cast<int>(value), static_cast<int>(index.find(strName)->data()))
            << strName;
    }
}

TEST(NameIndex, MakesTheTrieThatSetParameterMakes)
{
    std::mt19937 random(11);
    const std::vector<std::string> components{"gateway", "subscriber", "a", "b", "", "port", "x1"};
    ParameterTrie expected;
    ParameterTrie trie;
    NameIndex index(trie);
    std::vector<std::string> names;
    for (int i = 0; i != 20000; ++i)
    {
        std::string strName;
        for (unsigned int uiComponents = 1 + random() % 4; uiComponents != 0; --uiComponents)
            strName += components[random() % components.size()] +
                       (random() % 2 == 0 ? std::to_string(random() % 3000) : "") +
                       (uiComponents == 1 ? "" : ".");
        expected.setParameter(strName.c_str(), numberValue(i));
        index.nodeFor(strName).data() = numberValue(i);
        names.push_back(strName);
    }
    EXPECT_EQ(textOf(expected), textOf(trie));
    for (const std::string& strName : names)
        ASSERT_EQ(trie.find(strName.c_str()).node(), index.find(strName)) << strName;
}

TEST(NameIndex, ASearchTakesAsManyStepsAmong300000SiblingsAsAmong300)
{
    constexpr int iFew = 300;
    constexpr int iMany = 300000;
    const std::string strPrefix = "gateway.subscriber.";
    ParameterTrie trie;
    NameIndex index(trie);
    int i = 0;
    for (; i != iFew; ++i)
        index.nodeFor(strPrefix + std::to_string(i));
    const double dFew = stepsOf(index, strPrefix, iFew);
    for (; i != iMany; ++i)
        index.nodeFor(strPrefix + std::to_string(i));
    const double dMany = stepsOf(index, strPrefix, iMany);
    EXPECT_LE(dMany, 2 * dFew);
    EXPECT_LE(dMany, 3.0);
    EXPECT_EQ(static_cast<std::size_t>(iMany) + 2, index.size());
    // Less than twice the name's own length and an entry, at most three quarters of which are used.
    EXPECT_LT(index.memory() / index.size(), 128U);
}

TEST(NameIndex, NamesOfAllLengthsAreToldApart)
{
    ParameterTrie trie;
    NameIndex index(trie);
    std::vector<const NameIndex::StringTrie*> nodes;
    for (std::size_t uiLength = 1; uiLength != 200; ++uiLength)
        for (const char cLast : {'a', 'b'})
        {
            const std::string strName = std::string(uiLength - 1, 'a') + cLast;
            nodes.push_back(&index.nodeFor(strName));
            EXPECT_EQ(nodes.back(), index.find(strName));
        }
    std::sort(nodes.begin(), nodes.end());
    EXPECT_EQ(nodes.end(), std::adjacent_find(nodes.begin(), nodes.end()));
}

TEST(NameIndex, ReadsEachValueButAStringWithoutALock)
{
    ParameterTrie trie;
    NameIndex index(trie);
    index.beginChange();
    SharedParameterValue::assign(index.nodeFor("a.number").data(), numberValue(7));
    ParameterValue text;
    text = "text";
    SharedParameterValue::assign(index.nodeFor("a.text").data(), std::move(text));
    index.endChange();

    ParameterValue value;
    EXPECT_TRUE(index.readUnlocked("a.number", value));
    EXPECT_EQ(7, static_cast<int>(value));
    EXPECT_FALSE(index.readUnlocked("a.text", value));
    EXPECT_EQ(7, static_cast<int>(value)) << "unchanged";
    for (const char* const szName : {"a", "unknown", ""})
    {
        value = 8;
        EXPECT_TRUE(index.readUnlocked(szName, value)) << szName;
        EXPECT_FALSE(value.defined()) << szName;
    }
}

TEST(NameIndex, ReadsNothingWithoutALockWhileTheTrieChanges)
{
    ParameterTrie trie;
    NameIndex index(trie);
    index.nodeFor("a").data() = numberValue(7);
    index.endChange();
    ParameterValue value;
    // Twice: the child of a fork may begin the change that its parent's other thread has not ended.
    for (const int iChanges : {1, 2})
    {
        for (int i = 0; i != iChanges; ++i)
            index.beginChange();
        EXPECT_FALSE(index.readUnlocked("a", value));
        EXPECT_FALSE(value.defined());
        index.endChange();
        EXPECT_TRUE(index.readUnlocked("a", value));
        value = ParameterValue();
    }
}

TEST(NameIndex, KeepsOnlyTheTablesThatThreadsMaySearch)
{
    ParameterTrie trieOfOneChange;
    ParameterTrie trieOfMany;
    NameIndex oneChange(trieOfOneChange);
    NameIndex many(trieOfMany);
    oneChange.beginChange();
    for (int i = 0; i != 10000; ++i)
    {
        const std::string strName = std::to_string(i);
        oneChange.nodeFor(strName);
        many.beginChange();
        many.nodeFor(strName);
        many.endChange();
    }
    oneChange.endChange();
    EXPECT_LT(oneChange.memory(), many.memory());
    EXPECT_LT(many.memory(), 2 * oneChange.memory());
}

TEST(NameIndex, AllNodesAreInTheIndexAfterEachFailure)
{
    const std::string strLong(100, 'x');
    int iRound = 0;
    ParameterTrie trie;
    NameIndex index(trie);
    const int iFailures = failAtEachAllocation(
        [&]
        {
            try
            {
                const std::string strName =
                    "round" + std::to_string(iRound) + "." + strLong + "." + strLong;
                index.nodeFor(strName).data() = numberValue(iRound);
            }
            catch (const std::bad_alloc&)
            {
            }
        },
        [&]
        {
            std::size_t uiNodes = 0;
            for (auto iter = trie.begin(); iter != trie.end(); ++iter, ++uiNodes)
            {
                std::string strName;
                for (const std::string& strComponent : iter.key())
                    strName += (strName.empty() ? "" : ".") + strComponent;
                EXPECT_EQ(iter.node(), index.find(strName)) << strName;
            }
            EXPECT_EQ(uiNodes, index.size() + 1);
            ++iRound;
        });
    EXPECT_LT(5, iFailures);
}

} // namespace Velmora::Test

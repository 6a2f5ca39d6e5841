// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Trie.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/test/TrieSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::Pair;

TEST(Trie, AssignmentToItselfHasNoEffect)
{
    CharTrie trie = trieOf({{"abc", 1}});
    const CharTrie& same = trie;
    trie = same;
    EXPECT_EQ(find(trie, "abc")->data(), 1);
}

TEST(Trie, AssignmentMakesItEqual)
{
    inAccountingProcess(
        []
        {
            CharTrie trie = trieOf({{"abc", 1}, {"abd", 2}, {"x", 3}, {"y", 4}});
            CharTrie other = trieOf({{"abd", 5}, {"y", 6}, {"yz", 7}, {"u", 8}});
            other.data() = 9;
            trie = other;
            EXPECT_THAT(contentOf(trie),
                        ElementsAre(Pair("", 9), Pair("a", 0), Pair("ab", 0), Pair("abd", 5),
                                    Pair("y", 6), Pair("yz", 7), Pair("u", 8)));
            EXPECT_EQ(bytesHeld("Trie"), 2 * 6 * static_cast<int>(sizeof(CharTrie)));
            insert(trie, "uv", 1);
            EXPECT_EQ(find(other, "uv"), nullptr);
        });
}

TEST(Trie, AssignmentKeepsTheNodesThatBothHave)
{
    CharTrie trie = trieOf({{"a", 1}, {"ab", 2}, {"c", 3}});
    CharTrie* const pNode = find(trie, "ab");
    trie = trieOf({{"ab", 5}});
    EXPECT_EQ(find(trie, "ab"), pNode);
    EXPECT_EQ(pNode->data(), 5);
}

TEST(Trie, AssignmentRemovesChildrenAndKeepsTheOthersReachable)
{
    CharTrie trie;
    for (char c = '!'; c != 'z'; ++c)
        trie.insert(c, c);
    CharTrie some;
    for (char c = '!'; c < 'z'; c = static_cast<char>(c + 3))
        some.insert(c, 100 + c);
    trie = some;
    EXPECT_EQ(trie.size(), some.size());
    for (char c = '!'; c != 'z'; ++c)
    {
        const auto found = trie.findChild(c);
        ASSERT_EQ(found != trie.endChild(), (c - '!') % 3 == 0);
        if (found != trie.endChild())
        {
            EXPECT_EQ(found.data()->data(), 100 + c);
        }
    }
}

TEST(Trie, AssignmentErasesInTheOrderOfTheSlots)
{
    // Tables whose clusters wrap around. The expected order results from erasing the first edge
    // that must go and starting again at the beginning.
    for (unsigned int uiKept = 0; uiKept != 1U << 12; ++uiKept)
    {
        const std::string strKeys = "nopq~\x7F/ONPQ_";
        CharTrie trie;
        CharTrie kept;
        LMHashMap<char, bool> expected;
        for (std::size_t i = 0; i != strKeys.size(); ++i)
        {
            const bool bKept = (uiKept >> i & 1U) != 0;
            trie.insert(strKeys[i], 1);
            expected.insert(strKeys[i], bKept);
            if (bKept)
                kept.insert(strKeys[i], 2);
        }
        for (auto iter = expected.begin(); iter != expected.end();)
        {
            if (iter.data())
            {
                ++iter;
                continue;
            }
            expected.erase(iter);
            iter = expected.begin();
        }
        std::string strExpected;
        for (auto iter = expected.begin(); iter != expected.end(); ++iter)
            strExpected += iter.key();
        expected.destroy();
        trie = kept;
        ASSERT_EQ(childrenOf(trie), strExpected) << uiKept;
    }
}

TEST(Trie, AssigningFromAnEdgeWithoutAChildFailsAnAssertion)
{
    const CapturedLog log;
    CharTrie trie = trieOf({{"a", 1}, {"b", 2}});
    CharTrie other = trieOf({{"a", 5}, {"b", 6}, {"c", 7}});
    makeEdgeNull(other, 'a');
    makeEdgeNull(other, 'c');
    trie = other;
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("found.data() != 0", "Trie", "keswardin.infra.Trie")));
    EXPECT_THAT(contentOf(trie), ElementsAre(Pair("", 0), Pair("a", 1), Pair("b", 6)));
}

TEST(Trie, AssigningToAnEdgeWithoutAChildFailsAnAssertion)
{
    const CapturedLog log;
    CharTrie trie = trieOf({{"a", 1}, {"b", 2}, {"c", 3}});
    const CharTrie other = trieOf({{"a", 5}, {"b", 6}});
    makeEdgeNull(trie, 'a');
    makeEdgeNull(trie, 'c');
    trie = other;
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("iter.data() != 0", "Trie", "keswardin.infra.Trie")));
    EXPECT_EQ(find(trie, "b")->data(), 6);
    EXPECT_EQ(childrenOf(trie), "ab");
}

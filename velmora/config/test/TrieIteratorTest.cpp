// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Trie.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

using CharTrie = Trie<char, int>;

CharTrie trieOf(const std::vector<std::pair<std::string, int>>& in_entries)
{
    CharTrie trie;
    for (const auto& [strKey, iData] : in_entries)
        trie.insert(strKey.begin(), strKey.end(), iData);
    return trie;
}

template <class Iterator>
std::string textOf(const Iterator& in_iter)
{
    return {in_iter.key().begin(), in_iter.key().end()};
}

template <class TrieType>
std::vector<std::pair<std::string, int>> contentOf(TrieType& in_trie)
{
    std::vector<std::pair<std::string, int>> result;
    for (auto iter = in_trie.begin(); iter != in_trie.end(); ++iter)
        result.emplace_back(textOf(iter), iter.data());
    return result;
}

} // namespace

TEST(TrieIterator, AnEmptyTrieYieldsTheRootOnce)
{
    const CharTrie trie;
    CharTrie::const_iterator iter = trie.begin();
    EXPECT_EQ(iter.node(), &trie);
    EXPECT_THAT(iter.key(), IsEmpty());
    EXPECT_THAT(iter.path(), IsEmpty());
    ++iter;
    EXPECT_EQ(iter, trie.end());
    EXPECT_EQ(iter.node(), nullptr);
    EXPECT_THAT(iter.key(), IsEmpty());
}

TEST(TrieIterator, MovingOnAtTheEndDoesNothing)
{
    CharTrie trie = trieOf({{"a", 1}});
    CharTrie::iterator iter = trie.end();
    ++iter;
    EXPECT_EQ(iter, trie.end());
    EXPECT_THAT(iter.key(), IsEmpty());
}

TEST(TrieIterator, VisitsANodeThenEachChildWithItsSubtree)
{
    CharTrie trie = trieOf({{"bd", 1}, {"a", 2}, {"ba", 3}, {"bdx", 4}, {"cc", 5}});
    const std::vector<std::pair<std::string, int>> expected{
        {"", 0}, {"b", 0}, {"bd", 1}, {"bdx", 4}, {"ba", 3}, {"a", 2}, {"c", 0}, {"cc", 5}};
    EXPECT_EQ(contentOf(trie), expected);
    EXPECT_EQ(contentOf(std::as_const(trie)), expected);
}

TEST(TrieIterator, UpToEightSiblingsComeInOrderOfInsertionAndMoreInOrderOfHash)
{
    CharTrie trie;
    for (const char c : std::string_view("hgfedcba"))
        trie.insert(c, 0);
    std::string strOrder;
    for (auto iter = trie.begin(); iter != trie.end(); ++iter)
        strOrder += textOf(iter);
    EXPECT_EQ(strOrder, "hgfedcba");
    trie.insert('p', 0);
    strOrder.clear();
    for (auto iter = trie.begin(); iter != trie.end(); ++iter)
        strOrder += textOf(iter);
    EXPECT_EQ(strOrder, "pabcdefgh");
}

TEST(TrieIterator, HasThePathThatLedToItsNode)
{
    CharTrie trie = trieOf({{"ab", 1}});
    CharTrie::iterator iter = trie.begin();
    ++iter;
    ++iter;
    ASSERT_EQ(iter.path().size(), 2U);
    EXPECT_EQ(&iter.path()[0].owner(), &trie);
    EXPECT_EQ(iter.path()[0].key(), 'a');
    EXPECT_EQ(&iter.path()[1].owner(), iter.path()[0].data());
    EXPECT_EQ(iter.path()[1].key(), 'b');
    EXPECT_EQ(iter.path()[1].data(), iter.node());
}

TEST(TrieIterator, DataCanBeWrittenThroughIt)
{
    CharTrie trie = trieOf({{"ab", 1}});
    CharTrie::iterator iter = trie.begin();
    iter.data() = 5;
    ++iter;
    iter->data() = 6;
    ++iter;
    (*iter).data() = 7;
    EXPECT_THAT(contentOf(trie), ElementsAre(Pair("", 5), Pair("a", 6), Pair("ab", 7)));
}

TEST(TrieIterator, OneOfASubtreeStaysInIt)
{
    CharTrie trie = trieOf({{"ab", 1}, {"b", 2}});
    const CharTrie& child = *trie.findChild('a').data();
    EXPECT_THAT(contentOf(child), ElementsAre(Pair("", 0), Pair("b", 1)));
}

TEST(TrieIterator, AdvanceGoesDownAnEdgeOfTheCurrentNode)
{
    CharTrie trie = trieOf({{"ab", 1}});
    CharTrie::iterator iter(trie);
    EXPECT_TRUE(iter.advance({trie, trie.findChild('a')}));
    EXPECT_EQ(textOf(iter), "a");
    EXPECT_EQ(iter.node(), trie.findChild('a').data());
}

TEST(TrieIterator, AdvanceRefusesTheEndOfAnOwnersEdges)
{
    CharTrie trie = trieOf({{"ab", 1}});
    CharTrie::iterator iter(trie);
    EXPECT_FALSE(iter.advance({trie, trie.findChild('x')}));
    EXPECT_EQ(iter.node(), &trie);
    EXPECT_THAT(iter.key(), IsEmpty());
    EXPECT_THAT(iter.path(), IsEmpty());
}

TEST(TrieIterator, AdvanceRefusesAnEdgeOfAnotherNode)
{
    CharTrie trie = trieOf({{"ab", 1}});
    CharTrie& child = *trie.findChild('a').data();
    CharTrie::iterator iter(trie);
    EXPECT_FALSE(iter.advance({child, child.findChild('b')}));
    EXPECT_EQ(iter.node(), &trie);
    EXPECT_THAT(iter.key(), IsEmpty());
    CharTrie::iterator end;
    EXPECT_FALSE(end.advance({trie, trie.findChild('a')}));
    EXPECT_EQ(end, trie.end());
}

TEST(TrieIterator, APlainOneBecomesAConstOne)
{
    CharTrie trie = trieOf({{"ab", 1}});
    CharTrie::iterator iter = trie.begin();
    ++iter;
    const CharTrie::const_iterator constIter = iter;
    EXPECT_EQ(constIter.node(), iter.node());
    EXPECT_EQ(textOf(constIter), "a");
    ASSERT_EQ(constIter.path().size(), 1U);
    EXPECT_EQ(constIter.path()[0].data(), iter.node());
    EXPECT_TRUE((std::is_same_v<decltype(constIter.data()), const int&>));
}

TEST(TrieIterator, ServesRangeLoops)
{
    CharTrie trie = trieOf({{"ab", 1}, {"c", 2}});
    int iSum = 0;
    for (const CharTrie& node : trie)
        iSum += node.data();
    EXPECT_EQ(iSum, 3);
}

TEST(TrieIterator, AnEdgeIteratorMovesOverTheEdgesOfItsOwner)
{
    CharTrie trie = trieOf({{"a", 1}, {"b", 2}});
    TrieEdgeIterator<char, int, LMHashFcn<char>> edge(trie, trie.beginChild());
    EXPECT_EQ(edge.key(), 'a');
    EXPECT_EQ(edge.data()->data(), 1);
    ++edge;
    const TrieEdgeConstIterator<char, int, LMHashFcn<char>> constEdge(edge);
    EXPECT_EQ(constEdge.key(), 'b');
    EXPECT_EQ(&constEdge.owner(), &trie);
    EXPECT_FALSE(constEdge.isAtEnd());
    ++edge;
    EXPECT_TRUE(edge.isAtEnd());
}

TEST(TrieIterator, HoldsItsNodeThenThePathThenTheKey)
{
    using Iterator = CharTrie::iterator;
    EXPECT_EQ(sizeof(Iterator), sizeof(CharTrie*) + sizeof(std::vector<Iterator::EdgeIterator>) +
                                    sizeof(std::vector<char>));
    EXPECT_EQ(sizeof(Iterator::EdgeIterator), sizeof(CharTrie*) + sizeof(CharTrie::child_iterator));
}

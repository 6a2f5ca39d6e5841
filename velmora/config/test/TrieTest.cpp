// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Trie.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedLog.h"
#include "velmora/config/test/TrieSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

constexpr std::size_t s_uiDeep = 1'000'000;

CharTrie deepTrie()
{
    CharTrie trie;
    const std::string strKey(s_uiDeep, 'x');
    trie.fastInsert(strKey.begin(), strKey.end(), 7);
    insert(*find(trie, std::string_view(strKey).substr(0, s_uiDeep / 2)), "side", 8);
    return trie;
}

CharTrie* deepEnd(CharTrie& in_trie) { return find(in_trie, std::string(s_uiDeep, 'x')); }

} // namespace

TEST(Trie, ALeafCostsItsDataAndAPointer)
{
    EXPECT_EQ(sizeof(Trie<std::string, void*>), 2 * sizeof(void*));
    inAccountingProcess(
        []
        {
            CharTrie trie;
            insert(trie, "a", 1);
            expectHeld(1, 1);
            insert(trie, "b", 1);
            expectHeld(2, 1);
            insert(trie, "bc", 1);
            expectHeld(3, 2);
        });
}

TEST(Trie, BeginsAsARootWithTheDefaultData)
{
    const CharTrie trie;
    EXPECT_EQ(trie.data(), 0);
    EXPECT_EQ(trie.size(), 0U);
    EXPECT_EQ(trie.beginChild(), trie.endChild());
    const Trie<std::string, ParameterValue> ofValues;
    EXPECT_FALSE(ofValues.data().defined());
}

TEST(Trie, InsertsAnEdge)
{
    CharTrie trie;
    const auto [edge, bInserted] = trie.insert('a', 5);
    EXPECT_TRUE(bInserted);
    EXPECT_EQ(edge.key(), 'a');
    EXPECT_EQ(edge.data()->data(), 5);
    EXPECT_EQ(trie.size(), 1U);
}

TEST(Trie, InsertingAnEdgeThatIsThereChangesNothing)
{
    CharTrie trie;
    CharTrie* const pChild = trie.insert('a', 5).first.data();
    const auto [edge, bInserted] = trie.insert('a', 6);
    EXPECT_FALSE(bInserted);
    EXPECT_EQ(edge.data(), pChild);
    EXPECT_EQ(pChild->data(), 5);
}

TEST(Trie, InsertsASequenceAndGivesItsNodeWithThePath)
{
    CharTrie trie;
    const auto [iter, bInserted] = insert(trie, "abc", 5);
    EXPECT_TRUE(bInserted);
    EXPECT_EQ(iter.node(), find(trie, "abc"));
    EXPECT_THAT(iter.key(), ElementsAre('a', 'b', 'c'));
    ASSERT_EQ(iter.path().size(), 3U);
    EXPECT_EQ(iter.path()[2].data(), iter.node());
    EXPECT_THAT(contentOf(trie),
                ElementsAre(Pair("", 0), Pair("a", 0), Pair("ab", 0), Pair("abc", 5)));
}

TEST(Trie, AWalkGoesOnFromAnInsertedNode)
{
    CharTrie trie = trieOf({{"abx", 1}, {"b", 2}});
    auto iter = insert(trie, "ab", 9).first;
    ++iter;
    EXPECT_THAT(iter.key(), ElementsAre('a', 'b', 'x'));
    ++iter;
    EXPECT_THAT(iter.key(), ElementsAre('b'));
    ++iter;
    EXPECT_EQ(iter, trie.end());
}

TEST(Trie, ASecondInsertionKeepsTheFirstValue)
{
    CharTrie trie = trieOf({{"abc", 1}});
    const auto [iter, bInserted] = insert(trie, "abc", 2);
    EXPECT_FALSE(bInserted);
    EXPECT_EQ(iter.data(), 1);
    EXPECT_THAT(iter.key(), ElementsAre('a', 'b', 'c'));
}

TEST(Trie, InsertingAPrefixOfAKeyChangesNothing)
{
    CharTrie trie = trieOf({{"abc", 1}});
    const auto [iter, bInserted] = insert(trie, "ab", 2);
    EXPECT_FALSE(bInserted);
    EXPECT_EQ(iter.data(), 0);
    iter.data() = 2;
    EXPECT_EQ(find(trie, "ab")->data(), 2);
}

TEST(Trie, InsertingAnEmptySequenceGivesTheNodeAndTouchesNothing)
{
    CharTrie trie = trieOf({{"a", 1}});
    const auto [iter, bInserted] = insert(trie, "", 2);
    EXPECT_FALSE(bInserted);
    EXPECT_EQ(iter.node(), &trie);
    EXPECT_THAT(iter.key(), IsEmpty());
    EXPECT_EQ(trie.data(), 0);
}

TEST(Trie, InsertsFromAnInnerNode)
{
    CharTrie trie = trieOf({{"a", 1}});
    const auto iter = insert(*find(trie, "a"), "bc", 2).first;
    EXPECT_THAT(iter.key(), ElementsAre('b', 'c'));
    EXPECT_EQ(find(trie, "abc")->data(), 2);
}

TEST(Trie, FastInsertDoesTheSameWithoutAPath)
{
    CharTrie trie;
    const std::string strKey = "abc";
    const auto [pNode, bInserted] = trie.fastInsert(strKey.begin(), strKey.end(), 1);
    EXPECT_TRUE(bInserted);
    EXPECT_EQ(pNode, find(trie, "abc"));
    EXPECT_THAT(contentOf(trie),
                ElementsAre(Pair("", 0), Pair("a", 0), Pair("ab", 0), Pair("abc", 1)));
    EXPECT_THAT(trie.fastInsert(strKey.begin(), strKey.end(), 2), Pair(pNode, false));
    EXPECT_EQ(pNode->data(), 1);
    EXPECT_THAT(trie.fastInsert(strKey.begin(), strKey.begin(), 3), Pair(&trie, false));
    EXPECT_EQ(trie.data(), 0);
}

TEST(Trie, FindsANodeWithItsPath)
{
    CharTrie trie = trieOf({{"abc", 1}, {"abd", 2}});
    const std::string strKey = "abd";
    const auto iter = trie.find(strKey.begin(), strKey.end());
    EXPECT_EQ(iter.node(), find(trie, strKey));
    EXPECT_THAT(iter.key(), ElementsAre('a', 'b', 'd'));
    const auto constIter = std::as_const(trie).find(strKey.begin(), strKey.end());
    EXPECT_EQ(constIter.data(), 2);
    EXPECT_EQ(trie.find(strKey.begin(), strKey.begin()).node(), &trie);
}

TEST(Trie, DoesNotFindWhatIsNotThere)
{
    CharTrie trie = trieOf({{"abc", 1}});
    for (const std::string_view strKey : {"b", "abd", "abcd"})
    {
        EXPECT_EQ(trie.find(strKey.begin(), strKey.end()), trie.end());
        EXPECT_EQ(std::as_const(trie).find(strKey.begin(), strKey.end()), trie.end());
        EXPECT_EQ(trie.fastFind(strKey.begin(), strKey.end()), nullptr);
        EXPECT_EQ(std::as_const(trie).fastFind(strKey.begin(), strKey.end()), nullptr);
    }
}

TEST(Trie, TakesSequencesOfAnyIterator)
{
    Trie<std::string, int> trie;
    const std::list<std::string> key{"one", "two"};
    trie.insert(key.begin(), key.end(), 12);
    const std::vector<std::string_view> views{"one", "two"};
    ASSERT_NE(trie.fastFind(views.begin(), views.end()), nullptr);
    EXPECT_EQ(trie.fastFind(views.begin(), views.end())->data(), 12);
}

TEST(Trie, ACopyIsDeep)
{
    inAccountingProcess(
        []
        {
            CharTrie trie = trieOf({{"abc", 1}, {"abd", 2}, {"x", 3}});
            trie.data() = 9;
            CharTrie copy(trie);
            expectHeld(2 * 5, 2 * 3);
            EXPECT_EQ(contentOf(copy), contentOf(trie));
            insert(copy, "abe", 4);
            find(copy, "x")->data() = 5;
            EXPECT_EQ(find(trie, "abe"), nullptr);
            EXPECT_EQ(find(trie, "x")->data(), 3);
        });
}

TEST(Trie, ACopyHasTheTablesOfTheOriginalSlotForSlot)
{
    inAccountingProcess(
        []
        {
            CharTrie trie = trieOf({{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 5}, {"ef", 6}});
            find(trie, "e")->clear();
            CharTrie smaller = trieOf({{"e", 5}});
            trie = smaller;
            const int iTables = bytesHeld("InternalHashMap");
            const int iBlocks = bytesHeld("LMVector<T>");
            const CharTrie copy(trie);
            // Both figures include the tables of the smaller trie.
            EXPECT_EQ(bytesHeld("InternalHashMap"), iTables + 2 * 16);
            EXPECT_EQ(bytesHeld("LMVector<T>"), iBlocks + (8 * 16 + 10) + (16 + 9));
        });
}

TEST(Trie, ClearKeepsTheDataAndTheBlockOfTheTable)
{
    inAccountingProcess(
        []
        {
            CharTrie trie = trieOf({{"abc", 1}, {"b", 2}, {"c", 3}});
            trie.data() = 9;
            trie.clear();
            EXPECT_EQ(trie.data(), 9);
            EXPECT_EQ(trie.size(), 0U);
            EXPECT_THAT(contentOf(trie), ElementsAre(Pair("", 9)));
            expectHeld(0, 1);
            EXPECT_EQ(bytesHeld("LMVector<T>"), 4 * 16 + 9);
            insert(trie, "d", 4);
            EXPECT_THAT(contentOf(trie), ElementsAre(Pair("", 9), Pair("d", 4)));
        });
}

TEST(Trie, ClearOfALeafDoesNothing)
{
    CharTrie trie;
    trie.data() = 9;
    trie.clear();
    EXPECT_EQ(trie.data(), 9);
}

TEST(Trie, TheDestructorGivesEverythingBack)
{
    inAccountingProcess(
        []
        {
            {
                const CharTrie trie =
                    trieOf({{"abc", 1}, {"abd", 2}, {"x", 3}, {"xyz", 4}, {"xz", 5}, {"z", 6}});
                expectHeld(9, 5);
            }
            expectHeld(0, 0);
            EXPECT_EQ(bytesHeld("LMVector<T>"), 0);
        });
}

namespace
{

/// Records its destruction.
struct Dying
{
    Dying(int in_iNumber = 0) : iNumber(in_iNumber) {}
    Dying(const Dying&) = default;
    Dying& operator=(const Dying&) = default;
    ~Dying()
    {
        if (iNumber != 0)
            s_dead.push_back(iNumber);
    }
    int iNumber;
    static inline std::vector<int> s_dead;
};

} // namespace

TEST(Trie, ChildrenDieBeforeTheirParentsInOrder)
{
    {
        Trie<char, Dying> trie;
        int iNumber = 0;
        for (const std::string_view strKey : {"a", "ab", "abc", "ad", "e", "ef"})
            trie.fastInsert(strKey.begin(), strKey.end(), Dying()).first->data().iNumber =
                ++iNumber;
        trie.data().iNumber = 7;
        Dying::s_dead.clear();
    }
    EXPECT_THAT(Dying::s_dead, ElementsAre(3, 2, 4, 1, 6, 5, 7));
}

TEST(Trie, DestroyChildGivesTheChildsBlockBack)
{
    inAccountingProcess(
        []
        {
            CharTrie trie = trieOf({{"abc", 1}});
            makeEdgeNull(trie, 'a');
            expectHeld(0, 1);
            trie.destroyChild(*trie.findChild('a'));
            expectHeld(0, 1);
        });
}

TEST(Trie, CopiesAndDestroysEdgesWithoutAChild)
{
    CharTrie trie = trieOf({{"a", 1}, {"b", 2}});
    makeEdgeNull(trie, 'a');
    const CharTrie copy(trie);
    EXPECT_EQ(copy.findChild('a').data(), nullptr);
    EXPECT_EQ(copy.findChild('b').data()->data(), 2);
}

TEST(Trie, AKeyOfAMillionElementsIsCopiedAndDestroyed)
{
    CharTrie trie = deepTrie();
    CharTrie copy(trie);
    EXPECT_EQ(deepEnd(copy)->data(), 7);
    EXPECT_NE(deepEnd(copy), deepEnd(trie));
}

TEST(Trie, AKeyOfAMillionElementsIsAssigned)
{
    CharTrie trie = deepTrie();
    CharTrie other;
    other = trie;
    EXPECT_EQ(deepEnd(other)->data(), 7);
    deepEnd(other)->data() = 10;
    trie = other;
    EXPECT_EQ(deepEnd(trie)->data(), 10);
    trie = CharTrie();
    EXPECT_EQ(trie.size(), 0U);
}

TEST(Trie, AKeyOfAMillionElementsIsCleared)
{
    CharTrie trie = deepTrie();
    trie.clear();
    EXPECT_EQ(trie.size(), 0U);
    EXPECT_THAT(contentOf(trie), ElementsAre(Pair("", 0)));
}

TEST(Trie, AKeyOfAMillionElementsIsWalkedAlong)
{
    const CharTrie trie = deepTrie();
    std::size_t uiNodes = 0;
    std::size_t uiDepth = 0;
    for (auto iter = trie.begin(); iter != trie.end(); ++iter)
    {
        ++uiNodes;
        uiDepth = std::max(uiDepth, iter.key().size());
    }
    EXPECT_EQ(uiNodes, 1 + s_uiDeep + 4);
    EXPECT_EQ(uiDepth, s_uiDeep);
}

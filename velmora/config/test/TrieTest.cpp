#include "velmora/config/Trie.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Fragile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

using CharTrie = Trie<char, int>;

std::pair<CharTrie::iterator, bool> insert(CharTrie& inout_trie, std::string_view in_strKey,
                                           int in_iData)
{
    return inout_trie.insert(in_strKey.begin(), in_strKey.end(), in_iData);
}

CharTrie* find(CharTrie& in_trie, std::string_view in_strKey)
{
    return in_trie.fastFind(in_strKey.begin(), in_strKey.end());
}

CharTrie trieOf(const std::vector<std::pair<std::string, int>>& in_entries)
{
    CharTrie trie;
    for (const auto& [strKey, iData] : in_entries)
        insert(trie, strKey, iData);
    return trie;
}

/// Returns key and data of each node in order.
template <class TrieType>
std::vector<std::pair<std::string, int>> contentOf(const TrieType& in_trie)
{
    std::vector<std::pair<std::string, int>> result;
    for (auto iter = in_trie.begin(); iter != in_trie.end(); ++iter)
    {
        const auto key = iter.key();
        result.emplace_back(std::string(key.begin(), key.end()), iter.data());
    }
    return result;
}

/// Returns the keys of a root's children in the order of their slots.
std::string childrenOf(const CharTrie& in_trie)
{
    std::string strResult;
    for (auto iter = in_trie.beginChild(); iter != in_trie.endChild(); ++iter)
        strResult += iter.key();
    return strResult;
}

void expectHeld(std::size_t in_uiNodes, std::size_t in_uiTables)
{
    EXPECT_EQ(bytesHeld("Trie"), static_cast<int>(in_uiNodes * sizeof(CharTrie)));
    EXPECT_EQ(bytesHeld("InternalHashMap"), static_cast<int>(in_uiTables * 16));
}

/// Destroys a child and leaves a null edge.
void makeEdgeNull(CharTrie& inout_trie, char in_cKey)
{
    const CharTrie::child_iterator edge = inout_trie.findChild(in_cKey);
    inout_trie.destroyChild(*edge);
    edge.data() = nullptr;
}

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

namespace
{

template <class MovesType>
class TrieOfFragile : public testing::Test
{
  public:
    using Element = Fragile<MovesType::value>;
    using FragileTrie = Trie<Element, Element, FragileHash<MovesType::value>>;
    using Content = std::vector<std::pair<std::vector<int>, int>>;

    TrieOfFragile()
    {
        // The default data of nodes on the way is made once and never destroyed.
        FragileTrie trie;
        const std::vector<Element> key(1);
        trie.fastInsert(key.begin(), key.end(), 1);
    }

    static Content contentOf(const FragileTrie& in_trie)
    {
        Content result;
        for (auto iter = in_trie.begin(); iter != in_trie.end(); ++iter)
        {
            std::vector<int> key;
            for (const Element& element : iter.key())
                key.push_back(element.value());
            result.emplace_back(key, iter.data().value());
        }
        return result;
    }

    static void add(FragileTrie& inout_trie, const std::vector<int>& in_key, int in_iData)
    {
        const std::vector<Element> key(in_key.begin(), in_key.end());
        inout_trie.fastInsert(key.begin(), key.end(), in_iData);
    }

    static void fill(FragileTrie& inout_trie)
    {
        inout_trie.clear();
        add(inout_trie, {1, 2, 3}, 123);
        add(inout_trie, {1, 2, 4}, 124);
        add(inout_trie, {1}, 1);
        add(inout_trie, {7}, 7);
        add(inout_trie, {8, 9}, 89);
    }
};

using BothMoves = testing::Types<std::integral_constant<Moves, Moves::AS_COPIES>,
                                 std::integral_constant<Moves, Moves::SAFELY>>;
TYPED_TEST_SUITE(TrieOfFragile, BothMoves);

} // namespace

TYPED_TEST(TrieOfFragile, AFailedInsertionChangesNothing)
{
    using Live = typename TestFixture::Element;
    inAccountingProcess(
        []
        {
            typename TestFixture::FragileTrie trie;
            const std::vector<Live> key{1, 2, 5, 6, 7};
            typename TestFixture::Content before;
            int iNodes = 0;
            int iLive = 0;
            const auto fill = [&]
            {
                TestFixture::fill(trie);
                before = TestFixture::contentOf(trie);
                iNodes = bytesHeld("Trie");
                iLive = Live::s_iLive;
            };
            const auto expectUnchanged = [&]
            {
                ASSERT_EQ(Live::s_iLive, iLive);
                ASSERT_EQ(bytesHeld("Trie"), iNodes);
                ASSERT_EQ(TestFixture::contentOf(trie), before);
            };
            const auto insert = [&] { trie.insert(key.begin(), key.end(), 12567); };
            EXPECT_GE(failAtEveryStep(fill, insert, expectUnchanged), 10);
            EXPECT_EQ(trie.fastFind(key.begin(), key.end())->data().value(), 12567);
            const auto fastInsert = [&] { trie.fastInsert(key.begin(), key.end(), 12567); };
            EXPECT_GE(failAtEveryStep(fill, fastInsert, expectUnchanged), 8);
            EXPECT_EQ(trie.fastFind(key.begin(), key.end())->data().value(), 12567);
        });
}

TYPED_TEST(TrieOfFragile, AFailedAdvanceLeavesTheIteratorWhereItIs)
{
    typename TestFixture::FragileTrie trie;
    TestFixture::fill(trie);
    typename TestFixture::FragileTrie::iterator iter;
    const auto advance = [&] { iter.advance({trie, trie.beginChild()}); };
    const auto expectUnchanged = [&]
    {
        ASSERT_EQ(iter.node(), &trie);
        ASSERT_TRUE(iter.key().empty());
        ASSERT_TRUE(iter.path().empty());
    };
    EXPECT_EQ(failAtEveryStep([&] { iter = trie.begin(); }, advance, expectUnchanged), 1);
    EXPECT_EQ(iter.key().size(), 1U);
}

TYPED_TEST(TrieOfFragile, AFailedCopyLeavesNothingBehind)
{
    using Live = typename TestFixture::Element;
    inAccountingProcess(
        []
        {
            typename TestFixture::FragileTrie trie;
            TestFixture::fill(trie);
            const auto before = TestFixture::contentOf(trie);
            const int iNodes = bytesHeld("Trie");
            const int iBlocks = bytesHeld("LMVector<T>") + bytesHeld("InternalHashMap");
            const int iLive = Live::s_iLive;
            const auto expectUnchanged = [&]
            {
                ASSERT_EQ(Live::s_iLive, iLive);
                ASSERT_EQ(bytesHeld("Trie"), iNodes);
                ASSERT_EQ(bytesHeld("LMVector<T>") + bytesHeld("InternalHashMap"), iBlocks);
                ASSERT_EQ(TestFixture::contentOf(trie), before);
            };
            const auto copy = [&] { const typename TestFixture::FragileTrie made(trie); };
            EXPECT_EQ(failAtEveryStep([] {}, copy, expectUnchanged), 8 + 7);
            expectUnchanged();
        });
}

TYPED_TEST(TrieOfFragile, AFailedAssignmentLeavesAWholeTrie)
{
    using Live = typename TestFixture::Element;
    inAccountingProcess(
        []
        {
            {
                typename TestFixture::FragileTrie trie;
                typename TestFixture::FragileTrie other;
                TestFixture::add(other, {1, 2, 4}, 1240);
                TestFixture::add(other, {1, 5, 6}, 1560);
                TestFixture::add(other, {8}, 80);
                TestFixture::add(other, {3}, 30);
                const auto after = TestFixture::contentOf(other);
                const auto assign = [&] { trie = other; };
                const auto expectWhole = [&]
                {
                    for (const auto& [key, iData] : TestFixture::contentOf(trie))
                    {
                        const std::vector<Live> elements(key.begin(), key.end());
                        ASSERT_NE(trie.fastFind(elements.begin(), elements.end()), nullptr);
                    }
                    // A second attempt completes it.
                    trie = other;
                    ASSERT_THAT(TestFixture::contentOf(trie),
                                testing::UnorderedElementsAreArray(after));
                };
                EXPECT_GE(failAtEveryStep([&] { TestFixture::fill(trie); }, assign, expectWhole),
                          10);
            }
            EXPECT_EQ(bytesHeld("Trie"), 0);
            EXPECT_EQ(bytesHeld("LMVector<T>") + bytesHeld("InternalHashMap"), 0);
            // The default data of nodes on the way.
            EXPECT_EQ(Live::s_iLive, 1);
        });
}

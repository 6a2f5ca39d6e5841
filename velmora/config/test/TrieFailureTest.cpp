// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Trie.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/Fragile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

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

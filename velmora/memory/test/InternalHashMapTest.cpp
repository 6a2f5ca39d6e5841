// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/InternalHashMap.h"

#include "velmora/memory/LMHashFcn.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Fragile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::Pair;

namespace
{

using StringMap = InternalHashMap<std::string, int, LMHashFcn<std::string>>;
using CharMap = InternalHashMap<char, int, LMHashFcn<char>>;

/// Uses a key as its own hash.
struct Identity
{
    std::size_t operator()(int in_iKey) const noexcept { return static_cast<std::size_t>(in_iKey); }
};
using IntMap = InternalHashMap<int, int, Identity>;

struct NeverCalled
{
    std::size_t operator()(int) const
    {
        ADD_FAILURE() << "hashed";
        return 0;
    }
};

/// Returns the slot and key of each entry.
template <class Map>
auto keysOf(const Map& in_map)
{
    std::vector<std::pair<std::size_t, decltype(Map::value_type::first)>> result;
    for (auto iter = in_map.begin(); iter != in_map.end(); ++iter)
        result.emplace_back(in_map.indexOf(iter), iter.key());
    return result;
}

IntMap mapOf(const std::vector<int>& in_keys)
{
    IntMap map(1);
    for (const int iKey : in_keys)
        map.insert(iKey, 10 * iKey);
    return map;
}

/// Makes a table of 16 slots with these keys.
IntMap mapOf16(const std::vector<int>& in_keys)
{
    IntMap map(9);
    for (const int iKey : in_keys)
        map.insert(iKey, 10 * iKey);
    EXPECT_EQ(map.capacity(), 16U);
    return map;
}

void eraseKey(IntMap& inout_map, int in_iKey)
{
    const auto found = inout_map.findIndex(in_iKey);
    ASSERT_TRUE(found.second);
    inout_map.erase(inout_map.entryAt(found.first));
}

void expectAllFound(const IntMap& in_map, const std::vector<int>& in_keys)
{
    EXPECT_EQ(in_map.size(), in_keys.size());
    for (const int iKey : in_keys)
    {
        const auto found = in_map.findIndex(iKey);
        ASSERT_TRUE(found.second) << iKey;
        EXPECT_EQ(in_map.slot(found.first), std::pair(iKey, 10 * iKey));
    }
}

} // namespace

TEST(InternalHashMap, TheNextPowerOfTwoOfAPowerOfTwoIsItself)
{
    for (int iBit = 0; iBit != 64; ++iBit)
    {
        const std::size_t uiPower = std::size_t{1} << iBit;
        EXPECT_EQ(InternalHashMapNoT::nextPowerOf2(uiPower).get(), uiPower);
    }
}

TEST(InternalHashMap, TheNextPowerOfTwoIsNotLess)
{
    EXPECT_EQ(InternalHashMapNoT::nextPowerOf2(3).get(), 4U);
    EXPECT_EQ(InternalHashMapNoT::nextPowerOf2(5).get(), 8U);
    EXPECT_EQ(InternalHashMapNoT::nextPowerOf2(1025).get(), 2048U);
    EXPECT_EQ(InternalHashMapNoT::nextPowerOf2((std::size_t{1} << 62) + 1).get(),
              std::size_t{1} << 63);
}

TEST(InternalHashMap, TheNextPowerOfTwoOfZeroIsZero)
{
    const auto result = InternalHashMapNoT::nextPowerOf2(0);
    EXPECT_TRUE(result.isValid());
    EXPECT_EQ(result.get(), 0U);
}

TEST(InternalHashMap, ThereIsNoPowerOfTwoAboveTheHighestBit)
{
    EXPECT_FALSE(InternalHashMapNoT::nextPowerOf2((std::size_t{1} << 63) + 1).isValid());
    EXPECT_FALSE(
        InternalHashMapNoT::nextPowerOf2(std::numeric_limits<std::size_t>::max()).isValid());
}

TEST(InternalHashMap, AddsNoFieldsToItsVector)
{
    EXPECT_EQ(sizeof(StringMap), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(StringMap), sizeof(LMVector<std::pair<std::string, int>>));
}

TEST(InternalHashMap, AnIteratorAddsAPointerToThatOfTheVector)
{
    EXPECT_EQ(sizeof(StringMap::iterator), 4 * sizeof(void*));
}

TEST(InternalHashMap, AnEntryOfCharacterAndPointerTakesSixteenBytes)
{
    EXPECT_EQ(sizeof(InternalHashMap<char, void*, LMHashFcn<char>>::value_type), 16U);
}

TEST(InternalHashMap, HasTheCapacityOfTheRule)
{
    EXPECT_EQ(IntMap(0).capacity(), 1U);
    EXPECT_EQ(IntMap(1).capacity(), 1U);
    EXPECT_EQ(IntMap(3).capacity(), 4U);
    EXPECT_EQ(IntMap(8).capacity(), 8U);
    EXPECT_EQ(IntMap(9).capacity(), 16U);
    EXPECT_EQ(IntMap(13).capacity(), 16U);
    EXPECT_EQ(IntMap(14).capacity(), 32U);
    EXPECT_EQ(IntMap(25).capacity(), 32U);
    EXPECT_EQ(IntMap(26).capacity(), 64U);
}

TEST(InternalHashMap, GrowsAtTheGivenElements)
{
    IntMap map(1);
    std::vector<std::pair<int, std::size_t>> growth;
    for (int iElement = 1; iElement <= 300; ++iElement)
    {
        const std::size_t uiBefore = map.capacity();
        map.insert(7 * iElement, 0);
        if (map.capacity() != uiBefore)
            growth.emplace_back(iElement, map.capacity());
    }
    EXPECT_THAT(growth, ElementsAre(Pair(2, 2), Pair(3, 4), Pair(5, 8), Pair(9, 16), Pair(14, 32),
                                    Pair(26, 64), Pair(52, 128), Pair(103, 256), Pair(206, 512)));
}

TEST(InternalHashMap, ASizeThatNoTableCanHaveIsReported)
{
    const CapturedLog log;
    IntMap map(1);
    map.insert(1, 10);
    map.reserve(std::numeric_limits<std::size_t>::max());
    EXPECT_EQ(map.capacity(), 1U);
    map.reserve((std::size_t{1} << 63) + 1);
    EXPECT_EQ(map.capacity(), 1U);
    const auto failed = failedAssertion("Fallible object used in invalid state", "Fallible",
                                        "keswardin.infra.Fallible");
    EXPECT_THAT(failedAssertions(log), ElementsAre(failed, failed));
    expectAllFound(map, {1});
}

TEST(InternalHashMap, ATableMadeWithAnImpossibleSizeHasNoSlotsAndServesAllTheSame)
{
    const CapturedLog log;
    IntMap map(std::numeric_limits<std::size_t>::max());
    EXPECT_EQ(failedAssertions(log).size(), 1U);
    EXPECT_EQ(map.capacity(), 0U);
    EXPECT_THAT(map.findIndex(3), Pair(0, false));
    EXPECT_EQ(map.begin(), map.end());
    EXPECT_THAT(map.insert(3, 30), Pair(0, true));
    EXPECT_EQ(map.capacity(), 1U);
    expectAllFound(map, {3});
}

TEST(InternalHashMap, UpToEightSlotsFillFromTheFirstWithoutHashing)
{
    InternalHashMap<int, int, NeverCalled> map(1);
    for (const int iKey : {5, 3, 900, -1, 17, 0, 2, 4})
        EXPECT_TRUE(map.insert(iKey, 0).second);
    EXPECT_EQ(map.capacity(), 8U);
    EXPECT_TRUE(map.findIndex(4).second);
    EXPECT_THAT(map.findIndex(77), Pair(8, false));
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 5), Pair(1, 3), Pair(2, 900), Pair(3, -1),
                                         Pair(4, 17), Pair(5, 0), Pair(6, 2), Pair(7, 4)));
}

TEST(InternalHashMap, TheNinthEntryScattersAllByHash)
{
    const IntMap map = mapOf({5, 3, 14, 18, 17, 0, 2, 4, 31});
    EXPECT_THAT(keysOf(map),
                ElementsAre(Pair(0, 0), Pair(1, 17), Pair(2, 18), Pair(3, 3), Pair(4, 2),
                            Pair(5, 5), Pair(6, 4), Pair(14, 14), Pair(15, 31)));
}

TEST(InternalHashMap, AMissGivesTheSlotWhereTheKeyWouldGo)
{
    const IntMap small = mapOf({5, 3, 14});
    EXPECT_THAT(small.findIndex(0), Pair(3, false));
    const IntMap large = mapOf16({4, 5, 20});
    EXPECT_THAT(large.findIndex(36), Pair(7, false));
    EXPECT_THAT(large.findIndex(0), Pair(0, false));
}

TEST(InternalHashMap, ASearchGoesOnAtTheFirstSlot)
{
    const IntMap map = mapOf16({15, 31, 47});
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 31), Pair(1, 47), Pair(15, 15)));
    EXPECT_THAT(map.findIndex(47), Pair(1, true));
    EXPECT_THAT(map.findIndex(63), Pair(2, false));
}

TEST(InternalHashMap, ASearchOfAFullLargeTableEndsWithItsCapacity)
{
    IntMap map(8);
    for (int iKey = 0; iKey != 8; ++iKey)
        map.insert(iKey, 10 * iKey);
    map.resize(9);
    EXPECT_EQ(map.capacity(), 9U);
    map.emplace(8, 8, 80);
    EXPECT_THAT(map.findIndex(13), Pair(9, false));
    EXPECT_THAT(map.findIndex(8), Pair(8, true));
    map.insert(13, 130);
    EXPECT_EQ(map.capacity(), 16U);
    expectAllFound(map, {0, 1, 2, 3, 4, 5, 6, 7, 8, 13});
}

TEST(InternalHashMap, ACapacityThatIsNoPowerOfTwoDividesTheHash)
{
    IntMap map(1);
    map.resize(11);
    EXPECT_THAT(map.insert(26, 260), Pair(4, true));
    EXPECT_THAT(map.insert(10, 100), Pair(10, true));
    EXPECT_THAT(map.insert(21, 210), Pair(0, true));
    expectAllFound(map, {10, 21, 26});
}

TEST(InternalHashMap, ANegativeCharacterHashesToAVeryLargeNumber)
{
    CharMap map(9);
    map.insert('\xFF', 1);
    map.insert('\x80', 2);
    EXPECT_THAT(map.findIndex('\xFF'), Pair(0xFFFFFFFFFFFFFFFFU % 16, true));
    EXPECT_THAT(map.findIndex('\x80'), Pair(0, true));
    CharMap odd(1);
    odd.resize(11);
    odd.insert('\xFF', 1);
    EXPECT_THAT(odd.findIndex('\xFF'), Pair(0xFFFFFFFFFFFFFFFFU % 11, true));
}

TEST(InternalHashMap, InsertingAKeyThatIsThereLeavesItsDataAlone)
{
    IntMap map = mapOf({5, 3});
    EXPECT_THAT(map.insert(3, 99), Pair(1, false));
    expectAllFound(map, {5, 3});
}

TEST(InternalHashMap, ReserveGrowsToTheRule)
{
    IntMap map = mapOf({5, 3});
    map.reserve(9);
    EXPECT_EQ(map.capacity(), 16U);
    map.reserve(2);
    EXPECT_EQ(map.capacity(), 16U);
    expectAllFound(map, {3, 5});
}

TEST(InternalHashMap, ResizeToFewerSlotsPlacesTheEntriesAgainInThePresentSlots)
{
    IntMap map = mapOf({5, 3, 7});
    eraseKey(map, 5);
    map.resize(1);
    EXPECT_EQ(map.capacity(), 4U);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 3), Pair(1, 7)));
}

TEST(InternalHashMap, ARehashHoldsTheFormerBlockTwiceAndTheNewOneOnce)
{
    inAccountingProcess(
        []
        {
            IntMap map = mapOf({1, 2, 3, 4, 5, 6, 7, 8});
            map.insert(9, 90);
            EXPECT_EQ(bytesHeld("LMVector<T>"), 16 * 8 + 11);
            EXPECT_EQ(mostBytesHeld("LMVector<T>"), 16 * 8 + 11 + 2 * (8 * 8 + 10));
        });
}

TEST(InternalHashMap, ARehashMovesTexts)
{
    StringMap map(1);
    map.insert("a text that is too long for the string object itself", 1);
    const char* const pText = map.slot(0).first.data();
    map.insert("other", 2);
    EXPECT_EQ(map.capacity(), 2U);
    EXPECT_EQ(map.slot(0).first.data(), pText);
}

TEST(InternalHashMap, TheEntryToInsertMayBeOneOfTheTableThatGrows)
{
    InternalHashMap<std::string, std::string, LMHashFcn<std::string>> map(1);
    const std::string strLong = "a text that is too long for the string object itself";
    map.insert("key", strLong);
    map.insert("other", map.slot(0).second);
    EXPECT_EQ(map.capacity(), 2U);
    map.insert(map.slot(1).second, map.slot(0).first);
    EXPECT_EQ(map.capacity(), 4U);
    EXPECT_EQ(map.slot(1), std::pair(std::string("other"), strLong));
    EXPECT_EQ(map.slot(2), std::pair(strLong, std::string("key")));
}

TEST(InternalHashMap, AStringIsLookedUpByAView)
{
    StringMap map(1);
    map.insert("key", 1);
    EXPECT_THAT(map.findIndex(std::string_view("keyhole").substr(0, 3)), Pair(0, true));
    EXPECT_THAT(map.findIndex(std::string("key")), Pair(0, true));
    EXPECT_FALSE(map.findIndex("keyhole").second);
}

TEST(InternalHashMap, TextsOfEachLengthAreDistinguishedByEachCharacter)
{
    for (std::size_t uiLength = 0; uiLength != 40; ++uiLength)
    {
        const std::string strText(uiLength, 'x');
        StringMap map(1);
        map.insert(strText, 1);
        EXPECT_TRUE(map.findIndex(strText).second);
        EXPECT_FALSE(map.findIndex(strText + 'x').second);
        for (std::size_t i = 0; i != uiLength; ++i)
        {
            std::string strOther = strText;
            strOther[i] = 'y';
            EXPECT_FALSE(map.findIndex(strOther).second) << strOther;
        }
    }
}

TEST(InternalHashMap, ACopyHasTheSameSlots)
{
    IntMap map = mapOf({5, 3, 14, 18, 17, 0, 2, 4, 31});
    const IntMap copy(map);
    EXPECT_EQ(keysOf(copy), keysOf(map));
    EXPECT_EQ(copy.capacity(), 16U);
    map.insert(100, 1000);
    EXPECT_FALSE(copy.findIndex(100).second);
}

TEST(InternalHashMap, ErasingTheEndHasNoEffect)
{
    IntMap map = mapOf({5, 3});
    map.erase(map.end());
    expectAllFound(map, {5, 3});
}

TEST(InternalHashMap, ErasingFromAListMovesWhatFollowsDown)
{
    IntMap map = mapOf({5, 3, 14, 18});
    eraseKey(map, 3);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 5), Pair(1, 14), Pair(2, 18)));
    expectAllFound(map, {5, 14, 18});
}

TEST(InternalHashMap, ErasingFromAFullListMovesWhatFollowsDown)
{
    IntMap map = mapOf({5, 3, 14, 18});
    eraseKey(map, 18);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 5), Pair(1, 3), Pair(2, 14)));
    map.insert(18, 180);
    eraseKey(map, 5);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 3), Pair(1, 14), Pair(2, 18)));
}

TEST(InternalHashMap, AnEntryInItsOwnSlotStaysWhenOneBeforeItIsErased)
{
    IntMap map = mapOf16({4, 5, 20, 7});
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(4, 4), Pair(5, 5), Pair(6, 20), Pair(7, 7)));
    eraseKey(map, 4);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(4, 20), Pair(5, 5), Pair(7, 7)));
    expectAllFound(map, {5, 7, 20});
}

TEST(InternalHashMap, ErasingInAClusterThatWrapsKeepsTheEntriesAtTheBottomReachable)
{
    IntMap map = mapOf16({14, 15, 30, 31, 46, 0});
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 30), Pair(1, 31), Pair(2, 46), Pair(3, 0),
                                         Pair(14, 14), Pair(15, 15)));
    eraseKey(map, 14);
    EXPECT_THAT(keysOf(map),
                ElementsAre(Pair(0, 31), Pair(1, 46), Pair(2, 0), Pair(14, 30), Pair(15, 15)));
    expectAllFound(map, {0, 15, 30, 31, 46});
    eraseKey(map, 15);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 46), Pair(1, 0), Pair(14, 30), Pair(15, 31)));
    expectAllFound(map, {0, 30, 31, 46});
}

TEST(InternalHashMap, ErasingTheLastSlotLooksAtTheFirst)
{
    IntMap map = mapOf16({15, 31, 1});
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 31), Pair(1, 1), Pair(15, 15)));
    eraseKey(map, 15);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(1, 1), Pair(15, 31)));
}

TEST(InternalHashMap, ErasingAtTheBottomOfAClusterThatWrapsLeavesTheTopAlone)
{
    IntMap map = mapOf16({14, 15, 30, 31, 46});
    eraseKey(map, 30);
    EXPECT_THAT(keysOf(map), ElementsAre(Pair(0, 31), Pair(1, 46), Pair(14, 14), Pair(15, 15)));
    expectAllFound(map, {14, 15, 31, 46});
}

TEST(InternalHashMap, ErasingFromAFullLargeTableKeepsAllReachable)
{
    for (int iErased = 0; iErased != 9; ++iErased)
    {
        IntMap map(8);
        std::vector<int> keys;
        for (int iKey = 0; iKey != 8; ++iKey)
            map.insert(4 * iKey, 40 * iKey);
        map.resize(9);
        map.emplace(map.findIndex(100).first, 100, 1000);
        for (auto iter = map.begin(); iter != map.end(); ++iter)
            keys.push_back(iter.key());
        eraseKey(map, keys[static_cast<std::size_t>(iErased)]);
        keys.erase(keys.begin() + iErased);
        expectAllFound(map, keys);
    }
}

TEST(InternalHashMap, ErasingDestroysKeyAndData)
{
    using Key = Fragile<Moves::SAFELY>;
    InternalHashMap<Key, Key, FragileHash<Moves::SAFELY>> map(4);
    for (const int i : {1, 2, 3})
        map.insert(i, 10 * i);
    EXPECT_EQ(Key::s_iLive, 6);
    map.erase(map.begin());
    EXPECT_EQ(Key::s_iLive, 4);
    EXPECT_EQ(map.slot(0).first.value(), 2);
    EXPECT_EQ(map.slot(0).second.value(), 20);
    EXPECT_EQ(map.slot(1).second.value(), 30);
}

namespace
{

template <class MovesType>
class InternalHashMapOfFragile : public testing::Test
{
  public:
    using Element = Fragile<MovesType::value>;
    using Map = InternalHashMap<Element, Element, FragileHash<MovesType::value>>;

    /// Inserts the given number of entries, whose keys collide in the last slots of a table of 16.
    void fill(int in_iEntries)
    {
        Map map(1);
        for (int i = 0; i != in_iEntries; ++i)
            map.insert(keyOf(i), i);
        m_map = std::move(map);
        m_before = content();
        m_iBytes = bytesHeld("LMVector<T>");
    }
    static int keyOf(int in_iNumber) { return 13 + 8 * in_iNumber; }

    /// Returns the slot, key and data of each entry.
    std::vector<std::vector<int>> content() const
    {
        std::vector<std::vector<int>> result;
        for (auto iter = m_map.begin(); iter != m_map.end(); ++iter)
            result.push_back(
                {static_cast<int>(m_map.indexOf(iter)), iter.key().value(), iter.data().value()});
        return result;
    }
    void expectUnchanged() const
    {
        ASSERT_EQ(content(), m_before);
        expectNoLeak(m_before.size());
        ASSERT_EQ(bytesHeld("LMVector<T>"), m_iBytes);
    }
    void expectNoLeak(std::size_t in_uiEntries) const
    {
        ASSERT_EQ(Element::s_iLive, static_cast<int>(2 * in_uiEntries));
    }
    int countFailures(int in_iEntries, const std::function<void()>& in_work)
    {
        return failAtEveryStep([=, this] { fill(in_iEntries); }, in_work,
                               [this] { expectUnchanged(); });
    }

    Map m_map{1};
    std::vector<std::vector<int>> m_before;
    int m_iBytes = 0;
};

using BothMoves = testing::Types<std::integral_constant<Moves, Moves::AS_COPIES>,
                                 std::integral_constant<Moves, Moves::SAFELY>>;
TYPED_TEST_SUITE(InternalHashMapOfFragile, BothMoves);

} // namespace

TYPED_TEST(InternalHashMapOfFragile, AFailedResizeChangesNothing)
{
    constexpr bool bMayFail = TypeParam::value == Moves::AS_COPIES;
    inAccountingProcess(
        [this]
        {
            for (const int iEntries : {1, 3, 8, 12})
            {
                const int iFailures =
                    this->countFailures(iEntries, [this] { this->m_map.resize(64); });
                EXPECT_TRUE(bMayFail ? iFailures >= 4 * iEntries : iFailures == 0) << iFailures;
                EXPECT_EQ(this->m_map.size(), static_cast<std::size_t>(iEntries));
            }
        });
}

TYPED_TEST(InternalHashMapOfFragile, AFailedInsertionLosesNothing)
{
    inAccountingProcess(
        [this]
        {
            for (const int iEntries : {1, 3, 4, 8, 12, 13})
            {
                const int iKey = this->keyOf(iEntries);
                const auto before = [=, this] { this->fill(iEntries); };
                const auto insert = [=, this] { this->m_map.insert(iKey, iEntries); };
                const auto after = [=, this]
                {
                    this->expectNoLeak(static_cast<std::size_t>(iEntries));
                    for (int i = 0; i != iEntries; ++i)
                        ASSERT_TRUE(this->m_map.findIndex(this->keyOf(i)).second);
                    ASSERT_FALSE(this->m_map.findIndex(iKey).second);
                };
                EXPECT_GE(failAtEveryStep(before, insert, after), 4);
                EXPECT_TRUE(this->m_map.findIndex(iKey).second);
            }
        });
}

TYPED_TEST(InternalHashMapOfFragile, AFailedEraseChangesNothing)
{
    constexpr bool bMayFail = TypeParam::value == Moves::AS_COPIES;
    inAccountingProcess(
        [this]
        {
            for (const int iEntries : {1, 3, 8, 12})
            {
                const auto erase = [this] { this->m_map.erase(this->m_map.begin()); };
                const int iFailures = this->countFailures(iEntries, erase);
                EXPECT_TRUE(bMayFail ? iFailures >= 2 * iEntries : iFailures == 0) << iFailures;
                this->expectNoLeak(static_cast<std::size_t>(iEntries - 1));
                for (std::size_t i = 1; i != this->m_before.size(); ++i)
                    EXPECT_TRUE(this->m_map.findIndex(this->m_before[i][1]).second);
            }
        });
}

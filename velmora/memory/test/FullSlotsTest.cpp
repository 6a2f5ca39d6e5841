// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/FullSlots.h"

#include "velmora/memory/InternalHashMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// A key that counts how often keys are compared, and whose hash is its number.
struct CountedKey
{
    std::size_t uiNumber = 0;
    static inline std::size_t s_uiComparisons = 0;
    friend bool operator==(const CountedKey& in_left, const CountedKey& in_right) noexcept
    {
        ++s_uiComparisons;
        return in_left.uiNumber == in_right.uiNumber;
    }
};

struct NumberHash
{
    std::size_t operator()(const CountedKey& in_key) const noexcept { return in_key.uiNumber; }
};

/// Hashes that follow each other, several keys for each.
struct CrowdedHash
{
    std::size_t operator()(const CountedKey& in_key) const noexcept { return in_key.uiNumber / 4; }
};

/// Returns the keys of a table by slot, with the slot's number.
template <class Map>
std::vector<std::pair<std::size_t, std::size_t>> slotsOf(const Map& in_map)
{
    std::vector<std::pair<std::size_t, std::size_t>> slots;
    for (std::size_t i = 0; i != in_map.capacity(); ++i)
        if (in_map.isValid(i))
            slots.emplace_back(i, in_map.slot(i).first.uiNumber);
    return slots;
}

} // namespace

TEST(FullSlots, FindsTheSlotThatASearchOfEachSlotFinds)
{
    std::mt19937 random(7);
    for (const std::size_t uiCapacity : {64U, 128U, 4096U, 8192U, 524288U})
    {
        FullSlots full;
        full.reset(uiCapacity);
        std::vector<bool> bitmap(uiCapacity);
        std::uniform_int_distribution<std::size_t> anySlot(0, uiCapacity - 1);
        for (std::size_t i = 0; i != std::min<std::size_t>(uiCapacity, 10000); ++i)
        {
            // From a few places, so that long runs of full slots arise.
            const std::size_t uiFrom = anySlot(random) / (uiCapacity / 8) * (uiCapacity / 8);
            std::size_t uiExpected = uiFrom;
            while (uiExpected != uiCapacity && bitmap[uiExpected])
                ++uiExpected;
            if (uiExpected == uiCapacity)
                for (uiExpected = 0; uiExpected != uiCapacity && bitmap[uiExpected];)
                    ++uiExpected;
            ASSERT_EQ(uiExpected, full.firstEmpty(uiFrom)) << uiCapacity << " from " << uiFrom;
            if (uiExpected == uiCapacity)
                break;
            bitmap[uiExpected] = true;
            full.fill(uiExpected);
        }
    }
}

TEST(FullSlots, ReturnsTheCapacityIfAllAreFull)
{
    FullSlots full;
    full.reset(128);
    for (std::size_t i = 0; i != 128; ++i)
    {
        EXPECT_EQ(i, full.firstEmpty(0));
        full.fill(i);
    }
    EXPECT_EQ(128U, full.firstEmpty(0));
    EXPECT_EQ(128U, full.firstEmpty(127));
}

TEST(FullSlots, BeginsAgainAtTheFirstSlot)
{
    FullSlots full;
    full.reset(64);
    for (std::size_t i = 60; i != 64; ++i)
        full.fill(i);
    full.fill(0);
    EXPECT_EQ(1U, full.firstEmpty(62));
}

TEST(FullSlots, HasNoCapacityBeforeItIsReset) { EXPECT_EQ(0U, FullSlots().capacity()); }

TEST(InternalHashMapAbsent, PlacesKeysInTheSlotsThatInsertChooses)
{
    InternalHashMap<CountedKey, int, CrowdedHash> inserted(1);
    InternalHashMap<CountedKey, int, CrowdedHash> absent(1);
    FullSlots full;
    for (std::size_t i = 0; i != 3000; ++i)
    {
        const std::size_t uiSlot = inserted.insert({i * 3}, static_cast<int>(i)).first;
        ASSERT_EQ(uiSlot, absent.insertAbsent({i * 3}, static_cast<int>(i), full)) << i;
    }
    EXPECT_EQ(slotsOf(inserted), slotsOf(absent));
    EXPECT_EQ(inserted.capacity(), absent.capacity());
}

TEST(InternalHashMapAbsent, ComparesNoKeysInALargeTable)
{
    InternalHashMap<CountedKey, int, CrowdedHash> map(1);
    FullSlots full;
    for (std::size_t i = 0; i != 100; ++i)
        map.insertAbsent({i}, 0, full);
    CountedKey::s_uiComparisons = 0;
    for (std::size_t i = 100; i != 10000; ++i)
        map.insertAbsent({i}, 0, full);
    EXPECT_EQ(0U, CountedKey::s_uiComparisons);
    EXPECT_EQ(10000U, map.size());
}

TEST(InternalHashMapAbsent, ATableThatGrowsComparesNoKeys)
{
    InternalHashMap<CountedKey, int, NumberHash> map(1);
    for (std::size_t i = 0; i != 1000; ++i)
        map.insert({i}, 0);
    CountedKey::s_uiComparisons = 0;
    map.resize(1U << 14);
    EXPECT_EQ(0U, CountedKey::s_uiComparisons);
    for (std::size_t i = 0; i != 1000; ++i)
        EXPECT_TRUE(map.findIndex({i}).second) << i;
}

TEST(InternalHashMapAbsent, ATableWhoseSizeIsNoPowerOfTwoIsSearched)
{
    InternalHashMap<CountedKey, int, NumberHash> map(1);
    map.resize(100);
    FullSlots full;
    for (std::size_t i = 0; i != 50; ++i)
        EXPECT_EQ(i, map.insertAbsent({i + 100}, 0, full));
    EXPECT_EQ(50U, map.insertAbsent({0}, 0, full)) << "behind the 50 others";
}

} // namespace Velmora::Test

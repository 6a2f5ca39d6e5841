// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora
{

/// Finds the first empty slot of a large hash table behind a given one without a look at each slot
/// between them. It keeps a copy of the table's bitmap with floors above it: a bit of a floor
/// stands for a word of the floor below, and is set if that word is full. A search climbs until a
/// word has a clear bit and descends to it, so its steps grow with the logarithm of the size.
///
/// A key that is known to be absent is placed with it: keys that follow each other, such as
/// numbers, have hashes that follow each other, and a search that compares keys would pass all of
/// them.
///
/// Thread-safety: as the table.
class FullSlots
{
  public:
    /// Tables with fewer slots are searched directly.
    static constexpr std::size_t s_uiFewestSlots = 64;

    /// Makes all slots empty. The capacity is a power of two, not below `s_uiFewestSlots`.
    /// Failure: throws `std::bad_alloc`.
    void reset(std::size_t in_uiCapacity)
    {
        std::vector<Floor> floors;
        std::size_t uiBits = in_uiCapacity;
        do
        {
            const std::size_t uiWords = (uiBits + s_uiBits - 1) / s_uiBits;
            floors.emplace_back(uiWords, 0);
            // The bits behind the last one stand for nothing, and are never clear.
            if (uiBits % s_uiBits != 0)
                floors.back().back() = ~std::uint64_t{0} << uiBits % s_uiBits;
            uiBits = uiWords;
        } while (uiBits > 1);
        m_floors.swap(floors);
        m_uiCapacity = in_uiCapacity;
    }

    /// Returns the capacity of the last `reset`; 0 before the first.
    [[nodiscard]] std::size_t capacity() const { return m_uiCapacity; }

    void fill(std::size_t in_uiSlot) noexcept
    {
        for (Floor& floor : m_floors)
        {
            std::uint64_t& uiWord = floor[in_uiSlot / s_uiBits];
            uiWord |= std::uint64_t{1} << in_uiSlot % s_uiBits;
            if (~uiWord != 0)
                return;
            in_uiSlot /= s_uiBits;
        }
    }

    /// Returns the first empty slot that is not before the given one, or else the first of all; the
    /// capacity if all are full.
    [[nodiscard]] std::size_t firstEmpty(std::size_t in_uiSlot) const noexcept
    {
        const std::size_t uiBehind = firstEmptyBehind(in_uiSlot);
        return uiBehind != m_uiCapacity || in_uiSlot == 0 ? uiBehind : firstEmptyBehind(0);
    }

    /// Returns the memory that the floors take, in bytes.
    [[nodiscard]] std::size_t memory() const
    {
        std::size_t uiWords = 0;
        for (const Floor& floor : m_floors)
            uiWords += floor.capacity();
        return uiWords * sizeof(std::uint64_t) + m_floors.capacity() * sizeof(Floor);
    }

  private:
    using Floor = std::vector<std::uint64_t>;

    static constexpr std::size_t s_uiBits = 64;

    [[nodiscard]] std::size_t firstEmptyBehind(std::size_t in_uiSlot) const noexcept
    {
        std::size_t uiBit = in_uiSlot;
        for (std::size_t uiFloor = 0; uiFloor != m_floors.size(); ++uiFloor)
        {
            const Floor& floor = m_floors[uiFloor];
            const std::size_t uiWord = uiBit / s_uiBits;
            if (uiWord >= floor.size())
                return m_uiCapacity;
            const std::uint64_t uiClear = ~floor[uiWord] & (~std::uint64_t{0} << uiBit % s_uiBits);
            if (uiClear != 0)
                return descend(uiFloor, uiWord * s_uiBits + firstBit(uiClear));
            uiBit = uiWord + 1;
        }
        return m_uiCapacity;
    }

    /// Returns the first empty slot below a clear bit of a floor.
    [[nodiscard]] std::size_t descend(std::size_t in_uiFloor, std::size_t in_uiBit) const noexcept
    {
        while (in_uiFloor-- != 0)
            in_uiBit = in_uiBit * s_uiBits + firstBit(~m_floors[in_uiFloor][in_uiBit]);
        return in_uiBit;
    }

    static std::size_t firstBit(std::uint64_t in_uiWord) noexcept
    {
        return static_cast<std::size_t>(std::countr_zero(in_uiWord));
    }

    /// The lowest floor is the bitmap of the table.
    std::vector<Floor> m_floors;
    std::size_t m_uiCapacity = 0;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Fallible.h"
#include "velmora/memory/FullSlots.h"
#include "velmora/memory/LMVector.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Velmora
{

/// The part of the hash tables that does not depend on template parameters.
class VELMORA_API InternalHashMapNoT
{
  public:
    /// Returns the smallest power of two that is not less than `in_uiNumber`; 0 for 0.
    /// Failure: returns no value for a number above 2 to the power 63.
    static Fallible<std::size_t> nextPowerOf2(std::size_t in_uiNumber);

    /// A table of up to this many slots is a list: it is searched from its beginning, without
    /// hashing.
    static constexpr std::size_t s_uiMaxListCapacity = 8;

  protected:
    /// Returns the number of slots that the given number of elements needs, before rounding up.
    /// Above 8 elements, a fifth of the slots stays empty.
    static std::size_t slotsFor(std::size_t in_uiNumElements)
    {
        return in_uiNumElements <= s_uiMaxListCapacity ? in_uiNumElements
                                                       : slotsForMany(in_uiNumElements);
    }

    /// Returns the same number, rounded up to a power of two.
    static std::size_t capacityFor(std::size_t in_uiNumElements)
    {
        return nextPowerOf2(slotsFor(in_uiNumElements));
    }

    /// Returns whether two texts are equal. Short texts are compared without a call of `memcmp`:
    /// the first and the last word are compared, which may overlap.
    static bool isSameText(std::string_view in_left, std::string_view in_right) noexcept
    {
        const std::size_t uiSize = in_left.size();
        if (uiSize != in_right.size())
            return false;
        const char* const pLeft = in_left.data();
        const char* const pRight = in_right.data();
        if (uiSize > 16)
            return std::memcmp(pLeft, pRight, uiSize) == 0;
        if (uiSize >= 8)
            return isSameWord<std::uint64_t>(pLeft, pRight) &&
                   isSameWord<std::uint64_t>(pLeft + uiSize - 8, pRight + uiSize - 8);
        if (uiSize >= 4)
            return isSameWord<std::uint32_t>(pLeft, pRight) &&
                   isSameWord<std::uint32_t>(pLeft + uiSize - 4, pRight + uiSize - 4);
        return uiSize == 0 || (pLeft[0] == pRight[0] && pLeft[uiSize / 2] == pRight[uiSize / 2] &&
                               pLeft[uiSize - 1] == pRight[uiSize - 1]);
    }

  private:
    template <class Word>
    static bool isSameWord(const char* in_pLeft, const char* in_pRight) noexcept
    {
        Word left = 0;
        Word right = 0;
        std::memcpy(&left, in_pLeft, sizeof(Word));
        std::memcpy(&right, in_pRight, sizeof(Word));
        return left == right;
    }

    static std::size_t slotsForMany(std::size_t in_uiNumElements);
};

/// An iterator of a hash table: an entry or the end. A default-constructed iterator is the end of a
/// map without a table. `Map` and `Entry` are const for a table that is only read.
///
/// Any insertion or removal invalidates it.
template <class Map, class Entry>
class VELMORA_API InternalHashMapIterator : public LMVectorIterator<Entry>
{
  public:
    InternalHashMapIterator() = default;
    InternalHashMapIterator(Map* in_pMap, const LMVectorIterator<Entry>& in_slot)
        : LMVectorIterator<Entry>(in_slot), m_pMap(in_pMap)
    {
    }
    operator InternalHashMapIterator<const Map, const Entry>() const { return {m_pMap, *this}; }

    [[nodiscard]] const auto& key() const { return this->slot()->first; }
    [[nodiscard]] auto& data() const { return this->slot()->second; }

    /// Moves to the next entry. Must not be called at the end.
    InternalHashMapIterator& operator++()
    {
        m_pMap->increment(*this);
        return *this;
    }

  private:
    Map* m_pMap = nullptr;
};

/// A hash table in one block, without stored hashes, chains or tombstones: an `LMVector` of pairs
/// with linear probing. `H` computes the hash of a key; keys are compared by `==`. Code uses it
/// through `LMHashMap`.
///
/// A table of up to 8 slots is a list in order of insertion, which may be full. A larger table
/// keeps a fifth of its slots empty. The table grows by doubling when it gets element 2, 3, 5, 9,
/// 14, 26, 52, 103, 206 and so on. It never shrinks.
///
/// A key of type `std::string` is looked up by a `std::string_view` if `H` accepts one.
///
/// Ownership and thread-safety: as `LMVector`. While a table grows, two blocks of the old size and
/// one of the new size exist.
/// Failure: operations pass on the exceptions of keys, data and `H`. No entry is lost then: the
/// table holds the same entries as before at the same indices. After a failed insertion the table
/// may have grown, with its entries at other indices. For keys and data whose move may throw,
/// `erase` works on a copy of the table to keep this guarantee. A size that no table can have fails
/// the assertion of `Fallible`.
template <class K, class D, class H>
class VELMORA_API InternalHashMap : public LMVector<std::pair<K, D>>, public InternalHashMapNoT
{
    using Vector = LMVector<std::pair<K, D>>;

  public:
    using value_type = std::pair<K, D>;
    using iterator = InternalHashMapIterator<InternalHashMap, value_type>;
    using const_iterator = InternalHashMapIterator<const InternalHashMap, const value_type>;

    /// The type by which keys are looked up.
    using LookupKey = std::conditional_t<std::is_same_v<K, std::string> &&
                                             std::is_invocable_v<const H&, std::string_view>,
                                         std::string_view, const K&>;

    /// Constructs a table with room for `in_uiNumElements`, at least for one.
    explicit InternalHashMap(std::size_t in_uiNumElements)
        : Vector(capacityFor(std::max<std::size_t>(in_uiNumElements, 1)))
    {
    }

    /// Returns the slot of a key and true. Without such a key, returns the slot where it would be
    /// inserted, and false. A full table has no such slot; its capacity is returned instead.
    [[nodiscard]] std::pair<std::size_t, bool> findIndex(LookupKey in_key) const;

    /// Adds an entry if the table has no entry with that key. Returns the slot of the entry with
    /// that key, and whether it was added.
    std::pair<std::size_t, bool> insert(const K& in_key, const D& in_data);

    /// Adds an entry whose key the table must not have, and returns its slot, which is the one that
    /// `insert` would choose. The object must belong to this table: it is brought up to date here
    /// only, and other operations that add or remove entries must not be used with it.
    std::size_t insertAbsent(const K& in_key, const D& in_data, FullSlots& inout_full);

    /// Makes room for the given number of elements.
    void reserve(std::size_t in_uiNumElements);

    /// Moves all entries to a table of `in_uiCapacity` slots, or of the present capacity if that is
    /// larger, and places them again by their hashes.
    void resize(std::size_t in_uiCapacity);

    /// Removes an entry. Other entries may move to other slots. Does nothing at the end.
    void erase(const const_iterator& in_iterator);

    [[nodiscard]] iterator begin() { return {this, this->begin_valid()}; }
    [[nodiscard]] const_iterator begin() const { return {this, this->begin_valid()}; }
    [[nodiscard]] iterator end() { return {this, this->end_valid()}; }
    [[nodiscard]] const_iterator end() const { return {this, this->end_valid()}; }

    /// Returns the iterator of a slot that holds an entry.
    [[nodiscard]] iterator entryAt(std::size_t in_uiIndex)
    {
        return {this, this->iteratorAt(in_uiIndex)};
    }
    [[nodiscard]] const_iterator entryAt(std::size_t in_uiIndex) const
    {
        return {this, this->iteratorAt(in_uiIndex)};
    }

  private:
    /// Whether entries can move to other slots without an operation that may throw.
    static constexpr bool s_bMovesSafely =
        std::is_nothrow_move_constructible_v<value_type>&& noexcept(std::declval<const H&>()(
            std::declval<LookupKey>()))&& noexcept(std::declval<const K&>() ==
                                                   std::declval<LookupKey>());

    static bool isSameKey(const K& in_left, LookupKey in_right)
    {
        if constexpr (std::is_same_v<LookupKey, std::string_view>)
            return isSameText(in_left, in_right);
        else
            return in_left == in_right;
    }
    [[nodiscard]] std::pair<std::size_t, bool> findInList(LookupKey in_key) const;
    [[nodiscard]] std::pair<std::size_t, bool> findByHash(LookupKey in_key) const;

    /// Returns whether the table is so large that a key that it does not have is placed by
    /// `FullSlots`.
    [[nodiscard]] bool isLarge() const
    {
        return this->capacity() >= FullSlots::s_uiFewestSlots && isPowerOf2(this->capacity());
    }
    static bool isPowerOf2(std::size_t in_uiNumber)
    {
        return (in_uiNumber & (in_uiNumber - 1)) == 0;
    }
    /// Returns the first slot that a search for a key looks at.
    [[nodiscard]] std::size_t firstSlotOf(LookupKey in_key) const;

    /// Adds an entry. The table must have room for it and must not have its key.
    void place(value_type& inout_entry, FullSlots* inout_pFull);
    template <class... Args>
    std::size_t placeAbsent(FullSlots& inout_full, LookupKey in_key, Args&&... in_args);

    void eraseIndex(std::size_t in_uiIndex);

    /// Closes the gap that a removed entry left in front of this run of valid slots. Each entry
    /// that a search would no longer find moves to the empty slot at which its search ends. Returns
    /// true if the run ended before `in_uiEnd`, false if it may go on at slot 0.
    bool closeGap(std::size_t in_uiFirst, std::size_t in_uiEnd);
};

template <class K, class D, class H>
inline std::pair<std::size_t, bool> InternalHashMap<K, D, H>::findIndex(LookupKey in_key) const
{
    return this->capacity() <= s_uiMaxListCapacity ? findInList(in_key) : findByHash(in_key);
}

template <class K, class D, class H>
inline std::pair<std::size_t, bool> InternalHashMap<K, D, H>::findInList(LookupKey in_key) const
{
    // The valid bits of a list fit in one byte. The search ends at the first clear bit: the one of
    // the first empty slot, the one that follows the last slot of a full list, or after 8 slots the
    // zero that was shifted in.
    unsigned int uiValid = this->capacity() != 0 ? this->validOfFirstEight() : 0;
    std::size_t uiIndex = 0;
    for (; (uiValid & 1U) != 0; uiValid >>= 1U, ++uiIndex)
        if (isSameKey(this->slot(uiIndex).first, in_key))
            return {uiIndex, true};
    return {uiIndex, false};
}

template <class K, class D, class H>
std::pair<std::size_t, bool> InternalHashMap<K, D, H>::findByHash(LookupKey in_key) const
{
    const std::size_t uiCapacity = this->capacity();
    for (const std::size_t uiBegin : {firstSlotOf(in_key), std::size_t{0}})
        for (std::size_t i = uiBegin; i != uiCapacity; ++i)
        {
            if (!this->isValid(i))
                return {i, false};
            if (isSameKey(this->slot(i).first, in_key))
                return {i, true};
        }
    return {uiCapacity, false};
}

template <class K, class D, class H>
inline std::size_t InternalHashMap<K, D, H>::firstSlotOf(LookupKey in_key) const
{
    const std::size_t uiCapacity = this->capacity();
    const std::size_t uiHash = H()(in_key);
    // Sizes are powers of two unless the caller of `resize` chose another. A division would take
    // most of the time of the search.
    return isPowerOf2(uiCapacity) ? uiHash & (uiCapacity - 1) : uiHash % uiCapacity;
}

template <class K, class D, class H>
std::pair<std::size_t, bool> InternalHashMap<K, D, H>::insert(const K& in_key, const D& in_data)
{
    const std::pair<std::size_t, bool> found = findIndex(in_key);
    if (found.second)
        return {found.first, false};
    if (slotsFor(this->size() + 1) <= this->capacity())
    {
        this->emplace(found.first, in_key, in_data);
        return {found.first, true};
    }
    // `in_key` and `in_data` may refer to an entry of this table, which is about to move.
    value_type entry(in_key, in_data);
    reserve(this->size() + 1);
    const std::size_t uiIndex = findIndex(entry.first).first;
    this->emplace(uiIndex, std::move(entry));
    return {uiIndex, true};
}

template <class K, class D, class H>
std::size_t InternalHashMap<K, D, H>::insertAbsent(const K& in_key, const D& in_data,
                                                   FullSlots& inout_full)
{
    if (slotsFor(this->size() + 1) <= this->capacity())
        return placeAbsent(inout_full, in_key, in_key, in_data);
    // As in `insert`.
    value_type entry(in_key, in_data);
    reserve(this->size() + 1);
    return placeAbsent(inout_full, entry.first, std::move(entry));
}

template <class K, class D, class H>
template <class... Args>
std::size_t InternalHashMap<K, D, H>::placeAbsent(FullSlots& inout_full, LookupKey in_key,
                                                  Args&&... in_args)
{
    if (!isLarge())
    {
        const std::size_t uiIndex = findIndex(in_key).first;
        this->emplace(uiIndex, std::forward<Args>(in_args)...);
        return uiIndex;
    }
    if (inout_full.capacity() != this->capacity())
    {
        inout_full.reset(this->capacity());
        for (auto iter = this->begin_valid(); iter != this->end_valid(); this->increment(iter))
            inout_full.fill(this->indexOf(iter));
    }
    const std::size_t uiIndex = inout_full.firstEmpty(firstSlotOf(in_key));
    this->emplace(uiIndex, std::forward<Args>(in_args)...);
    inout_full.fill(uiIndex);
    return uiIndex;
}

template <class K, class D, class H>
void InternalHashMap<K, D, H>::reserve(std::size_t in_uiNumElements)
{
    if (const std::size_t uiCapacity = capacityFor(in_uiNumElements); uiCapacity > this->capacity())
        resize(uiCapacity);
}

template <class K, class D, class H>
void InternalHashMap<K, D, H>::resize(std::size_t in_uiCapacity)
{
    // The former entries are kept until all of them are placed, so that a throw restores the table.
    Vector former = s_bMovesSafely ? this->moveOut() : Vector(*this);
    try
    {
        this->clear();
        Vector::reserve(in_uiCapacity);
        FullSlots full;
        if (isLarge())
            full.reset(this->capacity());
        for (auto iter = former.begin_valid(); iter != former.end_valid(); former.increment(iter))
            place(*iter, isLarge() ? &full : nullptr);
    }
    catch (...)
    {
        this->swap(former);
        throw;
    }
}

template <class K, class D, class H>
void InternalHashMap<K, D, H>::erase(const const_iterator& in_iterator)
{
    if (in_iterator == std::as_const(*this).end())
        return;
    const std::size_t uiIndex = this->indexOf(in_iterator);
    if constexpr (s_bMovesSafely)
        eraseIndex(uiIndex);
    else
    {
        InternalHashMap rest(*this);
        rest.eraseIndex(uiIndex);
        this->swap(rest);
    }
}

template <class K, class D, class H>
void InternalHashMap<K, D, H>::place(value_type& inout_entry, FullSlots* inout_pFull)
{
    const std::size_t uiIndex = inout_pFull != nullptr
                                    ? inout_pFull->firstEmpty(firstSlotOf(inout_entry.first))
                                    : findIndex(inout_entry.first).first;
    if (inout_pFull != nullptr)
        inout_pFull->fill(uiIndex);
    if constexpr (s_bMovesSafely)
        this->emplace(uiIndex, std::move(inout_entry));
    else
        this->emplace(uiIndex, inout_entry);
}

template <class K, class D, class H>
void InternalHashMap<K, D, H>::eraseIndex(std::size_t in_uiIndex)
{
    this->invalidate(in_uiIndex);
    if (!closeGap(in_uiIndex + 1, this->capacity()))
        closeGap(0, this->capacity());
}

template <class K, class D, class H>
bool InternalHashMap<K, D, H>::closeGap(std::size_t in_uiFirst, std::size_t in_uiEnd)
{
    for (std::size_t i = in_uiFirst; i != in_uiEnd; ++i)
    {
        if (!this->isValid(i))
            return true;
        value_type& entry = this->slot(i);
        const std::pair<std::size_t, bool> found = findIndex(entry.first);
        if (found.second)
            continue;
        this->emplace(found.first, std::move(entry));
        this->invalidate(i);
    }
    return false;
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/AccountMemBlock.h"
#include "velmora/memory/SizeClasses.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Velmora
{

/// An iterator of an `LMVector`: a valid slot or the end. `T` is const for a vector that is only
/// read. It does not know where the vector ends, so `LMVector::increment` moves it on.
///
/// It is invalidated by an operation that empties its slot, and by one that moves or frees the
/// block. Operations on other slots of the same block leave it valid.
template <class T>
class VELMORA_API LMVectorIterator
{
  public:
    /// Constructs the end of a vector without a block.
    LMVectorIterator() = default;
    LMVectorIterator(T* in_pSlot, const unsigned char* in_pByte, unsigned char in_uiMask)
        : m_pSlot(in_pSlot), m_pByte(in_pByte), m_uiMask(in_uiMask)
    {
    }
    operator LMVectorIterator<const T>() const { return {m_pSlot, m_pByte, m_uiMask}; }

    T& operator*() const { return *m_pSlot; }
    T* operator->() const { return m_pSlot; }
    [[nodiscard]] T* slot() const { return m_pSlot; }

    friend bool operator==(const LMVectorIterator& in_left, const LMVectorIterator& in_right)
    {
        return in_left.m_pSlot == in_right.m_pSlot;
    }

    /// Moves on to the next valid slot before `in_pEnd`, or to `in_pEnd`. Must not be called at the
    /// end.
    void increment(const T* in_pEnd)
    {
        do
            moveOn();
        while (m_pSlot != in_pEnd && !isValid());
    }

    /// Returns whether the bit of the slot is set. One more bit follows the last slot; it is always
    /// clear.
    [[nodiscard]] bool isValid() const { return (*m_pByte & m_uiMask) != 0; }

  private:
    void moveOn()
    {
        ++m_pSlot;
        m_pByte += m_uiMask >> 7;
        m_uiMask = static_cast<unsigned char>(m_uiMask << 1 | m_uiMask >> 7);
    }

    T* m_pSlot = nullptr;
    /// The byte of the bitmap with the bit of the slot, and the mask of that bit.
    const unsigned char* m_pByte = nullptr;
    unsigned char m_uiMask = 0;
};

/// An array of slots, each of which holds an element or is empty. The elements and a bitmap of the
/// valid slots are in one block. The number of slots changes only by `reserve` and `destroy`. An
/// element keeps its index as long as it exists. A vector without slots has no block.
///
/// The block holds the slots, the number of valid ones as 64 bits, and one bit for each slot,
/// rounded up so that at least one bit follows the last. It takes `capacity * sizeof(T) + capacity
/// / 8 + 9` bytes. The number is directly behind the slots, aligned or not.
///
/// Elements must not need an alignment above 8. Their destructors must not throw.
///
/// Ownership: owns its elements and its block, which is charged to the account "LMVector<T>".
/// Failure: throws `std::bad_alloc` when there is no memory. An exception of an element's
/// constructor leaves the operation, and the vector is unchanged. (If an element cannot be copied
/// and its move throws, `reserve` leaves the vector with elements that were moved from.)
/// Thread-safety: none; belongs to one thread at a time, or to an owner that guards it.
template <class T>
class VELMORA_API LMVector
{
    static_assert(alignof(T) <= SizeClasses::s_ulGranule,
                  "blocks of memory are aligned to 8 bytes");

  public:
    using value_type = T;
    using iterator = LMVectorIterator<T>;
    using const_iterator = LMVectorIterator<const T>;

    LMVector() = default;

    /// Constructs empty slots.
    explicit LMVector(std::size_t in_uiCapacity);

    /// Copies each element to the same index of a block of the same size.
    LMVector(const LMVector& in_vector) : LMVector(in_vector.m_uiCapacity)
    {
        copySlotsOf(in_vector);
    }

    /// Takes over the block and leaves the other vector without one.
    LMVector(LMVector&& in_vector) noexcept { swap(in_vector); }

    LMVector& operator=(LMVector in_vector) noexcept
    {
        swap(in_vector);
        return *this;
    }
    ~LMVector() { destroy(); }

    void swap(LMVector& inout_vector) noexcept
    {
        std::swap(m_pSlots, inout_vector.m_pSlots);
        std::swap(m_uiCapacity, inout_vector.m_uiCapacity);
    }

    /// Returns the number of slots.
    [[nodiscard]] std::size_t capacity() const { return m_uiCapacity; }

    /// Returns the number of valid slots.
    [[nodiscard]] std::size_t size() const { return m_uiCapacity != 0 ? getCount() : 0; }
    [[nodiscard]] bool empty() const { return size() == 0; }

    /// Returns whether a slot below the capacity holds an element.
    [[nodiscard]] bool isValid(std::size_t in_uiIndex) const
    {
        return (bitmap()[in_uiIndex / 8] >> (in_uiIndex % 8) & 1U) != 0;
    }

    /// Returns the element of a slot, and default-constructs one in an empty slot. The index is not
    /// checked and must be below the capacity.
    T& operator[](std::size_t in_uiIndex)
    {
        return isValid(in_uiIndex) ? m_pSlots[in_uiIndex] : emplace(in_uiIndex);
    }

    /// Returns the element of a slot that holds one.
    [[nodiscard]] T& slot(std::size_t in_uiIndex) { return m_pSlots[in_uiIndex]; }
    [[nodiscard]] const T& slot(std::size_t in_uiIndex) const { return m_pSlots[in_uiIndex]; }

    /// Constructs an element in an empty slot.
    template <class... Args>
    T& emplace(std::size_t in_uiIndex, Args&&... in_args);

    /// Destroys the element of a slot that holds one.
    void invalidate(std::size_t in_uiIndex);

    /// Iterate over the valid slots in ascending order:
    ///
    ///     for (auto iter = vector.begin_valid(); iter != vector.end_valid();
    ///          vector.increment(iter))
    [[nodiscard]] iterator begin_valid() { return begin_i<iterator>(m_pSlots); }
    [[nodiscard]] const_iterator begin_valid() const { return begin_i<const_iterator>(m_pSlots); }
    [[nodiscard]] iterator end_valid() { return iteratorAt_i<iterator>(m_pSlots, m_uiCapacity); }
    [[nodiscard]] const_iterator end_valid() const
    {
        return iteratorAt_i<const_iterator>(m_pSlots, m_uiCapacity);
    }

    /// Moves an iterator to the next valid slot. It must not be at the end.
    void increment(iterator& inout_iterator) const { inout_iterator.increment(slotsEnd()); }
    void increment(const_iterator& inout_iterator) const { inout_iterator.increment(slotsEnd()); }

    /// Return the iterator of a slot, and the slot of an iterator.
    [[nodiscard]] iterator iteratorAt(std::size_t in_uiIndex)
    {
        return iteratorAt_i<iterator>(m_pSlots, in_uiIndex);
    }
    [[nodiscard]] const_iterator iteratorAt(std::size_t in_uiIndex) const
    {
        return iteratorAt_i<const_iterator>(m_pSlots, in_uiIndex);
    }
    [[nodiscard]] std::size_t indexOf(const const_iterator& in_iterator) const
    {
        return static_cast<std::size_t>(in_iterator.slot() - m_pSlots);
    }

    /// Makes room for at least `in_uiNewCapacity` slots; each element keeps its index. Never
    /// shrinks.
    void reserve(std::size_t in_uiNewCapacity);

    /// Destroys all elements and keeps the block.
    void clear();

    /// Destroys all elements and frees the block.
    void destroy();

  protected:
    /// Returns the bits of the first eight slots, the first slot in the lowest bit. There must be a
    /// slot.
    [[nodiscard]] unsigned char validOfFirstEight() const { return bitmap()[0]; }

    /// Returns a vector of the same size with all elements. This vector keeps the elements that
    /// were moved from, or the originals if a move may throw.
    [[nodiscard]] LMVector moveOut()
    {
        LMVector vector(m_uiCapacity);
        vector.moveSlotsOf(*this);
        return vector;
    }

  private:
    /// Copy or move the elements of another vector to the same indices of this one, which must be
    /// empty and at least as large.
    void copySlotsOf(const LMVector& in_vector);
    void moveSlotsOf(LMVector& inout_vector);

    static constexpr const char* s_szAccountName = "LMVector<T>";
    static constexpr std::size_t s_uiCountSize = sizeof(std::uint64_t);

    static constexpr std::size_t trailerSize(std::size_t in_uiCapacity)
    {
        return s_uiCountSize + (in_uiCapacity >> 3) + 1;
    }
    static constexpr std::size_t blockSize(std::size_t in_uiCapacity)
    {
        return in_uiCapacity * sizeof(T) + trailerSize(in_uiCapacity);
    }

    const T* slotsEnd() const { return m_pSlots + m_uiCapacity; }

    unsigned char* trailer() { return reinterpret_cast<unsigned char*>(m_pSlots + m_uiCapacity); }
    const unsigned char* trailer() const
    {
        return reinterpret_cast<const unsigned char*>(m_pSlots + m_uiCapacity);
    }
    const unsigned char* bitmap() const { return trailer() + s_uiCountSize; }

    std::uint64_t getCount() const
    {
        std::uint64_t uiCount = 0;
        std::memcpy(&uiCount, trailer(), sizeof(uiCount));
        return uiCount;
    }
    void setCount(std::uint64_t in_uiCount)
    {
        std::memcpy(trailer(), &in_uiCount, sizeof(in_uiCount));
    }

    template <class Iterator, class Slot>
    Iterator iteratorAt_i(Slot* in_pSlots, std::size_t in_uiIndex) const
    {
        if (m_uiCapacity == 0)
            return {};
        return {in_pSlots + in_uiIndex, bitmap() + in_uiIndex / 8,
                static_cast<unsigned char>(1U << in_uiIndex % 8)};
    }

    template <class Iterator, class Slot>
    Iterator begin_i(Slot* in_pSlots) const
    {
        Iterator iter = iteratorAt_i<Iterator>(in_pSlots, 0);
        if (m_uiCapacity != 0 && !iter.isValid())
            iter.increment(slotsEnd());
        return iter;
    }

    T* m_pSlots = nullptr;
    std::uint64_t m_uiCapacity = 0;
};

template <class T>
LMVector<T>::LMVector(std::size_t in_uiCapacity)
{
    if (in_uiCapacity == 0)
        return;
    // Half of the largest size leaves room for the count and the bitmap without an overflow.
    if (in_uiCapacity > (std::numeric_limits<std::size_t>::max() >> 1) / sizeof(T)) [[unlikely]]
        throw std::bad_alloc();
    AccountMemBlock block(blockSize(in_uiCapacity), s_szAccountName);
    m_pSlots = static_cast<T*>(block.get());
    m_uiCapacity = in_uiCapacity;
    // The slots stay uninitialised; count and bitmap say that all are empty.
    std::memset(trailer(), 0, trailerSize(in_uiCapacity));
    block.release();
}

template <class T>
template <class... Args>
T& LMVector<T>::emplace(std::size_t in_uiIndex, Args&&... in_args)
{
    T* const pSlot =
        ::new (static_cast<void*>(m_pSlots + in_uiIndex)) T(std::forward<Args>(in_args)...);
    unsigned char& byte = trailer()[s_uiCountSize + in_uiIndex / 8];
    byte = static_cast<unsigned char>(byte | 1U << in_uiIndex % 8);
    setCount(getCount() + 1);
    return *pSlot;
}

template <class T>
void LMVector<T>::invalidate(std::size_t in_uiIndex)
{
    unsigned char& byte = trailer()[s_uiCountSize + in_uiIndex / 8];
    byte = static_cast<unsigned char>(byte & ~(1U << in_uiIndex % 8));
    setCount(getCount() - 1);
    std::destroy_at(m_pSlots + in_uiIndex);
}

template <class T>
void LMVector<T>::reserve(std::size_t in_uiNewCapacity)
{
    if (in_uiNewCapacity <= m_uiCapacity)
        return;
    LMVector larger(in_uiNewCapacity);
    larger.moveSlotsOf(*this);
    swap(larger);
}

template <class T>
void LMVector<T>::clear()
{
    if (m_uiCapacity == 0)
        return;
    // Clearing the count and the bitmap is enough here.
    if constexpr (std::is_trivially_destructible_v<T>)
        std::memset(trailer(), 0, trailerSize(m_uiCapacity));
    else
        for (iterator iter = begin_valid(); iter != end_valid(); increment(iter))
            invalidate(indexOf(iter));
}

template <class T>
void LMVector<T>::destroy()
{
    if (m_uiCapacity == 0)
        return;
    clear();
    DefaultStaticMemAllocator::deallocate(m_pSlots, blockSize(m_uiCapacity), s_szAccountName);
    m_pSlots = nullptr;
    m_uiCapacity = 0;
}

template <class T>
void LMVector<T>::copySlotsOf(const LMVector& in_vector)
{
    const const_iterator end = in_vector.end_valid();
    for (const_iterator iter = in_vector.begin_valid(); iter != end; in_vector.increment(iter))
        emplace(in_vector.indexOf(iter), *iter);
}

template <class T>
void LMVector<T>::moveSlotsOf(LMVector& inout_vector)
{
    const iterator end = inout_vector.end_valid();
    for (iterator iter = inout_vector.begin_valid(); iter != end; inout_vector.increment(iter))
        emplace(inout_vector.indexOf(iter), std::move_if_noexcept(*iter));
}

} // namespace Velmora

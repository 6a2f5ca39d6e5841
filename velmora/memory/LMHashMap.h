// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/AccountMemBlock.h"
#include "velmora/memory/InternalHashMap.h"
#include "velmora/memory/LMHashFcn.h"

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace Velmora
{

/// A hash map for small numbers of entries, often none. An empty map is one pointer; the first
/// insertion creates the table. For the layout and the order of entries see `InternalHashMap`.
///
/// Ownership: owns the table, but has no destructor: its owner calls `destroy`. The table is
/// charged to the account "InternalHashMap", its block to "LMVector<T>". Both are freed when the
/// exit list destroys the allocators; a map that still exists must not be used after that.
/// Failure and thread-safety: as `InternalHashMap`.
template <class K, class D, class H = LMHashFcn<K>>
class VELMORA_API LMHashMap
{
  public:
    using Table = InternalHashMap<K, D, H>;
    using value_type = typename Table::value_type;
    using iterator = typename Table::iterator;
    using const_iterator = typename Table::const_iterator;
    using LookupKey = typename Table::LookupKey;

    LMHashMap() = default;

    /// Copies the table slot for slot.
    LMHashMap(const LMHashMap& in_map)
        : m_pTable(in_map.m_pTable != nullptr ? makeTable(*in_map.m_pTable) : nullptr)
    {
    }

    /// Takes over the table and leaves the other map without one.
    LMHashMap(LMHashMap&& in_map) noexcept { swap(in_map); }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): only the table of the copy is destroyed.
    LMHashMap& operator=(const LMHashMap& in_map)
    {
        LMHashMap copy(in_map);
        swap(copy);
        copy.destroy();
        return *this;
    }

    /// Exchanges the tables.
    LMHashMap& operator=(LMHashMap&& in_map) noexcept
    {
        swap(in_map);
        return *this;
    }

    void swap(LMHashMap& inout_map) noexcept { std::swap(m_pTable, inout_map.m_pTable); }

    /// Returns the entry with that key, or the end.
    [[nodiscard]] iterator find(LookupKey in_key) { return find_i<iterator>(m_pTable, in_key); }
    [[nodiscard]] const_iterator find(LookupKey in_key) const
    {
        return find_i<const_iterator>(static_cast<const Table*>(m_pTable), in_key);
    }

    /// Adds an entry if the map has no entry with that key. Returns the entry with that key, and
    /// whether it was added.
    std::pair<iterator, bool> insert(const K& in_key, const D& in_data);

    /// Adds an entry whose key the map must not have. See `InternalHashMap::insertAbsent`.
    iterator insertAbsent(const K& in_key, const D& in_data, FullSlots& inout_full)
    {
        if (m_pTable == nullptr)
            return insert(in_key, in_data).first;
        return m_pTable->entryAt(m_pTable->insertAbsent(in_key, in_data, inout_full));
    }

    /// Removes an entry. The order of the others may change. Does nothing at the end.
    void erase(const const_iterator& in_iterator)
    {
        if (m_pTable != nullptr)
            m_pTable->erase(in_iterator);
    }

    /// Removes all entries and keeps the table.
    void clear()
    {
        if (m_pTable != nullptr)
            m_pTable->clear();
    }

    /// Removes all entries and frees the table.
    void destroy();

    /// Iterates over the entries. A table of up to 8 slots has them in order of insertion, as long
    /// as no entry was removed.
    [[nodiscard]] iterator begin() { return m_pTable != nullptr ? m_pTable->begin() : iterator(); }
    [[nodiscard]] const_iterator begin() const
    {
        return m_pTable != nullptr ? std::as_const(*m_pTable).begin() : const_iterator();
    }
    [[nodiscard]] iterator end() { return m_pTable != nullptr ? m_pTable->end() : iterator(); }
    [[nodiscard]] const_iterator end() const
    {
        return m_pTable != nullptr ? std::as_const(*m_pTable).end() : const_iterator();
    }

    [[nodiscard]] std::size_t size() const { return m_pTable != nullptr ? m_pTable->size() : 0; }
    [[nodiscard]] bool empty() const { return size() == 0; }

    /// Returns the table; null before the first insertion.
    [[nodiscard]] Table* table() { return m_pTable; }
    [[nodiscard]] const Table* table() const { return m_pTable; }

  private:
    static constexpr const char* s_szAccountName = "InternalHashMap";

    template <class... Args>
    static Table* makeTable(Args&&... in_args);
    static void destroyTable(Table* in_pTable);

    template <class Iterator, class TablePointer>
    static Iterator find_i(TablePointer in_pTable, LookupKey in_key)
    {
        if (in_pTable == nullptr)
            return {};
        const std::pair<std::size_t, bool> found = in_pTable->findIndex(in_key);
        return found.second ? in_pTable->entryAt(found.first) : in_pTable->end();
    }

    Table* m_pTable = nullptr;
};

template <class K, class D, class H>
std::pair<typename LMHashMap<K, D, H>::iterator, bool> LMHashMap<K, D, H>::insert(const K& in_key,
                                                                                  const D& in_data)
{
    if (m_pTable == nullptr)
    {
        Table* const pTable = makeTable(std::size_t{1});
        try
        {
            pTable->insert(in_key, in_data);
        }
        catch (...)
        {
            destroyTable(pTable);
            throw;
        }
        m_pTable = pTable;
        return {begin(), true};
    }
    const std::pair<std::size_t, bool> inserted = m_pTable->insert(in_key, in_data);
    return {m_pTable->entryAt(inserted.first), inserted.second};
}

template <class K, class D, class H>
void LMHashMap<K, D, H>::destroy()
{
    if (m_pTable == nullptr)
        return;
    destroyTable(m_pTable);
    m_pTable = nullptr;
}

template <class K, class D, class H>
template <class... Args>
typename LMHashMap<K, D, H>::Table* LMHashMap<K, D, H>::makeTable(Args&&... in_args)
{
    static_assert(sizeof(Table) == 2 * sizeof(void*));
    AccountMemBlock block(sizeof(Table), s_szAccountName);
    Table* const pTable = ::new (block.get()) Table(std::forward<Args>(in_args)...);
    block.release();
    return pTable;
}

template <class K, class D, class H>
void LMHashMap<K, D, H>::destroyTable(Table* in_pTable)
{
    in_pTable->destroy();
    std::destroy_at(in_pTable);
    DefaultStaticMemAllocator::deallocate(in_pTable, sizeof(Table), s_szAccountName);
}

} // namespace Velmora

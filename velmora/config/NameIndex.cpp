// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/NameIndex.h"

#include "velmora/config/NameHash.h"
#include "velmora/config/SharedParameterValue.h"

#include <algorithm>
#include <utility>

namespace Velmora
{

namespace
{

constexpr std::size_t s_uiFewestEntries = 64;
/// In bytes. The usual size of a block of names.
constexpr std::size_t s_uiBlock = std::size_t{64} * 1024;

} // namespace

NameIndex::NameIndex(StringTrie& inout_trie)
    : m_trie(inout_trie), m_pTable(std::make_unique<Table>(s_uiFewestEntries)),
      m_pPublished(m_pTable.get())
{
}

[[gnu::always_inline]] inline std::size_t
NameIndex::slotOf(const Table& in_table, std::string_view in_key, std::uint32_t in_uiHash)
{
    const Entry* const pEntries = in_table.pEntries.get();
    std::size_t uiSlot = in_uiHash & in_table.uiMask;
    for (;; uiSlot = (uiSlot + 1) & in_table.uiMask)
    {
        const Entry& entry = pEntries[uiSlot];
        const StringTrie* const pNode = entry.pNode.load(std::memory_order_acquire);
        if (pNode == nullptr)
            return uiSlot;
        if (entry.uiHash != in_uiHash || entry.uiLength != in_key.size())
            continue;
        // The caller reads the node next. Its memory arrives while the names are compared.
        __builtin_prefetch(pNode);
        if (NameHash::isEqual(in_key, {entry.pName, entry.uiLength}))
            return uiSlot;
    }
}

NameIndex::StringTrie* NameIndex::findIn(const Table& in_table, std::string_view in_key)
{
    const std::size_t uiSlot = slotOf(in_table, in_key, NameHash::hashOf(in_key));
    return in_table.pEntries[uiSlot].pNode.load(std::memory_order_acquire);
}

void NameIndex::endChange() noexcept
{
    m_pPublished.store(m_pTable.get(), std::memory_order_release);
    m_changes.endChange();
}

bool NameIndex::readUnlocked(std::string_view in_name, ParameterValue& out_value) const
{
    SharedParameterValue::Copy copy;
    const bool bIsConsistent = m_changes.read(
        [&]
        {
            const Table& table = *m_pPublished.load(std::memory_order_acquire);
            const StringTrie* const pNode =
                in_name.empty() ? &m_trie : findIn(table, keyOf(in_name));
            if (pNode != nullptr)
                copy = SharedParameterValue::copy(pNode->data());
        });
    if (!bIsConsistent || copy.m_type == ParameterValue::STRING_TYPE)
        return false;
    ParameterValue value;
    value.m_type = copy.m_type;
    value.m_payload = copy.m_payload;
    out_value = std::move(value);
    return true;
}

std::size_t NameIndex::stepsFor(std::string_view in_name) const
{
    if (in_name.empty())
        return 0;
    const std::string_view key = keyOf(in_name);
    const std::uint32_t uiHash = NameHash::hashOf(key);
    return ((slotOf(*m_pTable, key, uiHash) - uiHash) & m_pTable->uiMask) + 1;
}

NameIndex::StringTrie& NameIndex::nodeFor(std::string_view in_name)
{
    if (in_name.empty())
        return m_trie;
    const std::string_view key = keyOf(in_name);
    if (StringTrie* const pNode = findIn(*m_pTable, key))
        return *pNode;
    StringTrie* pNode = &m_trie;
    std::size_t uiBegin = 0;
    // The first component of a name has no dot before it.
    for (std::size_t uiDot = key.rfind('.'); uiDot != std::string_view::npos;
         uiDot = uiDot == 0 ? std::string_view::npos : key.rfind('.', uiDot - 1))
        if (StringTrie* const pPrefix = findBranch(key.substr(0, uiDot)))
        {
            pNode = pPrefix;
            uiBegin = uiDot + 1;
            break;
        }
    std::size_t uiEnd = 0;
    do
    {
        uiEnd = std::min(key.find('.', uiBegin), key.size());
        // An entry can be added now, so that no node is ever without one.
        reserve(uiEnd);
        pNode = &makeChild(*pNode, key.substr(uiBegin, uiEnd - uiBegin));
        add(key.substr(0, uiEnd), *pNode);
        uiBegin = uiEnd + 1;
    } while (uiEnd != key.size());
    return *pNode;
}

NameIndex::StringTrie* NameIndex::findBranch(std::string_view in_key)
{
    if (m_pLastBranch != nullptr && NameHash::isEqual(in_key, m_lastBranch))
        return m_pLastBranch;
    const std::size_t uiSlot = slotOf(*m_pTable, in_key, NameHash::hashOf(in_key));
    const Entry& entry = m_pTable->pEntries[uiSlot];
    StringTrie* const pNode = entry.pNode.load(std::memory_order_relaxed);
    if (pNode != nullptr)
    {
        m_pLastBranch = pNode;
        m_lastBranch = {entry.pName, entry.uiLength};
    }
    return pNode;
}

NameIndex::StringTrie& NameIndex::makeChild(StringTrie& inout_parent, std::string_view in_component)
{
    FullSlots none;
    FullSlots& full =
        inout_parent.capacity() < FullSlots::s_uiFewestSlots ? none : m_fullSlots[&inout_parent];
    return inout_parent.insertAbsent(std::string(in_component), ParameterValue(), full);
}

void NameIndex::reserve(std::size_t in_uiLength)
{
    m_names.reserve(in_uiLength);
    if ((m_uiNodes + 1) * 4 <= m_pTable->size() * 3)
        return;
    auto pTable = std::make_unique<Table>(m_pTable->size() * 2);
    for (std::size_t uiSlot = 0; uiSlot != m_pTable->size(); ++uiSlot)
    {
        const Entry& entry = m_pTable->pEntries[uiSlot];
        if (StringTrie* const pNode = entry.pNode.load(std::memory_order_relaxed))
            place(*pTable, entry.pName, entry.uiLength, entry.uiHash, *pNode);
    }
    // A table that was never published has no readers.
    const bool bPublished = m_pTable.get() == m_pPublished.load(std::memory_order_relaxed);
    pTable->pFormer = std::move(bPublished ? m_pTable : m_pTable->pFormer);
    m_pTable = std::move(pTable);
}

void NameIndex::add(std::string_view in_key, StringTrie& in_node) noexcept
{
    place(*m_pTable, m_names.add(in_key), static_cast<std::uint32_t>(in_key.size()),
          NameHash::hashOf(in_key), in_node);
    ++m_uiNodes;
}

void NameIndex::place(Table& inout_table, const char* in_pName, std::uint32_t in_uiLength,
                      std::uint32_t in_uiHash, StringTrie& in_node) noexcept
{
    std::size_t uiSlot = in_uiHash & inout_table.uiMask;
    while (inout_table.pEntries[uiSlot].pNode.load(std::memory_order_relaxed) != nullptr)
        uiSlot = (uiSlot + 1) & inout_table.uiMask;
    Entry& entry = inout_table.pEntries[uiSlot];
    entry.pName = in_pName;
    entry.uiLength = in_uiLength;
    entry.uiHash = in_uiHash;
    entry.pNode.store(&in_node, std::memory_order_release);
}

std::size_t NameIndex::memory() const
{
    std::size_t uiMemory = m_names.memory();
    for (const Table* pTable = m_pTable.get(); pTable != nullptr; pTable = pTable->pFormer.get())
        uiMemory += sizeof(Table) + pTable->size() * sizeof(Entry);
    for (const auto& [pNode, full] : m_fullSlots)
        uiMemory += full.memory();
    return uiMemory;
}

void NameIndex::Names::reserve(std::size_t in_uiLength)
{
    if (in_uiLength <= m_uiFree)
        return;
    const std::size_t uiSize = std::max(in_uiLength, s_uiBlock);
    m_blocks.reserve(m_blocks.size() + 1);
    m_blocks.emplace_back(new char[uiSize]);
    m_pFree = m_blocks.back().get();
    m_uiFree = uiSize;
    m_uiMemory += uiSize;
}

const char* NameIndex::Names::add(std::string_view in_text) noexcept
{
    char* const pText = m_pFree;
    std::copy(in_text.begin(), in_text.end(), pText);
    m_pFree += in_text.size();
    m_uiFree -= in_text.size();
    return pText;
}

} // namespace Velmora

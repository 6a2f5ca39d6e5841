// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/NameIndex.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Velmora
{

namespace
{

constexpr std::size_t s_uiFewestEntries = 64;
/// In bytes. The usual size of a block of names.
constexpr std::size_t s_uiBlock = std::size_t{64} * 1024;

std::uint64_t wordAt(const char* in_pText)
{
    std::uint64_t uiWord = 0;
    std::memcpy(&uiWord, in_pText, sizeof(uiWord));
    return uiWord;
}

/// Multiplies two words and folds the 128 bits of the product into 64: each bit of the result
/// depends on all bits of both.
std::uint64_t fold(std::uint64_t in_uiLeft, std::uint64_t in_uiRight)
{
    __extension__ using Product = unsigned __int128;
    const Product product = static_cast<Product>(in_uiLeft) * in_uiRight;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Returns whether two texts of the same length are equal, without a call of `memcmp`.
bool isSame(const char* in_pLeft, const char* in_pRight, std::size_t in_uiLength)
{
    constexpr std::size_t uiWord = sizeof(std::uint64_t);
    if (in_uiLength < uiWord)
        return std::equal(in_pLeft, in_pLeft + in_uiLength, in_pRight);
    for (std::size_t i = 0; i + uiWord < in_uiLength; i += uiWord)
        if (wordAt(in_pLeft + i) != wordAt(in_pRight + i))
            return false;
    // The last word may overlap the one before.
    return wordAt(in_pLeft + in_uiLength - uiWord) == wordAt(in_pRight + in_uiLength - uiWord);
}

} // namespace

/// Takes four words at a time, in two chains of multiplications that the processor computes in
/// parallel. The last two words may overlap those before, or be made of a short text's bytes. Names
/// are not chosen to collide, so the constants are no secret: they are fractions of irrational
/// numbers.
[[gnu::always_inline]] inline std::uint32_t NameIndex::hashOf(std::string_view in_key)
{
    constexpr std::uint64_t uiFirst = 0x9e3779b97f4a7c15;
    constexpr std::uint64_t uiSecond = 0xb7e151628aed2a6b;
    const char* pText = in_key.data();
    std::size_t uiLeft = in_key.size();
    std::uint64_t uiHash = uiFirst ^ uiLeft;
    std::uint64_t uiOther = uiSecond;
    std::uint64_t uiLow = 0;
    std::uint64_t uiHigh = 0;
    if (uiLeft > 16)
    {
        for (; uiLeft > 32; uiLeft -= 32, pText += 32)
        {
            uiHash = fold(wordAt(pText) ^ uiSecond, wordAt(pText + 8) ^ uiHash);
            uiOther = fold(wordAt(pText + 16) ^ uiFirst, wordAt(pText + 24) ^ uiOther);
        }
        if (uiLeft > 16)
            uiOther = fold(wordAt(pText) ^ uiFirst, wordAt(pText + 8) ^ uiOther);
        uiLow = wordAt(pText + uiLeft - 16);
        uiHigh = wordAt(pText + uiLeft - 8);
    }
    else if (uiLeft >= 8)
    {
        uiLow = wordAt(pText);
        uiHigh = wordAt(pText + uiLeft - 8);
    }
    else
        for (std::size_t i = 0; i != uiLeft; ++i)
            uiLow = uiLow << 8 | static_cast<unsigned char>(pText[i]);
    uiHash = fold(uiLow ^ uiSecond, uiHigh ^ uiHash) ^ uiOther;
    return static_cast<std::uint32_t>(uiHash ^ uiHash >> 32);
}

[[gnu::always_inline]] inline std::size_t NameIndex::slotOf(std::string_view in_key,
                                                            std::uint32_t in_uiHash) const
{
    const std::size_t uiMask = m_entries.size() - 1;
    const Entry* const pEntries = m_entries.data();
    std::size_t uiSlot = in_uiHash & uiMask;
    for (;; uiSlot = (uiSlot + 1) & uiMask)
    {
        const Entry& entry = pEntries[uiSlot];
        if (entry.pNode == nullptr)
            return uiSlot;
        if (entry.uiHash != in_uiHash || entry.uiLength != in_key.size())
            continue;
        // The caller reads the node next. Its memory arrives while the names are compared.
        __builtin_prefetch(entry.pNode);
        if (isSame(in_key.data(), entry.pName, in_key.size()))
            return uiSlot;
    }
}

NameIndex::StringTrie* NameIndex::findKey(std::string_view in_key) const
{
    return m_entries.empty() ? nullptr : m_entries[slotOf(in_key, hashOf(in_key))].pNode;
}

std::size_t NameIndex::stepsFor(std::string_view in_name) const
{
    if (in_name.empty() || m_entries.empty())
        return 0;
    const std::string_view key = keyOf(in_name);
    const std::uint32_t uiHash = hashOf(key);
    return ((slotOf(key, uiHash) - uiHash) & (m_entries.size() - 1)) + 1;
}

NameIndex::StringTrie& NameIndex::nodeFor(std::string_view in_name)
{
    if (in_name.empty())
        return m_trie;
    const std::string_view key = keyOf(in_name);
    if (StringTrie* const pNode = findKey(key))
        return *pNode;
    // The longest prefix that has a node. The first component of a name has no dot before it.
    StringTrie* pNode = &m_trie;
    std::size_t uiBegin = 0;
    for (std::size_t uiDot = key.rfind('.'); uiDot != std::string_view::npos;
         uiDot = uiDot == 0 ? std::string_view::npos : key.rfind('.', uiDot - 1))
        if (StringTrie* const pPrefix = findKey(key.substr(0, uiDot)))
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
    if ((m_uiNodes + 1) * 4 <= m_entries.size() * 3)
        return;
    std::vector<Entry> former(std::max(m_entries.size() * 2, s_uiFewestEntries));
    former.swap(m_entries);
    for (const Entry& entry : former)
        if (entry.pNode != nullptr)
            place(entry);
}

void NameIndex::add(std::string_view in_key, StringTrie& in_node) noexcept
{
    place(
        {&in_node, m_names.add(in_key), static_cast<std::uint32_t>(in_key.size()), hashOf(in_key)});
    ++m_uiNodes;
}

void NameIndex::place(const Entry& in_entry) noexcept
{
    const std::size_t uiMask = m_entries.size() - 1;
    std::size_t uiSlot = in_entry.uiHash & uiMask;
    while (m_entries[uiSlot].pNode != nullptr)
        uiSlot = (uiSlot + 1) & uiMask;
    m_entries[uiSlot] = in_entry;
}

std::size_t NameIndex::memory() const
{
    std::size_t uiMemory = m_entries.capacity() * sizeof(Entry) + m_names.memory();
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

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterValue.h"
#include "velmora/config/SequenceCount.h"
#include "velmora/config/Trie.h"
#include "velmora/memory/FullSlots.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velmora
{

/// Finds and makes the nodes of a trie by their whole dotted names, prefixes included. It holds all
/// nodes below the root in one hash table, so the time for a name does not depend on the number of
/// names, nor on how many of them have the same parent.
///
/// All nodes of the trie must be made through the index. The trie is the same, node for node and
/// slot for slot, as if it had been filled directly.
///
/// Ownership: the trie must outlive the index. The index holds a copy of each name.
/// Failure: throws `std::bad_alloc`, with some of the nodes made that are on the way to the name.
/// Thread-safety: as the trie. Only `readUnlocked` may be called while another thread changes the
/// trie, between `beginChange` and `endChange`.
class NameIndex
{
  public:
    using StringTrie = Trie<std::string, ParameterValue, LMHashFcn<std::string>>;

    /// The trie must have no children.
    explicit NameIndex(StringTrie& inout_trie);
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    /// Returns the node of a name; null if there is none.
    [[nodiscard]] const StringTrie* find(std::string_view in_name) const
    {
        return in_name.empty() ? &m_trie : findIn(*m_pTable, keyOf(in_name));
    }

    /// Returns the node of a name, made if there is none.
    StringTrie& nodeFor(std::string_view in_name);

    /// Between these calls, one thread changes the trie, by `nodeFor` and
    /// `SharedParameterValue::assign` only.
    void beginChange() noexcept { m_changes.beginChange(); }
    void endChange() noexcept;

    /// Copies the value of a name, undefined if there is no node. Takes no lock and does not wait.
    /// Returns false, without a change of the output, while another thread changes the trie, and if
    /// the value is a string.
    [[nodiscard]] bool readUnlocked(std::string_view in_name, ParameterValue& out_value) const;

    /// Returns the number of nodes below the root.
    [[nodiscard]] std::size_t size() const { return m_uiNodes; }
    /// Returns the memory that the index takes beside the trie, in bytes.
    [[nodiscard]] std::size_t memory() const;
    /// Returns the number of entries that a search for the name looks at.
    [[nodiscard]] std::size_t stepsFor(std::string_view in_name) const;

  private:
    struct Entry
    {
        /// Is set last, once: then the other members never change.
        std::atomic<StringTrie*> pNode = nullptr;
        const char* pName = nullptr;
        std::uint32_t uiLength = 0;
        std::uint32_t uiHash = 0;
    };

    /// A hash table. An entry is at the slot of its hash, or behind it with no empty slot between.
    struct Table
    {
        explicit Table(std::size_t in_uiEntries)
            : uiMask(in_uiEntries - 1), pEntries(new Entry[in_uiEntries])
        {
        }
        [[nodiscard]] std::size_t size() const { return uiMask + 1; }

        /// The number of entries is a power of two; at least a quarter of them are empty.
        const std::size_t uiMask;
        const std::unique_ptr<Entry[]> pEntries;
        /// The table that was published before: threads may still search it.
        std::unique_ptr<Table> pFormer;
    };

    /// The text of names. Grows by blocks, which never move.
    class Names
    {
      public:
        /// Makes room for a text of that length.
        void reserve(std::size_t in_uiLength);
        /// Adds a text, for which there must be room.
        const char* add(std::string_view in_text) noexcept;
        [[nodiscard]] std::size_t memory() const { return m_uiMemory; }

      private:
        std::vector<std::unique_ptr<char[]>> m_blocks;
        char* m_pFree = nullptr;
        std::size_t m_uiFree = 0;
        std::size_t m_uiMemory = 0;
    };

    /// Returns a name without the dot at its end, which adds no component.
    static std::string_view keyOf(std::string_view in_name)
    {
        if (in_name.ends_with('.'))
            in_name.remove_suffix(1);
        return in_name;
    }

    [[nodiscard]] static StringTrie* findIn(const Table& in_table, std::string_view in_key);
    /// Returns the slot of a key, or the empty one at which its search ends.
    [[nodiscard]] static std::size_t slotOf(const Table& in_table, std::string_view in_key,
                                            std::uint32_t in_uiHash);
    /// Returns the node of a name to which a component is added; null if there is none.
    [[nodiscard]] StringTrie* findBranch(std::string_view in_key);
    /// Makes room for an entry and its name.
    void reserve(std::size_t in_uiLength);
    void add(std::string_view in_key, StringTrie& in_node) noexcept;
    static void place(Table& inout_table, const char* in_pName, std::uint32_t in_uiLength,
                      std::uint32_t in_uiHash, StringTrie& in_node) noexcept;
    StringTrie& makeChild(StringTrie& inout_parent, std::string_view in_component);

    StringTrie& m_trie;
    std::unique_ptr<Table> m_pTable;
    /// `m_pTable` as of the end of the last change.
    std::atomic<const Table*> m_pPublished;
    SequenceCount m_changes;
    std::size_t m_uiNodes = 0;
    /// The node that `findBranch` found last and its name, as the next name often has the same.
    StringTrie* m_pLastBranch = nullptr;
    std::string_view m_lastBranch;
    Names m_names;
    /// The empty slots of nodes with many children.
    std::unordered_map<const StringTrie*, FullSlots> m_fullSlots;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterValue.h"
#include "velmora/config/TrieIterator.h"
#include "velmora/memory/AccountMemBlock.h"
#include "velmora/memory/LMHashFcn.h"
#include "velmora/memory/LMHashMap.h"

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Velmora
{

/// The part of a trie that does not depend on its types.
class VELMORA_API TrieNoT
{
  protected:
    /// Fails an assertion on the logger "keswardin.infra.Trie" if the child is null. Returns
    /// whether it is not.
    static bool assertChild(const void* in_pChild, const char* in_szCondition);
};

/// A tree of data keyed by sequences: each edge is labelled with a `K`, each node holds a `D`. A
/// node and the tree below it are the same object. A node that was made only because it is on the
/// way to a longer key holds the default value of `D`, as does a new root. Only its data shows
/// whether a node is in use.
///
/// Single nodes are not removed: only `clear`, assignment and destruction remove nodes. Keys may
/// have millions of elements, because no operation uses stack space for each element.
///
/// Neither trie of an assignment may be inside the other.
///
/// Ownership: a node owns its children, which are charged to the account "Trie". Copies are deep. A
/// trie must not outlive the allocators, which the exit list destroys: a trie that lives as long as
/// the process is emptied by an entry of that list and is never destroyed.
/// Failure: throws `std::bad_alloc` if there is no memory. Exceptions of `K`, `D` and `H` leave the
/// operation. A failed insertion or copy changes nothing, except that a table may have grown. A
/// failed assignment leaves each node either in its old or in its new state.
/// Thread-safety: none; a trie belongs to one thread at a time or to an owner that guards it.
template <class K, class D, class H = LMHashFcn<K>>
class VELMORA_API Trie : public TrieNoT
{
  public:
    using key_type = K;
    using data_type = D;
    using ChildMap = LMHashMap<K, Trie*, H>;
    using LookupKey = typename ChildMap::LookupKey;
    using child_iterator = typename ChildMap::iterator;
    using const_child_iterator = typename ChildMap::const_iterator;
    using iterator = TrieIterator<K, D, H>;
    using const_iterator = TrieConstIterator<K, D, H>;

    /// Makes a root without children.
    Trie() = default;

    Trie(const Trie& in_trie) : Trie(in_trie.m_data) { copyChildrenOf(in_trie); }

    /// Makes this trie equal to the other one. Nodes that exist in both keep their addresses.
    Trie& operator=(const Trie& in_trie);

    ~Trie()
    {
        destroyChildren();
        m_children.destroy();
    }

    /// Returns the data of this node.
    [[nodiscard]] D& data() { return m_data; }
    [[nodiscard]] const D& data() const { return m_data; }

    /// Iterates over this node and all nodes below it, in the order of `TrieIterator`.
    [[nodiscard]] iterator begin() { return iterator(*this); }
    [[nodiscard]] const_iterator begin() const { return const_iterator(*this); }
    [[nodiscard]] iterator end() { return {}; }
    [[nodiscard]] const_iterator end() const { return {}; }

    /// Iterates over the edges to this node's children, in the order of their table.
    [[nodiscard]] child_iterator beginChild() { return m_children.begin(); }
    [[nodiscard]] const_child_iterator beginChild() const { return m_children.begin(); }
    [[nodiscard]] child_iterator endChild() { return m_children.end(); }
    [[nodiscard]] const_child_iterator endChild() const { return m_children.end(); }
    [[nodiscard]] child_iterator findChild(LookupKey in_key) { return m_children.find(in_key); }
    [[nodiscard]] const_child_iterator findChild(LookupKey in_key) const
    {
        return m_children.find(in_key);
    }

    /// Returns the number of this node's children, and of the slots of their table.
    [[nodiscard]] std::size_t size() const { return m_children.size(); }
    [[nodiscard]] std::size_t capacity() const
    {
        return m_children.table() != nullptr ? m_children.table()->capacity() : 0;
    }

    /// Makes a child with a copy of the data unless the key exists. Returns the edge with that key,
    /// and whether the child was made.
    std::pair<child_iterator, bool> insert(const K& in_key, const D& in_data);

    /// Makes a child with a key that this node must not have, and returns it. The object must
    /// belong to this node alone, as `InternalHashMap::insertAbsent` describes.
    Trie& insertAbsent(const K& in_key, const D& in_data, FullSlots& inout_full)
    {
        return addChild(in_key, in_data, inout_full);
    }

    /// Makes the node of a key, and the nodes on the way to it. Returns the node with its path from
    /// this node, and whether it was made. An existing node keeps its data, even if it is only on
    /// the way to a longer key; the caller can overwrite the data through the result. An empty
    /// sequence returns this node and changes nothing.
    template <class Iterator>
    std::pair<iterator, bool> insert(Iterator in_first, Iterator in_last, const D& in_data);

    /// Does the same, but returns no path.
    template <class Iterator>
    std::pair<Trie*, bool> fastInsert(Iterator in_first, Iterator in_last, const D& in_data);

    /// Returns the node of a key with its path from this node; the end if there is none.
    template <class Iterator>
    [[nodiscard]] iterator find(Iterator in_first, Iterator in_last)
    {
        return find_i<iterator>(*this, in_first, in_last);
    }
    template <class Iterator>
    [[nodiscard]] const_iterator find(Iterator in_first, Iterator in_last) const
    {
        return find_i<const_iterator>(*this, in_first, in_last);
    }

    /// Returns the node without a path, and allocates nothing. Returns null if there is none.
    template <class Iterator>
    [[nodiscard]] Trie* fastFind(Iterator in_first, Iterator in_last)
    {
        return fastFind_i(this, in_first, in_last);
    }
    template <class Iterator>
    [[nodiscard]] const Trie* fastFind(Iterator in_first, Iterator in_last) const
    {
        return fastFind_i(this, in_first, in_last);
    }

    /// Destroys all children. Keeps this node's data and the memory of its table.
    void clear() { destroyChildren(); }

    /// Destroys the child that an edge leads to, unless it is null. The caller must remove the edge
    /// itself or set it to null.
    void destroyChild(const std::pair<K, Trie*>& in_edge) { destroyNode(in_edge.second); }

  private:
    static_assert(alignof(D) <= 8, "blocks of memory are aligned to 8 bytes");

    static constexpr const char* s_szAccountName = "Trie";

    /// Held by a slot of a table of children while the child that it led to is being destroyed: the
    /// way back up.
    struct WayUp
    {
        Trie* pOwner;
        WayUp* pNext;
    };

    /// Removes the branch that an insertion has begun, unless the insertion succeeds.
    class NewBranch
    {
      public:
        NewBranch() = default;
        NewBranch(const NewBranch&) = delete;
        NewBranch& operator=(const NewBranch&) = delete;
        ~NewBranch()
        {
            // No entry was added after this edge, so no other entry was placed behind it because
            // its slot was taken, and the slot can simply be emptied.
            if (m_pOwner != nullptr)
                destroyNode(m_pOwner->cutOff(m_edge));
        }
        void add(Trie& in_owner, const child_iterator& in_edge)
        {
            if (m_pOwner != nullptr)
                return;
            m_pOwner = &in_owner;
            m_edge = in_edge;
        }
        void keep() { m_pOwner = nullptr; }

      private:
        Trie* m_pOwner = nullptr;
        child_iterator m_edge;
    };

    struct DestroyNode
    {
        void operator()(Trie* in_pNode) const { destroyNode(in_pNode); }
    };
    using NodePointer = std::unique_ptr<Trie, DestroyNode>;

    explicit Trie(const D& in_data) : m_data(in_data) {}

    /// Makes a node on the heap from data or from another node.
    template <class Source>
    static NodePointer makeNode(const Source& in_source);
    static void destroyNode(Trie* in_pNode) noexcept;
    static const D& defaultData();

    template <class Source>
    Trie& addChild(const K& in_key, const Source& in_source, FullSlots& inout_full)
    {
        NodePointer pNode = makeNode(in_source);
        m_children.insertAbsent(in_key, pNode.get(), inout_full);
        return *pNode.release();
    }

    template <class Iterator, class Follow>
    std::pair<Trie*, bool> insertAlong(Iterator in_first, Iterator in_last, const D& in_data,
                                       Follow in_follow);

    template <class Result, class Self, class Iterator>
    static Result find_i(Self& in_trie, Iterator in_first, Iterator in_last);
    template <class Self, class Iterator>
    static Self* fastFind_i(Self* in_pTrie, Iterator in_first, Iterator in_last);

    void copyChildrenOf(const Trie& in_trie);

    void destroyChildren() noexcept;
    /// Removes an edge without moving other entries. Returns the child, which the caller must
    /// destroy.
    Trie* cutOff(const child_iterator& in_edge) noexcept;
    child_iterator edgeInSlot(void* in_pSlot) noexcept;

    using Assignments = std::vector<std::pair<Trie*, const Trie*>>;
    void dropChildrenMissingIn(const Trie& in_trie);
    void pairChildrenWith(const Trie& in_trie, Assignments& out_assignments);
    void addChildrenOf(const Trie& in_trie);

    D m_data{};
    ChildMap m_children;
};

template <class K, class D, class H>
std::pair<typename Trie<K, D, H>::child_iterator, bool> Trie<K, D, H>::insert(const K& in_key,
                                                                              const D& in_data)
{
    const auto inserted = m_children.insert(in_key, nullptr);
    if (!inserted.second)
        return inserted;
    try
    {
        inserted.first.data() = makeNode(in_data).release();
    }
    catch (...)
    {
        cutOff(inserted.first);
        throw;
    }
    return inserted;
}

template <class K, class D, class H>
template <class Iterator>
std::pair<TrieIterator<K, D, H>, bool> Trie<K, D, H>::insert(Iterator in_first, Iterator in_last,
                                                             const D& in_data)
{
    iterator iter(*this);
    const auto follow = [&iter](Trie& in_owner, const child_iterator& in_edge) {
        iter.advance({in_owner, in_edge});
    };
    const bool bInserted = insertAlong(in_first, in_last, in_data, follow).second;
    return {std::move(iter), bInserted};
}

template <class K, class D, class H>
template <class Iterator>
std::pair<Trie<K, D, H>*, bool> Trie<K, D, H>::fastInsert(Iterator in_first, Iterator in_last,
                                                          const D& in_data)
{
    return insertAlong(in_first, in_last, in_data, [](Trie&, const child_iterator&) {});
}

template <class K, class D, class H>
template <class Iterator, class Follow>
std::pair<Trie<K, D, H>*, bool> Trie<K, D, H>::insertAlong(Iterator in_first, Iterator in_last,
                                                           const D& in_data, Follow in_follow)
{
    NewBranch branch;
    std::pair<Trie*, bool> result(this, false);
    for (; in_first != in_last; ++in_first)
    {
        Trie& owner = *result.first;
        const auto [edge, bInserted] = owner.insert(*in_first, defaultData());
        if (bInserted)
            branch.add(owner, edge);
        in_follow(owner, edge);
        result = {edge.data(), bInserted};
    }
    if (result.second)
        result.first->m_data = in_data;
    branch.keep();
    return result;
}

template <class K, class D, class H>
template <class Result, class Self, class Iterator>
Result Trie<K, D, H>::find_i(Self& in_trie, Iterator in_first, Iterator in_last)
{
    Result iter(in_trie);
    for (; in_first != in_last; ++in_first)
        if (!iter.advance({*iter, iter->findChild(*in_first)}))
            return {};
    return iter;
}

template <class K, class D, class H>
template <class Self, class Iterator>
Self* Trie<K, D, H>::fastFind_i(Self* in_pTrie, Iterator in_first, Iterator in_last)
{
    for (; in_first != in_last; ++in_first)
    {
        const auto edge = in_pTrie->findChild(*in_first);
        if (edge == in_pTrie->endChild())
            return nullptr;
        in_pTrie = edge.data();
    }
    return in_pTrie;
}

template <class K, class D, class H>
Trie<K, D, H>& Trie<K, D, H>::operator=(const Trie& in_trie)
{
    if (this == &in_trie)
        return *this;
    Assignments assignments{{this, &in_trie}};
    while (!assignments.empty())
    {
        const auto [pTo, pFrom] = assignments.back();
        assignments.pop_back();
        pTo->dropChildrenMissingIn(*pFrom);
        pTo->pairChildrenWith(*pFrom, assignments);
        pTo->addChildrenOf(*pFrom);
        pTo->m_data = pFrom->m_data;
    }
    return *this;
}

template <class K, class D, class H>
void Trie<K, D, H>::dropChildrenMissingIn(const Trie& in_trie)
{
    if (m_children.empty())
        return;
    auto& table = *m_children.table();
    for (std::size_t i = 0; i != table.capacity();)
    {
        if (!table.isValid(i) || in_trie.findChild(table.slot(i).first) != in_trie.endChild())
        {
            ++i;
            continue;
        }
        // `erase` may move a later entry into this slot, so the slot is examined again. It never
        // moves an entry that was not examined yet to a slot before this one.
        Trie* const pChild = table.slot(i).second;
        table.erase(table.entryAt(i));
        destroyNode(pChild);
    }
}

template <class K, class D, class H>
void Trie<K, D, H>::pairChildrenWith(const Trie& in_trie, Assignments& out_assignments)
{
    for (child_iterator iter = beginChild(); iter != endChild(); ++iter)
    {
        const const_child_iterator found = in_trie.findChild(iter.key());
        if (assertChild(found.data(), "found.data() != 0") &&
            assertChild(iter.data(), "iter.data() != 0"))
            out_assignments.emplace_back(iter.data(), found.data());
    }
}

template <class K, class D, class H>
void Trie<K, D, H>::addChildrenOf(const Trie& in_trie)
{
    FullSlots full;
    if (m_children.empty())
    {
        for (const_child_iterator iter = in_trie.beginChild(); iter != in_trie.endChild(); ++iter)
            if (iter.data() != nullptr)
                addChild(iter.key(), *iter.data(), full);
        return;
    }
    for (const_child_iterator iter = in_trie.beginChild(); iter != in_trie.endChild(); ++iter)
    {
        if (iter.data() == nullptr || m_children.find(iter.key()) != m_children.end())
            continue;
        NodePointer pChild = makeNode(*iter.data());
        m_children.insert(iter.key(), pChild.get());
        static_cast<void>(pChild.release());
    }
}

template <class K, class D, class H>
void Trie<K, D, H>::copyChildrenOf(const Trie& in_trie)
{
    std::vector<std::pair<Trie*, const Trie*>> copies{{this, &in_trie}};
    while (!copies.empty())
    {
        const auto [pTo, pFrom] = copies.back();
        copies.pop_back();
        // The copied table must not lead to the other trie's nodes if one of the copies below
        // fails.
        ChildMap children(pFrom->m_children);
        for (child_iterator iter = children.begin(); iter != children.end(); ++iter)
            iter.data() = nullptr;
        pTo->m_children.swap(children);

        const_child_iterator source = pFrom->beginChild();
        for (child_iterator iter = pTo->beginChild(); iter != pTo->endChild(); ++iter, ++source)
        {
            if (source.data() == nullptr)
                continue;
            iter.data() = makeNode(source.data()->m_data).release();
            if (source.data()->m_children.table() != nullptr)
                copies.emplace_back(iter.data(), source.data());
        }
    }
}

template <class K, class D, class H>
void Trie<K, D, H>::destroyChildren() noexcept
{
    // Destroys each node as soon as it has no children. Destruction must not fail for lack of
    // memory, so the way back up is kept in slots that the walk has already emptied.
    Trie* pNode = this;
    WayUp* pWayUp = nullptr;
    child_iterator iter = beginChild();
    for (;;)
    {
        if (iter != pNode->endChild())
        {
            Trie* const pChild = pNode->cutOff(iter);
            if (pChild == nullptr || pChild->m_children.empty())
            {
                destroyNode(pChild);
                ++iter;
            }
            else
            {
                pWayUp = ::new (static_cast<void*>(iter.slot())) WayUp{pNode, pWayUp};
                pNode = pChild;
                iter = pNode->beginChild();
            }
        }
        else if (pWayUp != nullptr)
        {
            Trie* const pChild = std::exchange(pNode, pWayUp->pOwner);
            iter = pNode->edgeInSlot(pWayUp);
            pWayUp = pWayUp->pNext;
            destroyNode(pChild);
            ++iter;
        }
        else
            return;
    }
}

template <class K, class D, class H>
Trie<K, D, H>* Trie<K, D, H>::cutOff(const child_iterator& in_edge) noexcept
{
    Trie* const pChild = in_edge.data();
    m_children.table()->invalidate(m_children.table()->indexOf(in_edge));
    return pChild;
}

template <class K, class D, class H>
typename Trie<K, D, H>::child_iterator Trie<K, D, H>::edgeInSlot(void* in_pSlot) noexcept
{
    auto& table = *m_children.table();
    const auto* const pSlot = static_cast<typename ChildMap::value_type*>(in_pSlot);
    return table.entryAt(static_cast<std::size_t>(pSlot - &table.slot(0)));
}

template <class K, class D, class H>
template <class Source>
typename Trie<K, D, H>::NodePointer Trie<K, D, H>::makeNode(const Source& in_source)
{
    AccountMemBlock block(sizeof(Trie), s_szAccountName);
    NodePointer pNode(::new (block.get()) Trie(in_source));
    block.release();
    return pNode;
}

template <class K, class D, class H>
void Trie<K, D, H>::destroyNode(Trie* in_pNode) noexcept
{
    if (in_pNode == nullptr)
        return;
    std::destroy_at(in_pNode);
    DefaultStaticMemAllocator::deallocate(in_pNode, sizeof(Trie), s_szAccountName);
}

template <class K, class D, class H>
const D& Trie<K, D, H>::defaultData()
{
    // Never destroyed: tries may live until the process ends.
    alignas(D) static std::byte s_memory[sizeof(D)];
    static const D& default_data = *::new (static_cast<void*>(s_memory)) D();
    return default_data;
}

extern template class Trie<std::string, ParameterValue, LMHashFcn<std::string>>;
extern template class Trie<char, ParameterValue, LMHashFcn<char>>;

} // namespace Velmora

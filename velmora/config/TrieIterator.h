// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmora
{

template <class K, class D, class H>
class VELMORA_API Trie;

/// An edge from a node of a trie to one of its children, or the end of the node's children. The
/// common base of `TrieEdgeIterator` and `TrieEdgeConstIterator`; `TrieType` is const for a trie
/// that is only read.
///
/// An insertion into the owner's children invalidates it.
template <class TrieType>
class VELMORA_API BasicTrieEdgeIterator
{
  public:
    using KeyType = typename TrieType::key_type;
    using ChildIterator =
        std::conditional_t<std::is_const_v<TrieType>, typename TrieType::const_child_iterator,
                           typename TrieType::child_iterator>;

    BasicTrieEdgeIterator(TrieType& in_owner, const ChildIterator& in_child)
        : m_pOwner(&in_owner), m_child(in_child)
    {
    }
    operator BasicTrieEdgeIterator<const TrieType>() const { return {*m_pOwner, m_child}; }

    /// Returns the node from which the edge starts.
    [[nodiscard]] TrieType& owner() const { return *m_pOwner; }

    [[nodiscard]] bool isAtEnd() const { return m_child == m_pOwner->endChild(); }

    /// Return the label of the edge and the node to which it leads. Must not be called at the end.
    [[nodiscard]] const KeyType& key() const { return m_child.key(); }
    [[nodiscard]] TrieType* data() const { return m_child.data(); }

    /// Advances to the next edge of the owner. Must not be called at the end.
    BasicTrieEdgeIterator& operator++()
    {
        ++m_child;
        return *this;
    }

  private:
    TrieType* m_pOwner;
    ChildIterator m_child;
};

/// A node of a trie with the path to it from the node where the iteration began, or the end. The
/// common base of `TrieIterator` and `TrieConstIterator`. The iteration visits a node before its
/// children, and a child with all nodes below it before the next child. Children are visited in the
/// order of their table. Nodes that are only on the way to a longer key are visited too.
///
///     for (auto iter = trie.begin(); iter != trie.end(); ++iter)
///         use(iter.key(), iter.data());
///
/// An insertion below a node of the path invalidates it, except for the iterator that the insertion
/// returns.
template <class TrieType>
class VELMORA_API BasicTrieIterator
{
  public:
    using KeyType = typename TrieType::key_type;
    using EdgeIterator = BasicTrieEdgeIterator<TrieType>;

    /// Makes the end of every trie.
    BasicTrieIterator() = default;

    /// Starts at the given node, with an empty path.
    explicit BasicTrieIterator(TrieType& in_root) : m_pNode(&in_root) {}

    operator BasicTrieIterator<const TrieType>() const
    {
        return {m_pNode, {m_path.begin(), m_path.end()}, m_key};
    }

    /// Returns the node; null at the end. The other operations that read the node must not be
    /// called at the end.
    [[nodiscard]] TrieType* node() const { return m_pNode; }
    TrieType& operator*() const { return *m_pNode; }
    TrieType* operator->() const { return m_pNode; }
    [[nodiscard]] auto& data() const { return m_pNode->data(); }

    /// Returns the labels along the path.
    [[nodiscard]] const std::vector<KeyType>& key() const { return m_key; }

    /// Returns the edges along the path.
    [[nodiscard]] const std::vector<EdgeIterator>& path() const { return m_path; }

    /// Iterators are equal if they are at the same node or both at the end.
    friend bool operator==(const BasicTrieIterator& in_left, const BasicTrieIterator& in_right)
    {
        return in_left.m_pNode == in_right.m_pNode;
    }

    /// Advances to the next node. Does nothing at the end.
    BasicTrieIterator& operator++();

    /// Descends along an edge of the current node.
    /// Failure: returns false and changes nothing if the edge is at the end or does not start from
    /// the current node.
    bool advance(const EdgeIterator& in_edge);

  private:
    friend BasicTrieIterator<std::remove_const_t<TrieType>>;

    BasicTrieIterator(TrieType* in_pNode, std::vector<EdgeIterator> in_path,
                      std::vector<KeyType> in_key)
        : m_pNode(in_pNode), m_path(std::move(in_path)), m_key(std::move(in_key))
    {
    }

    void stackPush(const EdgeIterator& in_edge);
    void stackPop();
    bool incrementStackTop();

    TrieType* m_pNode = nullptr;
    std::vector<EdgeIterator> m_path;
    std::vector<KeyType> m_key;
};

template <class K, class D, class H>
using TrieEdgeIterator = BasicTrieEdgeIterator<Trie<K, D, H>>;
template <class K, class D, class H>
using TrieEdgeConstIterator = BasicTrieEdgeIterator<const Trie<K, D, H>>;
template <class K, class D, class H>
using TrieIterator = BasicTrieIterator<Trie<K, D, H>>;
template <class K, class D, class H>
using TrieConstIterator = BasicTrieIterator<const Trie<K, D, H>>;

template <class TrieType>
BasicTrieIterator<TrieType>& BasicTrieIterator<TrieType>::operator++()
{
    if (m_pNode == nullptr)
        return *this;
    if (advance(EdgeIterator(*m_pNode, m_pNode->beginChild())))
        return *this;
    while (!m_path.empty() && !incrementStackTop())
        stackPop();
    if (m_path.empty())
        m_pNode = nullptr;
    else
        m_key.back() = m_path.back().key();
    return *this;
}

template <class TrieType>
bool BasicTrieIterator<TrieType>::advance(const EdgeIterator& in_edge)
{
    if (&in_edge.owner() != m_pNode || in_edge.isAtEnd())
        return false;
    stackPush(in_edge);
    return true;
}

template <class TrieType>
void BasicTrieIterator<TrieType>::stackPush(const EdgeIterator& in_edge)
{
    m_path.push_back(in_edge);
    try
    {
        m_key.push_back(in_edge.key());
    }
    catch (...)
    {
        m_path.pop_back();
        throw;
    }
    m_pNode = in_edge.data();
}

template <class TrieType>
void BasicTrieIterator<TrieType>::stackPop()
{
    m_path.pop_back();
    m_key.pop_back();
}

template <class TrieType>
bool BasicTrieIterator<TrieType>::incrementStackTop()
{
    EdgeIterator& top = m_path.back();
    if ((++top).isAtEnd())
        return false;
    m_pNode = top.data();
    return true;
}

} // namespace Velmora

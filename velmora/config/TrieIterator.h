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

/// The way from a node of a trie to one of its children, or the end of the node's children: what
/// `TrieEdgeIterator` and `TrieEdgeConstIterator` have in common. `TrieType` is const for a trie
/// that is only read.
///
/// An insertion into the owner's children leaves it useless.
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

    /// The node that the edge starts from.
    [[nodiscard]] TrieType& owner() const { return *m_pOwner; }

    [[nodiscard]] bool isAtEnd() const { return m_child == m_pOwner->endChild(); }

    /// What the edge is labelled with, and the node that it leads to. Must not be at the end.
    [[nodiscard]] const KeyType& key() const { return m_child.key(); }
    [[nodiscard]] TrieType* data() const { return m_child.data(); }

    /// Moves on to the next edge of the owner. Must not be at the end.
    BasicTrieEdgeIterator& operator++()
    {
        ++m_child;
        return *this;
    }

  private:
    TrieType* m_pOwner;
    ChildIterator m_child;
};

/// A node of a trie with the path that leads to it from the node where the walk began, or the end:
/// what `TrieIterator` and `TrieConstIterator` have in common. Moving on visits a node before its
/// children, and the whole of a child before the next one; children come in the order of their
/// table. Nodes that only lie on the way to a longer key are visited too.
///
///     for (auto iter = trie.begin(); iter != trie.end(); ++iter)
///         use(iter.key(), iter.data());
///
/// An insertion below a node of the path leaves it useless, except the insertion that gives it.
template <class TrieType>
class VELMORA_API BasicTrieIterator
{
  public:
    using KeyType = typename TrieType::key_type;
    using EdgeIterator = BasicTrieEdgeIterator<TrieType>;

    /// The end of every trie.
    BasicTrieIterator() = default;

    /// The given node, where the walk begins, with an empty path.
    explicit BasicTrieIterator(TrieType& in_root) : m_pNode(&in_root) {}

    operator BasicTrieIterator<const TrieType>() const
    {
        return {m_pNode, {m_path.begin(), m_path.end()}, m_key};
    }

    /// The node itself; null at the end. Whatever else reads the node must not be called there.
    [[nodiscard]] TrieType* node() const { return m_pNode; }
    TrieType& operator*() const { return *m_pNode; }
    TrieType* operator->() const { return m_pNode; }
    [[nodiscard]] auto& data() const { return m_pNode->data(); }

    /// The labels along the path.
    [[nodiscard]] const std::vector<KeyType>& key() const { return m_key; }

    /// The edges along the path.
    [[nodiscard]] const std::vector<EdgeIterator>& path() const { return m_path; }

    /// Iterators are equal when they are at the same node or both at the end.
    friend bool operator==(const BasicTrieIterator& in_left, const BasicTrieIterator& in_right)
    {
        return in_left.m_pNode == in_right.m_pNode;
    }

    /// Moves on; does nothing at the end.
    BasicTrieIterator& operator++();

    /// Goes down an edge of the current node.
    /// Failure: false, and nothing happens, when the edge is at the end of its owner's or its owner
    /// is not the current node.
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

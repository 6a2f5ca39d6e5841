// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/Trie.h"

#include "tests/support/AccountingProcess.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmora::Test
{

using CharTrie = Trie<char, int>;

inline std::pair<CharTrie::iterator, bool> insert(CharTrie& inout_trie, std::string_view in_strKey,
                                                  int in_iData)
{
    return inout_trie.insert(in_strKey.begin(), in_strKey.end(), in_iData);
}

inline CharTrie* find(CharTrie& in_trie, std::string_view in_strKey)
{
    return in_trie.fastFind(in_strKey.begin(), in_strKey.end());
}

inline CharTrie trieOf(const std::vector<std::pair<std::string, int>>& in_entries)
{
    CharTrie trie;
    for (const auto& [strKey, iData] : in_entries)
        insert(trie, strKey, iData);
    return trie;
}

/// Returns key and data of each node in order.
template <class TrieType>
std::vector<std::pair<std::string, int>> contentOf(const TrieType& in_trie)
{
    std::vector<std::pair<std::string, int>> result;
    for (auto iter = in_trie.begin(); iter != in_trie.end(); ++iter)
    {
        const auto key = iter.key();
        result.emplace_back(std::string(key.begin(), key.end()), iter.data());
    }
    return result;
}

/// Returns the keys of a root's children in the order of their slots.
inline std::string childrenOf(const CharTrie& in_trie)
{
    std::string strResult;
    for (auto iter = in_trie.beginChild(); iter != in_trie.endChild(); ++iter)
        strResult += iter.key();
    return strResult;
}

inline void expectHeld(std::size_t in_uiNodes, std::size_t in_uiTables)
{
    EXPECT_EQ(bytesHeld("Trie"), static_cast<int>(in_uiNodes * sizeof(CharTrie)));
    EXPECT_EQ(bytesHeld("InternalHashMap"), static_cast<int>(in_uiTables * 16));
}

/// Destroys a child and leaves a null edge.
inline void makeEdgeNull(CharTrie& inout_trie, char in_cKey)
{
    const CharTrie::child_iterator edge = inout_trie.findChild(in_cKey);
    inout_trie.destroyChild(*edge);
    edge.data() = nullptr;
}

} // namespace Velmora::Test

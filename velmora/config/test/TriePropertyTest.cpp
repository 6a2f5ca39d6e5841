// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Trie.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/PropertyTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

/// A trie and its model: a map of all its nodes by their keys.
template <class K>
struct Pair
{
    Trie<K, int> trie;
    std::map<std::vector<K>, int> model{{{}, 0}};
};

template <class K>
class RandomOperations
{
  public:
    void run()
    {
        for (int i = 0; i != s_iRandomOperations; ++i)
        {
            Pair<K>& pair = m_pairs[m_random() % m_pairs.size()];
            doOne(pair);
            ASSERT_EQ(bytesHeld("Trie"), expectedBytes());
            if (i % 4096 == 0)
            {
                ASSERT_NO_FATAL_FAILURE(expectEqual(pair)) << i;
            }
        }
    }

  private:
    using Key = std::vector<K>;

    void doOne(Pair<K>& out_pair)
    {
        const unsigned int uiWhat = m_random() % 100000;
        if (uiWhat < 30000)
            insert(out_pair);
        else if (uiWhat < 55000)
            fastInsert(out_pair);
        else if (uiWhat < 70000)
            insertEdge(out_pair);
        else if (uiWhat < 99000)
            find(out_pair);
        else if (uiWhat < 99930)
            clear(out_pair);
        else if (uiWhat < 99980)
            assign(out_pair);
        else
            copy(out_pair);
    }

    K randomElement()
    {
        // Some nodes get more children than a table in the form of a list can hold.
        const unsigned int uiElement = m_random() % (m_random() % 8 == 0 ? 20 : 3);
        if constexpr (std::is_same_v<K, char>)
            return static_cast<char>(uiElement * 7 - 20);
        else
            return "component" + std::to_string(uiElement);
    }

    Key randomKey()
    {
        Key key;
        for (unsigned int uiLength = m_random() % 5; uiLength != 0; --uiLength)
            key.push_back(randomElement());
        return key;
    }

    /// Adds a key with all its prefixes. Returns whether the key itself is new.
    static bool addToModel(Pair<K>& out_pair, const Key& in_key, int in_iData)
    {
        bool bAdded = false;
        for (auto iter = in_key.begin(); iter != in_key.end(); ++iter)
            bAdded = out_pair.model.insert({Key(in_key.begin(), std::next(iter)), 0}).second;
        if (bAdded)
            out_pair.model[in_key] = in_iData;
        return bAdded;
    }

    void insert(Pair<K>& out_pair)
    {
        const Key key = randomKey();
        const int iData = static_cast<int>(m_random());
        const auto [iter, bInserted] = out_pair.trie.insert(key.begin(), key.end(), iData);
        ASSERT_EQ(bInserted, addToModel(out_pair, key, iData));
        ASSERT_EQ(iter.key(), key);
        ASSERT_EQ(iter.data(), out_pair.model.at(key));
    }

    void fastInsert(Pair<K>& out_pair)
    {
        const Key key = randomKey();
        const int iData = static_cast<int>(m_random());
        const auto [pNode, bInserted] = out_pair.trie.fastInsert(key.begin(), key.end(), iData);
        ASSERT_EQ(bInserted, addToModel(out_pair, key, iData));
        ASSERT_EQ(pNode->data(), out_pair.model.at(key));
        pNode->data() = out_pair.model[key] = iData + 1;
    }

    void insertEdge(Pair<K>& out_pair)
    {
        Key key = randomKey();
        Trie<K, int>* const pNode = out_pair.trie.fastFind(key.begin(), key.end());
        ASSERT_EQ(pNode != nullptr, out_pair.model.contains(key));
        if (pNode == nullptr)
            return;
        const int iData = static_cast<int>(m_random());
        const K element = randomElement();
        const auto [edge, bInserted] = pNode->insert(element, iData);
        key.push_back(element);
        const auto [modelIter, bModelInserted] = out_pair.model.insert({key, iData});
        ASSERT_EQ(bInserted, bModelInserted);
        ASSERT_EQ(edge.data()->data(), modelIter->second);
    }

    void find(const Pair<K>& in_pair)
    {
        const Key key = randomKey();
        const auto found = in_pair.trie.find(key.begin(), key.end());
        const auto modelFound = in_pair.model.find(key);
        ASSERT_EQ(found != in_pair.trie.end(), modelFound != in_pair.model.end());
        if (modelFound == in_pair.model.end())
            return;
        ASSERT_EQ(found.key(), key);
        ASSERT_EQ(found.data(), modelFound->second);
    }

    /// Clears a node below the root, and sometimes the root itself.
    void clear(Pair<K>& out_pair)
    {
        const Key key = randomKey();
        Trie<K, int>* const pNode = out_pair.trie.fastFind(key.begin(), key.end());
        if (pNode == nullptr)
            return;
        pNode->clear();
        std::erase_if(out_pair.model,
                      [&key](const auto& in_entry)
                      {
                          return in_entry.first.size() > key.size() &&
                                 std::equal(key.begin(), key.end(), in_entry.first.begin());
                      });
    }

    void assign(Pair<K>& out_pair)
    {
        const Pair<K>& other = m_pairs[m_random() % m_pairs.size()];
        out_pair.trie = other.trie;
        out_pair.model = other.model;
        ASSERT_NO_FATAL_FAILURE(expectEqual(out_pair));
    }

    static void copy(const Pair<K>& in_pair)
    {
        const Pair<K> made(in_pair);
        ASSERT_NO_FATAL_FAILURE(expectEqual(made));
        auto iter = made.trie.begin();
        for (const auto& node : in_pair.trie)
        {
            ASSERT_EQ(iter->size(), node.size());
            ++iter;
        }
    }

    static void expectEqual(const Pair<K>& in_pair)
    {
        std::size_t uiNodes = 0;
        for (auto iter = in_pair.trie.begin(); iter != in_pair.trie.end(); ++iter)
        {
            const auto found = in_pair.model.find(iter.key());
            ASSERT_NE(found, in_pair.model.end());
            ASSERT_EQ(iter.data(), found->second);
            ++uiNodes;
        }
        ASSERT_EQ(uiNodes, in_pair.model.size());
    }

    int expectedBytes() const
    {
        std::size_t uiNodes = 0;
        for (const Pair<K>& pair : m_pairs)
            uiNodes += pair.model.size() - 1;
        return static_cast<int>(uiNodes * sizeof(Trie<K, int>));
    }

    std::mt19937 m_random{1};
    std::array<Pair<K>, 3> m_pairs;
};

} // namespace

TEST(TrieProperty, BehavesAsAMapOfSequencesOfCharacters)
{
    inAccountingProcess([] { RandomOperations<char>().run(); });
}

TEST(TrieProperty, BehavesAsAMapOfSequencesOfTexts)
{
    inAccountingProcess([] { RandomOperations<std::string>().run(); });
}

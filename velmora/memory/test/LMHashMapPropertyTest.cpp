// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/LMHashMap.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/PropertyTest.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

/// A simple model of the table, slot by slot.
template <class K, class H>
class PlainTable
{
  public:
    std::vector<std::optional<std::pair<K, int>>> slots;
    std::size_t uiCount = 0;

    std::pair<std::size_t, bool> find(const K& in_key) const
    {
        const std::size_t uiCapacity = slots.size();
        const std::size_t uiFirst = uiCapacity > 8 ? H()(in_key) % uiCapacity : 0;
        for (std::size_t i = 0; i != uiCapacity; ++i)
        {
            const std::size_t uiIndex = (uiFirst + i) % uiCapacity;
            if (!slots[uiIndex])
                return {uiIndex, false};
            if (slots[uiIndex]->first == in_key)
                return {uiIndex, true};
        }
        return {uiCapacity, false};
    }

    void insert(const K& in_key, int in_iData)
    {
        if (slots.empty())
            slots.resize(1);
        if (find(in_key).second)
            return;
        ++uiCount;
        grow();
        slots[find(in_key).first].emplace(in_key, in_iData);
    }

    void erase(std::size_t in_uiIndex)
    {
        --uiCount;
        slots[in_uiIndex].reset();
        if (!pullUp(in_uiIndex + 1))
            pullUp(0);
    }

  private:
    bool pullUp(std::size_t in_uiFirst)
    {
        for (std::size_t i = in_uiFirst; i != slots.size(); ++i)
        {
            if (!slots[i])
                return true;
            if (const auto [uiIndex, bFound] = find(slots[i]->first); !bFound)
                std::swap(slots[uiIndex], slots[i]);
        }
        return false;
    }

    void grow()
    {
        // The largest number of elements for each capacity; with one more the table grows.
        static const std::array<std::size_t, 10> s_limits{1, 2, 4, 8, 13, 25, 51, 102, 205, 410};
        std::size_t uiCapacity = 1;
        for (const std::size_t uiLimit : s_limits)
        {
            if (uiCount <= uiLimit)
                break;
            uiCapacity *= 2;
        }
        if (uiCapacity <= slots.size())
            return;
        PlainTable larger;
        larger.slots.resize(uiCapacity);
        for (const auto& slot : slots)
            if (slot)
                larger.slots[larger.find(slot->first).first] = slot;
        slots.swap(larger.slots);
    }
};

template <class K, class H>
struct Trio
{
    LMHashMap<K, int, H> map;
    PlainTable<K, H> plain;
    std::unordered_map<K, int> model;
};

template <class K, class H>
class RandomOperations
{
  public:
    explicit RandomOperations(unsigned int in_uiKeys) : m_uiKeys(in_uiKeys) {}
    ~RandomOperations()
    {
        for (auto& trio : m_trios)
            trio.map.destroy();
    }
    RandomOperations(const RandomOperations&) = delete;
    RandomOperations& operator=(const RandomOperations&) = delete;

    void run()
    {
        for (int i = 0; i != s_iRandomOperations; ++i)
        {
            Trio<K, H>& trio = m_trios[m_random() % m_trios.size()];
            doOne(trio);
            ASSERT_EQ(trio.map.size(), trio.model.size());
            ASSERT_EQ(bytesHeld("LMVector<T>"), expectedBytes());
            if (i % 128 == 0)
            {
                ASSERT_NO_FATAL_FAILURE(expectEqual(trio)) << i;
            }
            if (m_random() % 20000 == 0)
                m_bGrowing = !m_bGrowing;
        }
        EXPECT_GT(m_iWrappedErases, 100);
    }

  private:
    void doOne(Trio<K, H>& out_trio)
    {
        const unsigned int uiWhat = m_random() % 10000;
        if (uiWhat < (m_bGrowing ? 4500U : 2500U))
            insert(out_trio);
        else if (uiWhat < 7000)
            erase(out_trio);
        else if (uiWhat < 9960)
            find(out_trio);
        else if (uiWhat < 9970)
            clear(out_trio);
        else if (uiWhat < 9975)
            destroy(out_trio);
        else if (uiWhat < 9990)
            out_trio = m_trios[m_random() % m_trios.size()];
        else
            copy(out_trio);
    }

    K randomKey()
    {
        const unsigned int uiKey = m_random() % m_uiKeys;
        if constexpr (std::is_same_v<K, char>)
            return static_cast<char>(uiKey);
        else
            return "a key of a length that varies" + std::to_string(uiKey);
    }

    void insert(Trio<K, H>& out_trio)
    {
        const K key = randomKey();
        const int iData = static_cast<int>(m_random());
        const auto [iter, bInserted] = out_trio.map.insert(key, iData);
        const auto [modelIter, bModelInserted] = out_trio.model.insert({key, iData});
        out_trio.plain.insert(key, iData);
        ASSERT_EQ(bInserted, bModelInserted);
        ASSERT_EQ(iter.key(), key);
        ASSERT_EQ(iter.data(), modelIter->second);
    }

    void erase(Trio<K, H>& out_trio)
    {
        const K key = randomKey();
        const auto found = out_trio.map.find(key);
        ASSERT_EQ(found != out_trio.map.end(), out_trio.model.erase(key) == 1);
        if (found == out_trio.map.end())
            return;
        countWrapped(out_trio.plain);
        out_trio.plain.erase(out_trio.map.table()->indexOf(found));
        out_trio.map.erase(found);
    }

    void countWrapped(const PlainTable<K, H>& in_plain)
    {
        if (in_plain.slots.size() > 8 && in_plain.slots.back() && in_plain.slots.front())
            ++m_iWrappedErases;
    }

    void find(const Trio<K, H>& in_trio)
    {
        const K key = randomKey();
        const auto found = in_trio.map.find(key);
        const auto modelFound = in_trio.model.find(key);
        ASSERT_EQ(found == in_trio.map.end(), modelFound == in_trio.model.end());
        if (modelFound != in_trio.model.end())
        {
            ASSERT_EQ(*found, (std::pair<K, int>(modelFound->first, modelFound->second)));
        }
    }

    static void clear(Trio<K, H>& out_trio)
    {
        out_trio.map.clear();
        out_trio.model.clear();
        for (auto& slot : out_trio.plain.slots)
            slot.reset();
        out_trio.plain.uiCount = 0;
    }

    static void destroy(Trio<K, H>& out_trio)
    {
        out_trio.map.destroy();
        out_trio.model.clear();
        out_trio.plain = {};
    }

    static void copy(Trio<K, H>& out_trio)
    {
        Trio<K, H> made(out_trio);
        ASSERT_NO_FATAL_FAILURE(expectEqual(made));
        out_trio.map.swap(made.map);
        made.map.destroy();
    }

    static void expectEqual(const Trio<K, H>& in_trio)
    {
        if (in_trio.plain.slots.empty())
        {
            ASSERT_EQ(in_trio.map.table(), nullptr);
            return;
        }
        const auto& table = *in_trio.map.table();
        const auto& slots = in_trio.plain.slots;
        ASSERT_EQ(table.capacity(), slots.size());
        auto iter = in_trio.map.begin();
        for (std::size_t i = 0; i != slots.size(); ++i)
        {
            ASSERT_EQ(table.isValid(i), slots[i].has_value());
            if (!slots[i])
                continue;
            ASSERT_EQ(table.indexOf(iter), i);
            ASSERT_EQ(*iter, *slots[i]);
            ASSERT_EQ(in_trio.model.at(iter.key()), iter.data());
            ASSERT_EQ(in_trio.map.find(iter.key()), iter);
            ++iter;
        }
        ASSERT_EQ(iter, in_trio.map.end());
    }

    int expectedBytes() const
    {
        std::size_t uiBytes = 0;
        for (const auto& trio : m_trios)
            if (const std::size_t uiCapacity = trio.plain.slots.size(); uiCapacity != 0)
                uiBytes += uiCapacity * sizeof(std::pair<K, int>) + uiCapacity / 8 + 9;
        return static_cast<int>(uiBytes);
    }

    unsigned int m_uiKeys;
    std::mt19937 m_random{1};
    bool m_bGrowing = true;
    int m_iWrappedErases = 0;
    std::array<Trio<K, H>, 3> m_trios;
};

/// Maps all keys to a few hashes, in the middle and at the end of all tables.
struct Colliding
{
    std::size_t operator()(char in_cKey) const noexcept
    {
        return static_cast<std::size_t>(in_cKey % 2 == 0 ? -2 : 7) -
               static_cast<std::size_t>(in_cKey % 3);
    }
};

} // namespace

TEST(LMHashMapProperty, BehavesAsAStandardMapOfTexts)
{
    inAccountingProcess([] { RandomOperations<std::string, LMHashFcn<std::string>>(110).run(); });
}

TEST(LMHashMapProperty, BehavesAsAStandardMapOfCharacters)
{
    inAccountingProcess([] { RandomOperations<char, LMHashFcn<char>>(256).run(); });
}

TEST(LMHashMapProperty, BehavesAsAStandardMapWhenKeysCollide)
{
    inAccountingProcess([] { RandomOperations<char, Colliding>(40).run(); });
}

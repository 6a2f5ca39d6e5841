// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/LMVector.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/PropertyTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

/// A vector and its expected content: the element of each valid slot.
template <class T>
struct Pair
{
    LMVector<T> vector;
    std::map<std::size_t, T> model;
    std::size_t uiCapacity = 0;
};

template <class T>
void expectEqual(const Pair<T>& in_pair)
{
    const LMVector<T>& vector = in_pair.vector;
    ASSERT_EQ(vector.capacity(), in_pair.uiCapacity);
    ASSERT_EQ(vector.size(), in_pair.model.size());
    auto iter = vector.begin_valid();
    for (const auto& [uiIndex, element] : in_pair.model)
    {
        ASSERT_EQ(vector.indexOf(iter), uiIndex);
        ASSERT_EQ(*iter, element);
        vector.increment(iter);
    }
    ASSERT_EQ(iter, vector.end_valid());
}

template <class T>
class RandomOperations
{
  public:
    void run()
    {
        for (int i = 0; i != s_iRandomOperations; ++i)
        {
            Pair<T>& pair = m_pairs[m_random() % m_pairs.size()];
            doOne(pair);
            ASSERT_EQ(bytesHeld("LMVector<T>"), expectedBytes());
            ASSERT_EQ(pair.vector.size(), pair.model.size());
            if (i % 64 == 0)
            {
                ASSERT_NO_FATAL_FAILURE(expectEqual(pair)) << i;
            }
        }
    }

  private:
    void doOne(Pair<T>& out_pair)
    {
        const unsigned int uiWhat = m_random() % 1000;
        if (uiWhat < 450)
            access(out_pair);
        else if (uiWhat < 700)
            look(out_pair);
        else if (uiWhat < 940)
            invalidate(out_pair);
        else if (uiWhat < 970)
            reserve(out_pair);
        else
            doRareOne(out_pair, uiWhat);
    }

    void doRareOne(Pair<T>& out_pair, unsigned int in_uiWhat)
    {
        if (in_uiWhat < 975)
        {
            out_pair.vector.clear();
            out_pair.model.clear();
        }
        else if (in_uiWhat < 980)
        {
            out_pair.vector.destroy();
            out_pair.model.clear();
            out_pair.uiCapacity = 0;
        }
        else if (in_uiWhat < 990)
            out_pair = m_pairs[m_random() % m_pairs.size()];
        else
        {
            Pair<T> copy(out_pair);
            ASSERT_NO_FATAL_FAILURE(expectEqual(copy));
            out_pair.vector.swap(copy.vector);
        }
    }

    void access(Pair<T>& out_pair)
    {
        if (out_pair.uiCapacity == 0)
            return;
        const std::size_t uiIndex = m_random() % out_pair.uiCapacity;
        ASSERT_EQ(out_pair.vector[uiIndex], out_pair.model[uiIndex]);
        const T element = elementOf(m_random());
        out_pair.vector[uiIndex] = element;
        out_pair.model[uiIndex] = element;
    }

    void look(const Pair<T>& in_pair)
    {
        if (in_pair.uiCapacity == 0)
            return;
        const std::size_t uiIndex = m_random() % in_pair.uiCapacity;
        const auto found = in_pair.model.find(uiIndex);
        ASSERT_EQ(in_pair.vector.isValid(uiIndex), found != in_pair.model.end());
        if (found != in_pair.model.end())
        {
            ASSERT_EQ(in_pair.vector.slot(uiIndex), found->second);
        }
    }

    void invalidate(Pair<T>& out_pair)
    {
        if (out_pair.model.empty())
            return;
        auto found = out_pair.model.lower_bound(m_random() % out_pair.uiCapacity);
        if (found == out_pair.model.end())
            found = out_pair.model.begin();
        out_pair.vector.invalidate(found->first);
        out_pair.model.erase(found);
    }

    void reserve(Pair<T>& out_pair)
    {
        const std::size_t uiCapacity = m_random() % 150;
        out_pair.vector.reserve(uiCapacity);
        out_pair.uiCapacity = std::max(out_pair.uiCapacity, uiCapacity);
    }

    static T elementOf(unsigned int in_uiNumber)
    {
        if constexpr (std::is_arithmetic_v<T>)
            return static_cast<T>(in_uiNumber);
        else
            return std::string(in_uiNumber % 40, static_cast<char>('a' + in_uiNumber % 26));
    }

    int expectedBytes() const
    {
        std::size_t uiBytes = 0;
        for (const Pair<T>& pair : m_pairs)
            if (pair.uiCapacity != 0)
                uiBytes += pair.uiCapacity * sizeof(T) + pair.uiCapacity / 8 + 9;
        return static_cast<int>(uiBytes);
    }

    std::mt19937 m_random{1};
    std::array<Pair<T>, 3> m_pairs;
};

} // namespace

TEST(LMVectorProperty, BehavesAsAMapOfIndexAndNumber)
{
    inAccountingProcess([] { RandomOperations<char>().run(); });
}

TEST(LMVectorProperty, BehavesAsAMapOfIndexAndText)
{
    inAccountingProcess([] { RandomOperations<std::string>().run(); });
}

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Velmora
{

/// The last items of a sequence, up to a given number. The memory for all of them is taken at once.
///
/// Thread-safety: none; the owner guards it.
/// Failure: the constructor throws `std::bad_alloc`.
template <class T>
class LastItems
{
  public:
    LastItems() = default;
    explicit LastItems(std::size_t in_uiMost) : m_uiMost(in_uiMost) { m_items.reserve(in_uiMost); }

    /// Adds an item, in the place of the oldest one if there is no other. Allocates nothing.
    void add(T in_item)
    {
        if (m_items.size() < m_uiMost)
            m_items.push_back(std::move(in_item));
        else if (m_uiMost != 0)
        {
            m_items[m_uiOldest] = std::move(in_item);
            m_uiOldest = (m_uiOldest + 1) % m_uiMost;
        }
    }

    [[nodiscard]] std::size_t size() const { return m_items.size(); }

    /// Returns an item by its age: the oldest is number 0.
    const T& operator[](std::size_t in_uiIndex) const
    {
        return m_items[(m_uiOldest + in_uiIndex) % m_items.size()];
    }

  private:
    std::vector<T> m_items;
    std::size_t m_uiMost = 0;
    std::size_t m_uiOldest = 0;
};

} // namespace Velmora

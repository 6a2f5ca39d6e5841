// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <atomic>
#include <cstdint>

namespace Velmora
{

/// Counts the changes of data that is written under a lock and read without it (a sequence lock).
/// The count is odd while the data changes. Readers write nothing that is shared, so they do not
/// slow each other down.
///
/// All data that is read must be loaded by `std::memory_order_acquire` and stored by
/// `std::memory_order_release`, so that the count needs no fence: see H.-J. Boehm, "Can seqlocks
/// get along with programming language memory models?", MSPC 2012.
///
/// Thread-safety: `read` may be called on any thread. The other operations need the lock.
class SequenceCount
{
  public:
    void beginChange() noexcept
    {
        // Also right in the child of a fork whose parent was within a change.
        m_uiCount.store(m_uiCount.load(std::memory_order_relaxed) | 1, std::memory_order_relaxed);
    }
    void endChange() noexcept
    {
        m_uiCount.store(m_uiCount.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    /// Calls the function, which reads the data, unless the data changes at the moment. Returns
    /// whether the function has read a consistent state. The function must cope with data of two
    /// states, which it may read before false is returned.
    template <class Read>
    [[nodiscard]] bool read(Read in_read) const
    {
        const std::uint64_t uiBefore = m_uiCount.load(std::memory_order_acquire);
        if (uiBefore % 2 != 0)
            return false;
        in_read();
        return m_uiCount.load(std::memory_order_relaxed) == uiBefore;
    }

  private:
    std::atomic<std::uint64_t> m_uiCount = 0;
};

} // namespace Velmora

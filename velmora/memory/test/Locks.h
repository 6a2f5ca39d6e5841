// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <atomic>
#include <cerrno>
#include <mutex>

namespace Velmora::Test
{

/// A lock that counts how often all locks of its type were acquired.
class CountingMutex
{
  public:
    int acquire()
    {
        s_uiNumAcquired.fetch_add(1, std::memory_order_relaxed);
        m_mutex.lock();
        return 0;
    }

    int release()
    {
        m_mutex.unlock();
        return 0;
    }

    static unsigned numAcquired() { return s_uiNumAcquired.load(std::memory_order_relaxed); }

  private:
    std::mutex m_mutex;
    static inline std::atomic<unsigned> s_uiNumAcquired{0};
};

/// A lock that cannot be acquired.
class FailingMutex
{
  public:
    int acquire()
    {
        errno = EDEADLK;
        return -1;
    }

    int release() { return -1; }
};

} // namespace Velmora::Test

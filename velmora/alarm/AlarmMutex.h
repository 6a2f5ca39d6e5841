// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"

#include <memory>
#include <utility>

namespace Velmora
{

/// The mutex of the registry of alarms. Alarms that are removed from the registry while it is held
/// are deleted when its holder has released it: an observer of such an alarm may have removed it,
/// so operations of that alarm may be among the callers.
class VELMORA_CAPABILITY("mutex") AlarmMutex : public GatedRecursiveMutex
{
  public:
    /// What was removed from the registry. The destructor deletes it.
    class Removed
    {
      public:
        Removed() = default;
        Removed(const Removed&) = delete;
        Removed& operator=(const Removed&) = delete;
        virtual ~Removed() = default;

        /// Is called with the mutex held, before the deletion.
        virtual void report() noexcept = 0;

      private:
        friend class AlarmMutex;
        std::unique_ptr<Removed> m_pNext;
    };

    /// Holds the mutex for a scope. A thread may have several; the first one deletes, in its
    /// destructor and without the mutex, what was removed while it lived.
    class VELMORA_SCOPED_CAPABILITY Guard
    {
      public:
        explicit Guard(AlarmMutex& inout_mutex)
            VELMORA_ACQUIRE(inout_mutex) VELMORA_NO_THREAD_SAFETY_ANALYSIS : m_mutex(inout_mutex),
                                                                             m_guard(inout_mutex)
        {
            ++m_mutex.m_uiGuards;
        }
        ~Guard() VELMORA_RELEASE() VELMORA_NO_THREAD_SAFETY_ANALYSIS
        {
            if (m_mutex.m_uiGuards == 1 && m_mutex.m_pRemoved != nullptr) [[unlikely]]
                m_pRemoved = m_mutex.takeRemoved();
            --m_mutex.m_uiGuards;
        }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

      private:
        AlarmMutex& m_mutex;
        /// Is destroyed after the mutex has been released.
        std::unique_ptr<Removed> m_pRemoved;
        GatedGuard<GatedRecursiveMutex> m_guard;
    };

    /// Takes over what was removed, until the first guard of the calling thread ends.
    void deleteWhenReleased(std::unique_ptr<Removed> in_pRemoved) VELMORA_REQUIRES(this)
    {
        std::unique_ptr<Removed>* pEnd = &m_pRemoved;
        while (*pEnd != nullptr)
            pEnd = &(*pEnd)->m_pNext;
        *pEnd = std::move(in_pRemoved);
    }

    /// Reports what was removed and has not been deleted, in its order, and returns it.
    std::unique_ptr<Removed> takeRemoved() VELMORA_REQUIRES(this)
    {
        // What a report calls may remove further alarms.
        for (Removed* pRemoved = m_pRemoved.get(); pRemoved != nullptr;
             pRemoved = pRemoved->m_pNext.get())
            pRemoved->report();
        return std::exchange(m_pRemoved, nullptr);
    }

  private:
    // Guarded by the mutex itself.
    unsigned int m_uiGuards = 0;
    std::unique_ptr<Removed> m_pRemoved;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/ProcessGate.h"
#include "velmora/memory/InAccount.h"

#include <ace/Thread_Mutex.h>

#include <pthread.h>

#include <cstdint>

namespace Velmora
{

/// The count that the handles on one object share, for handles that belong to one thread at a time.
///
/// Ownership: the handles own the count; the last one deletes it.
/// Thread-safety: none.
class ReferenceCount : public InAccount<"ReferenceCount">
{
  public:
    ReferenceCount() = default;
    ReferenceCount(const ReferenceCount&) = delete;
    ReferenceCount& operator=(const ReferenceCount&) = delete;

    void acquireLock() {}
    void releaseLock() {}

    /// The number of handles that share the object; starts at 1.
    std::uint32_t m_uiCount = 1;
};

/// The count that the handles on one object share, for objects that several threads share. The
/// mutex is held at each change of the count and while the object is deleted.
///
/// Ownership: the handles own the count; the last one deletes it.
/// Thread-safety: `m_uiCount` may be read and written between `acquireLock` and `releaseLock`.
class TSReferenceCount : public InAccount<"TSReferenceCount">
{
  public:
    TSReferenceCount() = default;
    TSReferenceCount(const TSReferenceCount&) = delete;
    TSReferenceCount& operator=(const TSReferenceCount&) = delete;

    void acquireLock()
    {
        ProcessGate::enter();
        // Bypasses the wrappers of ACE, which take as long as the rest of the copy of a handle.
        pthread_mutex_lock(&m_mutex.lock());
        m_bLocked = true;
    }

    void releaseLock()
    {
        m_bLocked = false;
        pthread_mutex_unlock(&m_mutex.lock());
        ProcessGate::leave();
    }

    /// Returns whether a thread holds the lock. Is meant for a debugger, or for the thread that
    /// holds it.
    [[nodiscard]] bool isLocked() const { return m_bLocked; }

  private:
    /// Guards `m_uiCount` and `m_bLocked`. The destructor of the object runs while it is held.
    ACE_Thread_Mutex m_mutex;

  public:
    /// The number of handles that share the object; starts at 1.
    std::uint32_t m_uiCount = 1;

  private:
    bool m_bLocked = false;
};

} // namespace Velmora

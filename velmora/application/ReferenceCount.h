#pragma once

#include "velmora/Export.h"
#include "velmora/application/ProcessGate.h"
#include "velmora/memory/InAccount.h"

#include <ace/Thread_Mutex.h>

#include <pthread.h>

#include <cstdint>

namespace Velmora
{

/// The count that the handles of one object share, for handles that belong to one thread at a time.
///
/// Ownership: the handles'; the last one deletes it.
/// Thread-safety: none.
class ReferenceCount : public InAccount<"ReferenceCount">
{
  public:
    ReferenceCount() = default;
    ReferenceCount(const ReferenceCount&) = delete;
    ReferenceCount& operator=(const ReferenceCount&) = delete;

    void acquireLock() {}
    void releaseLock() {}

    /// How many handles share the object; starts at 1.
    std::uint32_t m_uiCount = 1;
};

/// The count that the handles of one object share, for objects that several threads hold. Each
/// change of the count, and the deletion of the object, happens under its mutex.
///
/// Ownership: the handles'; the last one deletes it.
/// Thread-safety: `m_uiCount` is read and written between `acquireLock` and `releaseLock`.
class TSReferenceCount : public InAccount<"TSReferenceCount">
{
  public:
    TSReferenceCount() = default;
    TSReferenceCount(const TSReferenceCount&) = delete;
    TSReferenceCount& operator=(const TSReferenceCount&) = delete;

    void acquireLock()
    {
        ProcessGate::enter();
        // Not through ACE's wrappers, which take as long as all else that a copy of a handle does.
        pthread_mutex_lock(&m_mutex.lock());
        m_bLocked = true;
    }

    void releaseLock()
    {
        m_bLocked = false;
        pthread_mutex_unlock(&m_mutex.lock());
        ProcessGate::leave();
    }

    /// Whether a thread holds the lock; for a debugger, or for the thread that holds it.
    [[nodiscard]] bool isLocked() const { return m_bLocked; }

  private:
    ACE_Thread_Mutex m_mutex;

  public:
    /// How many handles share the object; starts at 1.
    std::uint32_t m_uiCount = 1;

  private:
    bool m_bLocked = false;
};

} // namespace Velmora

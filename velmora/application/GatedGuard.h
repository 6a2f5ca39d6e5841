// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Sanitizers.h"
#include "velmora/ThreadAnnotations.h"
#include "velmora/application/ProcessGate.h"

#include <ace/RW_Mutex.h>

#include <pthread.h>

#include <concepts>
#include <memory>
#include <utility>

namespace Velmora
{

/// A mutex of ACE that gives access to its native mutex.
template <class Lock>
concept HasNativeMutex = std::same_as<decltype(std::declval<Lock&>().lock()), pthread_mutex_t&>;

/// Locks and unlocks a mutex for a guard. Also works for mutexes that have only `acquire` and
/// `release`.
///
/// `acquire` returns -1 and sets `errno` if the lock cannot be taken, as ACE's locks do.
/// `takeIfFree` takes the lock if that needs no wait, and does not change `errno`.
template <class Lock>
struct ExclusiveLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.acquire(); }
    static bool takeIfFree(Lock& inout_lock)
    {
        if constexpr (HasNativeMutex<Lock>)
            return pthread_mutex_trylock(&inout_lock.lock()) == 0;
        else
            return false;
    }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

/// Returns the native lock in a read-write lock of ACE.
inline pthread_rwlock_t* nativeLockOf(const ACE_RW_Mutex& in_lock)
{
    return const_cast<pthread_rwlock_t*>(&in_lock.lock());
}

/// Locks a read-write lock for reading. A thread may hold it several times.
/// Failure: EDEADLK if the thread holds the lock for writing.
template <class Lock>
struct ReadLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.acquire_read(); }
    static bool takeIfFree(Lock& inout_lock)
    {
        return pthread_rwlock_tryrdlock(nativeLockOf(inout_lock)) == 0;
    }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

/// Locks a read-write lock for writing.
/// Failure: EDEADLK if the thread already holds the lock.
template <class Lock>
struct WriteLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.acquire_write(); }
    static bool takeIfFree(Lock& inout_lock)
    {
        return pthread_rwlock_trywrlock(nativeLockOf(inout_lock)) == 0;
    }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

/// Locks a read-write lock for reading if no thread holds it for writing. Does not wait.
template <class Lock>
struct TryReadLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.tryacquire_read(); }
    static bool takeIfFree(Lock& inout_lock) { return ReadLocking<Lock>::takeIfFree(inout_lock); }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

/// Passes the gate and holds a lock, for a scope. The library takes its locks by this guard;
/// "velmora/ungated-locks.list" names the exceptions.
///
///     const GatedGuard<GatedMutex> guard(m_mutex);
///
/// With the locks of "GatedMutex.h", clang checks that members are used only while their lock is
/// held.
///
/// A fork and a change of the logging configuration wait until the guard is destroyed. A fork does
/// not wait for a guard that waits for its lock, if its thread holds no other lock of the library.
/// A line that is logged under the guard is appended after the guard is destroyed. In the child of
/// a fork, a lock that another thread held is initialised again. The forking thread still holds its
/// own locks.
///
/// Ownership: the lock belongs to the caller and must outlive the guard.
/// Thread-safety: a guard belongs to the thread that created it. The guards of a thread must be
/// destroyed in reverse order.
/// Failure: if the lock cannot be taken, the guard holds nothing and `isLocked` returns false. A
/// guard that takes its lock leaves `errno` unchanged.
template <class Lock, template <class> class Locking = ExclusiveLocking>
class VELMORA_SCOPED_CAPABILITY GatedGuard
{
  public:
    explicit GatedGuard(Lock& inout_lock)
        VELMORA_ACQUIRE(inout_lock) VELMORA_NO_THREAD_SAFETY_ANALYSIS : m_pLock(&inout_lock)
    {
        ProcessGate::beginHolding(m_pLock, &act);
        if (!takeIfFree() && acquire() == -1) [[unlikely]]
        {
            m_pLock = nullptr;
            ProcessGate::endHolding();
        }
    }
    ~GatedGuard() VELMORA_RELEASE() VELMORA_NO_THREAD_SAFETY_ANALYSIS
    {
        if (m_pLock == nullptr) [[unlikely]]
            return;
        Locking<Lock>::release(*m_pLock);
        ProcessGate::endHolding();
    }
    GatedGuard(const GatedGuard&) = delete;
    GatedGuard& operator=(const GatedGuard&) = delete;

    [[nodiscard]] bool isLocked() const { return m_pLock != nullptr; }

  private:
    /// Does nothing under ThreadSanitizer, which learns the order of locks only from locks that are
    /// waited for.
    bool takeIfFree() { return !VELMORA_THREAD_SANITIZER && Locking<Lock>::takeIfFree(*m_pLock); }

    [[gnu::noinline]] int acquire()
    {
        return ProcessGate::waitForLock(
            ProcessGate::Awaited::noted, [this] { return Locking<Lock>::acquire(*m_pLock); },
            [this] { Locking<Lock>::release(*m_pLock); });
    }

    static void act(void* in_pLock, ProcessGate::LockAction in_action)
    {
        auto* const pLock = static_cast<Lock*>(in_pLock);
        switch (in_action)
        {
        case ProcessGate::LockAction::renew:
            std::construct_at(pLock);
            break;
        case ProcessGate::LockAction::acquire:
            Locking<Lock>::acquire(*pLock);
            break;
        case ProcessGate::LockAction::release:
            Locking<Lock>::release(*pLock);
            break;
        }
    }

    Lock* m_pLock;
};

} // namespace Velmora

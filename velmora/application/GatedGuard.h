#pragma once

#include "velmora/Sanitizers.h"
#include "velmora/application/ProcessGate.h"

#include <ace/RW_Mutex.h>

#include <pthread.h>

#include <concepts>
#include <memory>
#include <utility>

namespace Velmora
{

/// A mutex of ACE, whose native mutex can be had.
template <class Lock>
concept HasNativeMutex = std::same_as<decltype(std::declval<Lock&>().lock()), pthread_mutex_t&>;

/// How a guard takes and leaves a lock. `acquire` returns -1, with `errno` set, if the lock cannot
/// be had, as ACE's locks do. `takeIfFree` takes it if that needs no wait, and leaves `errno`
/// alone. This one is for mutexes, also those that know only `acquire` and `release`.
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

/// What a read-write lock of ACE consists of.
inline pthread_rwlock_t* nativeLockOf(const ACE_RW_Mutex& in_lock)
{
    return const_cast<pthread_rwlock_t*>(&in_lock.lock());
}

/// Shares a read-write lock with other readers. A thread may hold it several times.
/// Failure: EDEADLK for the thread that holds it for writing.
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

/// Holds a read-write lock alone.
/// Failure: EDEADLK for the thread that holds it already.
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

/// Shares a read-write lock if no thread holds it for writing at that moment. Does not wait.
template <class Lock>
struct TryReadLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.tryacquire_read(); }
    static bool takeIfFree(Lock& inout_lock) { return ReadLocking<Lock>::takeIfFree(inout_lock); }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

/// The guard of every lock of the library: passes the gate, then holds the lock, for a scope.
///
///     const GatedGuard<ACE_Thread_Mutex> guard(m_mutex);
///
/// A fork and a change of the logging configuration wait until the guard is gone. A fork does not
/// wait while the guard waits for its lock and the thread holds no other. A line that is logged
/// while it lives is appended afterwards. In the child of a fork, a lock that another thread held
/// is made anew, and the forking thread goes on to hold its own.
///
/// Ownership: the caller's lock, which outlives the guard.
/// Thread-safety: belongs to the thread that made it; guards of a thread end in reverse order.
/// Failure: a lock that cannot be had is done without; `isLocked` is false. A lock that is had
/// leaves `errno` as it was.
template <class Lock, template <class> class Locking = ExclusiveLocking>
class GatedGuard
{
  public:
    explicit GatedGuard(Lock& inout_lock) : m_pLock(&inout_lock)
    {
        ProcessGate::beginHolding(m_pLock, &act);
        if (!takeIfFree() && acquire() == -1) [[unlikely]]
        {
            m_pLock = nullptr;
            ProcessGate::endHolding();
        }
    }
    ~GatedGuard()
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
    /// ThreadSanitizer learns the order of locks only from those that are waited for.
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

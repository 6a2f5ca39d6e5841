#pragma once

#include "velmora/application/ProcessGate.h"

#include <memory>

namespace Velmora
{

/// How a guard takes and leaves a lock.
template <class Lock>
struct ExclusiveLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.acquire(); }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

template <class Lock>
struct ReadLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.acquire_read(); }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

template <class Lock>
struct WriteLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.acquire_write(); }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

template <class Lock>
struct TryReadLocking
{
    static int acquire(Lock& inout_lock) { return inout_lock.tryacquire_read(); }
    static void release(Lock& inout_lock) { inout_lock.release(); }
};

/// The guard of every lock of the library: passes the gate, then holds the lock, for a scope.
///
/// Failure: a lock that cannot be had is done without; `isLocked` is false.
template <class Lock, template <class> class Locking = ExclusiveLocking>
class GatedGuard
{
  public:
    explicit GatedGuard(Lock& inout_lock) : m_pLock(&inout_lock)
    {
        ProcessGate::beginHolding(m_pLock, &act);
        if (Locking<Lock>::acquire(inout_lock) == -1) [[unlikely]]
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

#pragma once

#include "velmora/Export.h"

#include <ace/Guard_T.h>

namespace Velmora
{

/// Keeps a fork away from the moments in which an allocator holds one of its locks: the child would
/// find the lock held by a thread that it does not have, and the memory behind it half changed.
///
/// Code that takes such a lock holds a `Pass` around it. A thread may hold several.
///
/// Thread-safety: may be used on any thread. The gate is taken before all locks of the allocators,
/// and a thread that holds a pass does not fork.
class VELMORA_API ForkGate
{
  public:
    class VELMORA_API Pass
    {
      public:
        Pass();
        ~Pass();
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
    };

    /// Waits until nobody holds a pass, and lets nobody have one until the gate is opened again.
    static void close();

    /// Opens the gate again, in the parent and in the child.
    static void open();
};

/// Holds a lock of an allocator, with a pass. A lock operation that fails sets `errno`, and the
/// work goes on.
template <class Mutex>
class ForkSafeGuard
{
  public:
    explicit ForkSafeGuard(Mutex& in_mutex) : m_guard(in_mutex) {}

  private:
    ForkGate::Pass m_pass;
    ACE_Guard<Mutex> m_guard;
};

} // namespace Velmora

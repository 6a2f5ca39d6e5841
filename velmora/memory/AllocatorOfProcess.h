// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"
#include "velmora/memory/MemAllocatorT.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

#include <atomic>
#include <typeinfo>

namespace Velmora
{

/// Holds the only allocator of class `Allocator` in this process. It is created on first use and
/// destroyed by the exit list. `Allocator` derives from `ACE_Cleanup`.
///
/// Thread-safety: may be called on any thread.
template <class Allocator>
class AllocatorOfProcess
{
  public:
    /// Returns the allocator, and creates it if necessary. Returns null once the exit list has
    /// destroyed it.
    static Allocator* get()
    {
        if (Allocator* const pAllocator = s_pAllocator.load(std::memory_order_acquire)) [[likely]]
            return pAllocator;
        return make();
    }

  private:
    /// Clears `s_pAllocator` on destruction, so that `get` returns null from then on.
    class Registered : public Allocator
    {
      public:
        Registered() : Allocator(Logger("keswardin.infra.MemAllocator"), true) {}
        ~Registered() override { s_pAllocator.store(nullptr, std::memory_order_release); }
    };

    [[gnu::noinline]] static Allocator* make()
    {
        // After the destruction this is still true, so no second allocator is created.
        static const bool s_bMade = []
        {
            auto* const pAllocator = new Registered;
            s_pAllocator.store(pAllocator, std::memory_order_release);
            ACE_Object_Manager::at_exit(static_cast<ACE_Cleanup*>(pAllocator), nullptr,
                                        typeid(Allocator).name());
            return true;
        }();
        static_cast<void>(s_bMade);
        return s_pAllocator.load(std::memory_order_acquire);
    }

    static constinit inline std::atomic<Allocator*> s_pAllocator{nullptr};
};

} // namespace Velmora

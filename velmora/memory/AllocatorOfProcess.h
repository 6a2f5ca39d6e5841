#pragma once

#include "velmora/logging/Logger.h"
#include "velmora/memory/MemAllocatorT.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

#include <atomic>
#include <typeinfo>

namespace Velmora
{

/// The one allocator of class `Allocator` of this process: made on first use, destroyed by the exit
/// list. `Allocator` derives from an `ACE_Cleanup`.
///
/// Thread-safety: may be called on any thread.
template <class Allocator>
class AllocatorOfProcess
{
  public:
    /// The allocator, made if need be; null once the exit list has destroyed it.
    static Allocator* get()
    {
        if (Allocator* const pAllocator = s_pAllocator.load(std::memory_order_acquire)) [[likely]]
            return pAllocator;
        return make();
    }

  private:
    /// Tells that the allocator is gone.
    class Registered : public Allocator
    {
      public:
        Registered() : Allocator(Logger("keswardin.infra.MemAllocator"), true) {}
        ~Registered() override { s_pAllocator.store(nullptr, std::memory_order_release); }
    };

    [[gnu::noinline]] static Allocator* make()
    {
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

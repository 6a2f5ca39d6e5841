#pragma once

#include "velmora/Sanitizers.h"
#include "velmora/application/ProcessGate.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <span>

namespace Velmora
{

/// Orders a thread's own store before its next load, against a thread that makes all others see its
/// stores. The compiler must keep to it; the processor is made to by the other side.
/// ThreadSanitizer knows nothing of that, so it gets a real fence's orders.
inline constexpr std::memory_order s_orderOfPass =
    VELMORA_THREAD_SANITIZER ? std::memory_order_seq_cst : std::memory_order_relaxed;
inline constexpr std::memory_order s_orderOfLook =
    VELMORA_THREAD_SANITIZER ? std::memory_order_seq_cst : std::memory_order_acquire;

/// What the gate knows of a thread. Used again for a new thread once its own has ended, and never
/// deleted. Belongs to its thread, but for the atomic members; it has a cache line of its own.
struct alignas(64) ProcessGate::Thread
{
    struct Held
    {
        void* pLock;
        ActOnLock pAct;
    };
    /// Locks beyond this number are not made anew in the child of a fork.
    static constexpr std::size_t s_uiMostHeld = 32;

    /// What waits, of which a part may be running.
    struct Batch
    {
        Deferred* pRest;
        Batch* pOuter;
    };

    void runDeferred() noexcept;
    /// Runs the rest of all batches, too.
    void runAll() noexcept;
    /// Nobody's, as after the end of its thread.
    void forget() noexcept;

    [[nodiscard]] std::span<const Held> notedLocks() const
    {
        return std::span(held).first(std::min(uiHeld, s_uiMostHeld));
    }

    /// How many passes the thread holds, in all copies of the library.
    std::atomic<unsigned int> uiInside{0};
    /// Whether it counts as outside for forks all the same, as it waits for a lock.
    std::atomic<bool> bWaiting{false};
    /// How many copies of the library have it for their thread.
    unsigned int uiCopies = 0;
    bool bDefersNothing = false;
    std::size_t uiHeld = 0;
    std::array<Held, s_uiMostHeld> held{};
    Deferred* pFirstDeferred = nullptr;
    Deferred* pLastDeferred = nullptr;
    Batch* pBatch = nullptr;
    /// The next one of all.
    Thread* pNext = nullptr;
    /// The next one that is nobody's.
    Thread* pNextFree = nullptr;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

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

/// Order a thread's own store before its next load, as seen by the thread that closes the gate.
/// Here they only prevent the compiler from reordering; the closing thread imposes the order on the
/// processor (membarrier). ThreadSanitizer does not know about that, so its builds use sequentially
/// consistent operations.
inline constexpr std::memory_order s_orderOfPass =
    VELMORA_THREAD_SANITIZER ? std::memory_order_seq_cst : std::memory_order_relaxed;
inline constexpr std::memory_order s_orderOfLook =
    VELMORA_THREAD_SANITIZER ? std::memory_order_seq_cst : std::memory_order_acquire;

/// The gate's record of a thread. When the thread has ended, the record is reused for another
/// thread; it is never deleted. Only its thread uses it, except the atomic members. It has its own
/// cache line.
struct alignas(64) ProcessGate::Thread
{
    struct Held
    {
        void* pLock;
        ActOnLock pAct;
    };
    /// Locks beyond this number are not initialised again in the child of a fork.
    static constexpr std::size_t s_uiMostHeld = 32;

    /// Deferred work that is being run. Batches are nested, as work may itself defer other work.
    struct Batch
    {
        Deferred* pRest;
        Batch* pOuter;
    };

    void runDeferred() noexcept;
    /// Runs the deferred work and the rest of all batches.
    void runAll() noexcept;
    /// Resets the record, which then belongs to no thread.
    void forget() noexcept;

    [[nodiscard]] std::span<const Held> notedLocks() const
    {
        return std::span(held).first(std::min(uiHeld, s_uiMostHeld));
    }

    /// The number of passes that the thread holds, in all copies of the library.
    std::atomic<unsigned int> uiInside{0};
    /// Whether the thread counts as outside for forks despite its passes, because it waits for a
    /// lock.
    std::atomic<bool> bWaiting{false};
    /// The number of copies of the library that use the record for its thread.
    unsigned int uiCopies = 0;
    /// Whether work of the thread runs at once, as the process is about to end.
    bool bDefersNothing = false;
    /// The number of locks that the thread holds or is about to take; `held` has the first of them.
    std::size_t uiHeld = 0;
    std::array<Held, s_uiMostHeld> held{};
    Deferred* pFirstDeferred = nullptr;
    Deferred* pLastDeferred = nullptr;
    Batch* pBatch = nullptr;
    /// The next in the list of all records.
    Thread* pNext = nullptr;
    /// The next in the list of free records.
    Thread* pNextFree = nullptr;
};

} // namespace Velmora

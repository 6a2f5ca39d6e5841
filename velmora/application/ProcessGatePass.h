// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/ProcessGate.h"
#include "velmora/application/ProcessGateImpl.h"
#include "velmora/application/ProcessGateThread.h"

#include <atomic>

namespace Velmora
{

/// Passes the gate for a scope, as `Pass` does. A log line passes the gate twice, so its passes are
/// inlined. Rare cases end in a call of a separate function, so that the common case needs no stack
/// frame.
class ProcessGate::InlinePass
{
  public:
    [[gnu::always_inline]] InlinePass() noexcept { enter(); }
    [[gnu::always_inline]] ~InlinePass() { leave(); }
    InlinePass(const InlinePass&) = delete;
    InlinePass& operator=(const InlinePass&) = delete;

    /// Returns whether the calling thread holds a lock of the library, so that its lines wait.
    [[nodiscard]] static bool isHolding() noexcept
    {
        const Thread& own = *s_pThread;
        return own.uiHeld != 0 && !own.bDefersNothing;
    }

    [[gnu::always_inline]] static void enter() noexcept
    {
        if (s_pThread == nullptr) [[unlikely]]
            return enterAsNewThread();
        std::atomic<unsigned int>& uiInside = s_pThread->uiInside;
        const unsigned int uiBefore = uiInside.load(std::memory_order_relaxed);
        uiInside.store(uiBefore + 1, s_orderOfPass);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (uiBefore == 0 && !Gate::isOpen()) [[unlikely]]
            waitOutside();
    }

    [[gnu::always_inline]] static void leave() noexcept
    {
        std::atomic<unsigned int>& uiInside = s_pThread->uiInside;
        uiInside.store(uiInside.load(std::memory_order_relaxed) - 1, std::memory_order_release);
    }
};

} // namespace Velmora

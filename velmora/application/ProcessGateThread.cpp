// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGateThread.h"

#include <utility>

namespace Velmora
{

void ProcessGate::Thread::runDeferred() noexcept
{
    // Work may itself take locks. What is deferred for those runs within that work; what was
    // deferred before runs after it.
    Batch batch{std::exchange(pFirstDeferred, nullptr), pBatch};
    pBatch = &batch;
    while (Deferred* const pWork = batch.pRest)
    {
        batch.pRest = std::exchange(pWork->m_pNext, nullptr);
        pWork->run();
    }
    pBatch = batch.pOuter;
}

void ProcessGate::Thread::runAll() noexcept
{
    for (Batch* pInner = pBatch; pInner != nullptr; pInner = pInner->pOuter)
        while (Deferred* const pWork = pInner->pRest)
        {
            pInner->pRest = std::exchange(pWork->m_pNext, nullptr);
            pWork->run();
        }
    runDeferred();
}

void ProcessGate::Thread::forget() noexcept
{
    uiInside.store(0, std::memory_order_release);
    bWaiting.store(false, std::memory_order_relaxed);
    uiCopies = 0;
    bDefersNothing = false;
    uiHeld = 0;
    pFirstDeferred = nullptr;
    pBatch = nullptr;
}

} // namespace Velmora

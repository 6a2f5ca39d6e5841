// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGate.h"

#include "velmora/application/ProcessGateImpl.h"
#include "velmora/application/ProcessGatePass.h"
#include "velmora/application/ProcessGateThread.h"

#include <exception>

namespace Velmora
{

constinit thread_local ProcessGate::Thread* ProcessGate::s_pThread = nullptr;

ProcessGate::Gate& ProcessGate::gate() noexcept
{
    static Gate& s_gate = Gate::ofProcess();
    return s_gate;
}

void ProcessGate::initialize() { gate(); }

ProcessGate::Thread& ProcessGate::thread() noexcept
{
    if (s_pThread == nullptr) [[unlikely]]
        meetThread();
    return *s_pThread;
}

[[gnu::noinline]] void ProcessGate::meetThread() noexcept
{
    static const pthread_key_t s_key = []
    {
        pthread_key_t key{};
        pthread_key_create(&key, &endOfThread);
        return key;
    }();
    // The copies of the library share one record, which becomes free when the last copy ends it.
    Thread& found = gate().threadOfCaller();
    ++found.uiCopies;
    pthread_setspecific(s_key, &found);
    s_pThread = &found;
}

void ProcessGate::endOfThread(void* in_pThread) noexcept
{
    s_pThread = nullptr;
    gate().endThread(*static_cast<Thread*>(in_pThread));
}

void ProcessGate::enter() noexcept { InlinePass::enter(); }

[[gnu::noinline]] void ProcessGate::enterAsNewThread() noexcept
{
    meetThread();
    enter();
}

[[gnu::noinline]] void ProcessGate::waitOutside() noexcept { gate().waitOutside(*s_pThread, 1); }

void ProcessGate::leave() noexcept { InlinePass::leave(); }

bool ProcessGate::isInside() noexcept
{
    return thread().uiInside.load(std::memory_order_relaxed) != 0;
}

bool ProcessGate::whileClosed(bool (*in_pFunction)(void*), void* in_pArgument)
{
    Gate& theGate = gate();
    bool bDone = false;
    std::exception_ptr pThrown;
    const auto work = [&]
    {
        try
        {
            const auto inside = [&]
            {
                const Pass pass;
                return in_pFunction(in_pArgument);
            };
            using Inside = decltype(inside);
            bDone = theGate.close(
                Gate::closed, Gate::Clock::now() + s_limit,
                [](void* in_pInside) { return (*static_cast<const Inside*>(in_pInside))(); },
                const_cast<void*>(static_cast<const void*>(&inside)));
        }
        catch (...)
        {
            pThrown = std::current_exception();
        }
        // After the time is over, another thread may have the turn.
        if (theGate.isCloser())
            theGate.endTurn();
    };
    Gate::withoutInterpreter(work);
    if (pThrown)
        std::rethrow_exception(pThrown);
    return bDone;
}

bool ProcessGate::closeForFork() noexcept
{
    Gate& theGate = gate();
    if (theGate.isCloser())
    {
        // A fork inside a fork handler, or inside the work of `whileClosed`: the gate is closed
        // already.
        ++theGate.m_uiClosings;
        return true;
    }
    const Gate::Clock::time_point end = Gate::Clock::now() + s_limit;
    const Gate::State state =
        Gate::s_interpreter.pIsHeld() ? Gate::closedForForkButForInterpreter : Gate::closedForFork;
    bool bClosed = false;
    do
        Gate::withoutInterpreter(
            [&]
            {
                bClosed = theGate.close(
                    state, end, [](void*) { return true; }, nullptr);
            });
    // The thread waited for the interpreter lock in between. A thread that held it may have passed.
    while (bClosed && !theGate.isNobodyElseInside(state));
    return bClosed;
}

void ProcessGate::open() noexcept
{
    Gate& theGate = gate();
    if (theGate.isCloser() && --theGate.m_uiClosings == 0)
        theGate.endTurn();
}

void ProcessGate::openInChild() noexcept { gate().startAnewInChild(thread()); }

void ProcessGate::stopWaiting() noexcept
{
    gate().stopWaiting();
    stopDeferring();
}

void ProcessGate::beginHolding(void* in_pLock, ActOnLock in_pAct) noexcept
{
    if (s_pThread == nullptr) [[unlikely]]
        return beginHoldingAsNewThread(in_pLock, in_pAct);
    Thread& own = *s_pThread;
    // The lock is recorded before it is taken. A fork may come in between and initialise a lock
    // that no thread holds, which does no harm.
    if (own.uiHeld < Thread::s_uiMostHeld)
        own.held[own.uiHeld] = {in_pLock, in_pAct};
    // A fork may read this record while the thread waits for the lock, so the entry must be stored
    // before the count.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    ++own.uiHeld;
    enter();
}

[[gnu::noinline]] void ProcessGate::beginHoldingAsNewThread(void* in_pLock,
                                                            ActOnLock in_pAct) noexcept
{
    meetThread();
    beginHolding(in_pLock, in_pAct);
}

void ProcessGate::endHolding() noexcept
{
    Thread& own = *s_pThread;
    if (--own.uiHeld == 0 && own.pFirstDeferred != nullptr) [[unlikely]]
        return runDeferredAndLeave();
    leave();
}

[[gnu::noinline]] void ProcessGate::runDeferredAndLeave() noexcept
{
    s_pThread->runDeferred();
    leave();
}

bool ProcessGate::beginWaiting(Awaited in_awaited) noexcept
{
    Thread& own = thread();
    if (own.uiHeld > (in_awaited == Awaited::noted ? 1U : 0U))
        return false;
    own.bWaiting.store(true, std::memory_order_release);
    return true;
}

bool ProcessGate::endWaiting() noexcept
{
    Thread& own = thread();
    // The store must come before the look at the gate: either this thread sees the closed gate, or
    // the closing thread sees this one inside.
    own.bWaiting.store(false, s_orderOfPass);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (!gate().isClosedForFork()) [[likely]]
        return true;
    own.bWaiting.store(true, std::memory_order_release);
    return false;
}

void ProcessGate::waitForEndOfFork() noexcept { gate().waitForEndOfFork(); }

bool ProcessGate::isHolding() noexcept
{
    const Thread& own = thread();
    return own.uiHeld != 0 && !own.bDefersNothing;
}

void ProcessGate::whenFree(Deferred& in_work) noexcept
{
    Thread& own = thread();
    if (own.pFirstDeferred == nullptr)
        own.pFirstDeferred = &in_work;
    else
        own.pLastDeferred->m_pNext = &in_work;
    own.pLastDeferred = &in_work;
}

void ProcessGate::stopDeferring() noexcept
{
    Thread& own = thread();
    own.bDefersNothing = true;
    own.runAll();
}

void ProcessGate::setInterpreter(const Interpreter& in_interpreter) noexcept
{
    Gate::s_interpreter = in_interpreter;
}

} // namespace Velmora

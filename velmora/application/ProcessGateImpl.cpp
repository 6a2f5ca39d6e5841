// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGateImpl.h"

#include "velmora/logging/OncePerProcess.h"

#include <linux/membarrier.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace Velmora
{

namespace
{

/// The pause between two looks at the records.
constexpr std::chrono::microseconds s_pause(20);
/// The time that the gate stays closed while it waits for threads inside: at first, and at most.
constexpr std::chrono::milliseconds s_firstPatience(1);
constexpr std::chrono::milliseconds s_longestPatience(500);

bool membarrier(int in_iCommand) { return syscall(SYS_membarrier, in_iCommand, 0, 0) == 0; }

/// Withdraws the right to write to a page that is in use. To do so, the kernel interrupts all
/// processors that run threads of the process, which is a barrier there. For systems that refuse
/// membarrier.
void changeRightsOfPage()
{
    constexpr std::size_t uiPage = 4096;
    static char* const s_pPage =
        static_cast<char*>(mmap(nullptr, uiPage, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0));
    if (s_pPage == MAP_FAILED)
        return;
    mprotect(s_pPage, uiPage, PROT_READ | PROT_WRITE);
    // Without an access, the kernel may find that no processor needs to be interrupted.
    *static_cast<volatile char*>(s_pPage) = 1;
    mprotect(s_pPage, uiPage, PROT_READ);
}

/// Makes the stores of the caller visible to each thread of the process, and their stores to the
/// caller. Both ways are a full barrier for the caller, too.
void orderOthers()
{
    if (!membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED))
        changeRightsOfPage();
}

/// Restores `errno` at the end of a scope. A pass happens in most operations of the library, also
/// in those that do not fail, and must not change it.
class KeptErrno
{
  public:
    KeptErrno() = default;
    ~KeptErrno() { errno = m_iErrno; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

  private:
    int m_iErrno = errno;
};

void callAtOnce(void (*in_pFunction)(void*), void* in_pArgument) { in_pFunction(in_pArgument); }

} // namespace

constinit std::atomic<ProcessGate::Gate::State> ProcessGate::Gate::s_openedAtLoad{opened};
constinit const std::atomic<ProcessGate::Gate::State>* ProcessGate::Gate::s_pState =
    &s_openedAtLoad;
constinit ProcessGate::Interpreter ProcessGate::Gate::s_interpreter{[] { return false; },
                                                                    &callAtOnce};

class ProcessGate::Gate::FreeListLock
{
  public:
    explicit FreeListLock(Gate& inout_gate) : m_flag(inout_gate.m_freeListLock)
    {
        while (m_flag.test_and_set(std::memory_order_acquire))
            std::this_thread::yield();
    }
    ~FreeListLock() { m_flag.clear(std::memory_order_release); }
    FreeListLock(const FreeListLock&) = delete;
    FreeListLock& operator=(const FreeListLock&) = delete;

  private:
    std::atomic_flag& m_flag;
};

ProcessGate::Gate::Gate()
{
    pthread_key_create(&m_threadKey, nullptr);
    // The kernel refuses the expedited command in a process that has not registered for it.
    membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
    for (Thread& thread : m_spare)
    {
        thread.pNextFree = std::exchange(m_pFirstSpare, &thread);
        thread.pNext = m_pFirst.exchange(&thread);
    }
}

ProcessGate::Gate& ProcessGate::Gate::ofProcess()
{
    static OncePerProcess<Gate> s_place("ProcessGate");
    Gate* const pFound = s_place.get();
    Gate& gate = pFound != nullptr ? *pFound : *s_place.fill(new Gate);
    s_pState = &gate.m_state;
    return gate;
}

ProcessGate::Thread& ProcessGate::Gate::threadOfCaller() noexcept
{
    if (void* const pFound = pthread_getspecific(m_threadKey))
        return *static_cast<Thread*>(pFound);
    Thread& thread = obtain();
    pthread_setspecific(m_threadKey, &thread);
    return thread;
}

ProcessGate::Thread& ProcessGate::Gate::obtain() noexcept
{
    while (true)
    {
        if (Thread* const pFree = takeFirst(m_pFirstFree))
            return *pFree;
        if (Thread* const pNew = makeThread())
            return *pNew;
        if (Thread* const pSpare = takeFirst(m_pFirstSpare))
            return *pSpare;
        // A record becomes free when a thread ends.
        std::this_thread::sleep_for(s_firstPatience);
    }
}

ProcessGate::Thread* ProcessGate::Gate::takeFirst(Thread*& inout_pFirst) noexcept
{
    const FreeListLock lock(*this);
    Thread* const pTaken = inout_pFirst;
    if (pTaken != nullptr)
        inout_pFirst = pTaken->pNextFree;
    return pTaken;
}

ProcessGate::Thread* ProcessGate::Gate::makeThread() noexcept
{
    auto* const pNew = new (std::nothrow) Thread;
    if (pNew == nullptr)
        return nullptr;
    pNew->pNext = m_pFirst.load();
    // Records are only added and never removed, so a closing thread may walk the list without a
    // lock.
    while (!m_pFirst.compare_exchange_weak(pNew->pNext, pNew))
        ;
    return pNew;
}

void ProcessGate::Gate::endThread(Thread& inout_thread) noexcept
{
    if (--inout_thread.uiCopies != 0)
        return;
    pthread_setspecific(m_threadKey, nullptr);
    inout_thread.forget();
    const FreeListLock lock(*this);
    inout_thread.pNextFree = std::exchange(m_pFirstFree, &inout_thread);
}

void ProcessGate::Gate::waitOutside(Thread& inout_thread, unsigned int in_uiInside) noexcept
{
    const KeptErrno kept;
    while (true)
    {
        const State found = state();
        if (found == opened || m_bStopped.load() || isCloser())
            return;
        if (found == closedForForkButForInterpreter && s_interpreter.pIsHeld())
            return;
        // The closing thread must see this one outside, or it would wait for it until the limit.
        inout_thread.uiInside.store(0, std::memory_order_release);
        waitWhile(found);
        inout_thread.uiInside.store(in_uiInside, s_orderOfPass);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
}

void ProcessGate::Gate::waitWhile(State in_state) noexcept
{
    ++m_uiWaiting;
    m_state.wait(in_state);
    --m_uiWaiting;
}

bool ProcessGate::Gate::isClosedForFork() const
{
    const State found = state();
    return (found == closedForFork ||
            (found == closedForForkButForInterpreter && !s_interpreter.pIsHeld())) &&
           !m_bStopped.load() && !isCloser();
}

void ProcessGate::Gate::waitForEndOfFork() noexcept
{
    const KeptErrno kept;
    const State found = state();
    if (found != opened && isClosedForFork())
        waitWhile(found);
}

bool ProcessGate::Gate::takeTurn(Clock::duration in_pause, Clock::time_point in_end) noexcept
{
    // A thread that is inside counts as outside for this time, so that two threads that fork from
    // inside do not wait for each other. It keeps its locks, so no other thread changes what they
    // guard.
    Thread& own = thread();
    const unsigned int uiInside = own.uiInside.load(std::memory_order_relaxed);
    own.uiInside.store(0, std::memory_order_release);
    std::this_thread::sleep_for(in_pause);
    ++m_uiWaiting;
    bool bTaken = false;
    // Polls, since an atomic has no wait with a limit of time.
    while (true)
    {
        std::thread::id expected{};
        bTaken = m_closer.compare_exchange_strong(expected, std::this_thread::get_id());
        if (bTaken || Clock::now() >= in_end)
            break;
        std::this_thread::sleep_for(s_pause);
    }
    --m_uiWaiting;
    if (bTaken)
        m_uiClosings = 1;
    own.uiInside.store(uiInside, s_orderOfPass);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (uiInside != 0)
        waitOutside(own, uiInside);
    return bTaken;
}

bool ProcessGate::Gate::close(State in_state, Clock::time_point in_end, bool (*in_pFunction)(void*),
                              void* in_pArgument)
{
    std::chrono::milliseconds patience = s_firstPatience;
    Clock::duration pause{};
    while (isCloser() || takeTurn(pause, in_end))
    {
        m_state.store(in_state);
        orderOthers();
        const Clock::time_point endOfPatience = Clock::now() + patience;
        // Polls, since a thread that leaves notifies no other thread. That keeps a pass cheap.
        while (true)
        {
            if (isNobodyElseInside(in_state) && in_pFunction(in_pArgument))
                return true;
            const Clock::time_point now = Clock::now();
            if (now >= in_end || (now >= endOfPatience && m_uiWaiting.load() != 0))
                break;
            std::this_thread::sleep_for(s_pause);
        }
        endTurn();
        if (Clock::now() >= in_end)
            break;
        // While the gate is open, threads go on that a thread inside may wait for. One of them may
        // itself be about to fork.
        pause = patience;
        patience = std::min(2 * patience, s_longestPatience);
    }
    return false;
}

bool ProcessGate::Gate::isNobodyElseInside(State in_state) const noexcept
{
    const Thread* const pOwn = s_pThread;
    for (const Thread* pThread = m_pFirst.load(); pThread != nullptr; pThread = pThread->pNext)
        if (pThread != pOwn && pThread->uiInside.load(s_orderOfLook) != 0 &&
            (in_state == closed || !pThread->bWaiting.load(s_orderOfLook)))
            return false;
    return true;
}

void ProcessGate::Gate::startAnewInChild(Thread& inout_own) noexcept
{
    m_pFirstFree = nullptr;
    m_pFirstSpare = nullptr;
    m_freeListLock.clear();
    m_uiWaiting.store(0);
    // Recursive mutexes know their owner by a thread id that differs in the child, so this does not
    // unlock them. It is for tools that follow locks, such as ThreadSanitizer. The renewal below
    // makes them free.
    for (const Thread::Held& held : inout_own.notedLocks())
        held.pAct(held.pLock, LockAction::release);
    for (Thread* pThread = m_pFirst.load(); pThread != nullptr; pThread = pThread->pNext)
    {
        for (const Thread::Held& held : pThread->notedLocks())
            held.pAct(held.pLock, LockAction::renew);
        if (pThread == &inout_own)
            continue;
        pThread->forget();
        pThread->pNextFree = std::exchange(m_pFirstFree, pThread);
    }
    for (const Thread::Held& held : inout_own.notedLocks())
        held.pAct(held.pLock, LockAction::acquire);
    // The deferred work is left to the parent.
    inout_own.pFirstDeferred = nullptr;
    for (Thread::Batch* pBatch = inout_own.pBatch; pBatch != nullptr; pBatch = pBatch->pOuter)
        pBatch->pRest = nullptr;
    endTurn();
    membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
}

} // namespace Velmora

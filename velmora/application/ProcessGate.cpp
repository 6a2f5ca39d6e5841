#include "velmora/application/ProcessGate.h"

#include "velmora/Sanitizers.h"
#include "velmora/logging/OncePerProcess.h"

#include <linux/membarrier.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <new>
#include <span>
#include <thread>
#include <utility>

namespace Velmora
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::size_t s_uiCacheLine = 64;

/// How long a look is followed by the next.
constexpr std::chrono::microseconds s_pause(20);
/// How long the gate stays closed while it waits: at first, and at most.
constexpr std::chrono::milliseconds s_firstPatience(1);
constexpr std::chrono::milliseconds s_longestPatience(500);

/// Orders a thread's own store before its next load, against a thread that calls `orderOthers`.
/// The compiler must keep to it; the processor is made to by the other side. ThreadSanitizer knows
/// nothing of that, so it gets a real fence's orders.
constexpr std::memory_order s_orderOfPass =
    VELMORA_THREAD_SANITIZER ? std::memory_order_seq_cst : std::memory_order_relaxed;
constexpr std::memory_order s_orderOfLook =
    VELMORA_THREAD_SANITIZER ? std::memory_order_seq_cst : std::memory_order_acquire;

bool membarrier(int in_iCommand) { return syscall(SYS_membarrier, in_iCommand, 0, 0) == 0; }

/// Takes rights away from a page that is in use, for which the kernel interrupts all processors
/// that run the process. For systems that refuse membarrier.
void changeRightsOfPage()
{
    constexpr std::size_t uiPage = 4096;
    static char* const s_pPage =
        static_cast<char*>(mmap(nullptr, uiPage, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0));
    if (s_pPage == MAP_FAILED)
        return;
    mprotect(s_pPage, uiPage, PROT_READ | PROT_WRITE);
    *static_cast<volatile char*>(s_pPage) = 1;
    mprotect(s_pPage, uiPage, PROT_READ);
}

/// Makes each thread of the process see the caller's stores, and the caller see theirs. Either way
/// is a full barrier for the caller, too.
void orderOthers()
{
    if (!membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED))
        changeRightsOfPage();
}

/// Leaves errno as it was: passing, which happens on each allocation, is nobody's failure.
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

/// What the gate knows of a thread. Used again for a new thread once its own has ended, and never
/// deleted. Belongs to its thread, but for the atomic member.
struct alignas(s_uiCacheLine) ProcessGate::Thread
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

void ProcessGate::Thread::runDeferred() noexcept
{
    // Work may take locks itself: what waits for those is done within it, what waited before is
    // done after it.
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

[[gnu::tls_model(
    "initial-exec")]] constinit thread_local ProcessGate::Thread* ProcessGate::s_pThread = nullptr;

/// The gate itself. Never destroyed.
class ProcessGate::Gate
{
  public:
    enum State : int
    {
        opened,
        closed,
        closedForFork,
        /// Threads that hold Python's interpreter lock pass, as the thread that forks waits for it.
        closedForForkButForInterpreter
    };

    Gate();

    static Gate& ofProcess();

    [[nodiscard]] State state() const { return m_state.load(s_orderOfLook); }
    /// Whether the gate of the process is open.
    [[nodiscard]] static bool isOpen() { return s_pState->load(s_orderOfLook) == opened; }

    /// The record of the calling thread, which it gets with its first pass.
    Thread& threadOfCaller() noexcept;
    /// The calling thread ends, as far as one copy of the library is concerned.
    void endThread(Thread& inout_thread) noexcept;

    /// Waits until the gate is open, unless the thread may pass it closed. The thread holds so many
    /// passes, and again afterwards.
    void waitOutside(Thread& inout_thread, unsigned int in_uiInside) noexcept;

    /// Whether a fork is under way that the calling thread has to wait for.
    [[nodiscard]] bool isClosedForFork() const;
    void waitForEndOfFork() noexcept;

    [[nodiscard]] bool isCloser() const { return m_closer.load() == std::this_thread::get_id(); }

    /// Opens the gate, and lets others close it.
    void endTurn() noexcept
    {
        m_uiClosings = 0;
        m_state.store(opened);
        m_state.notify_all();
        m_closer.store(std::thread::id());
    }

    /// Gets the turn to close, closes the gate, and calls the function when nobody else is inside,
    /// until it gives true. What the function throws comes through, with the turn taken.
    /// Failure: false when the time is over; the gate is open, and the turn another's.
    [[nodiscard]] bool close(State in_state, Clock::time_point in_end, bool (*in_pFunction)(void*),
                             void* in_pArgument);

    [[nodiscard]] bool isNobodyElseInside(State in_state) const noexcept;

    void stopWaiting() noexcept
    {
        m_bStopped.store(true);
        m_state.store(opened);
        m_state.notify_all();
    }

    void startAnewInChild(Thread& inout_own) noexcept;

    /// How often the thread that has the turn has closed the gate: it may fork while it is closed.
    unsigned int m_uiClosings = 0;

  private:
    /// Guards the lists of records that are nobody's, for some instructions at a time. Not a mutex,
    /// as it must be free in the child of a fork.
    class FreeListLock;

    /// Gets the turn to close, after a pause.
    /// Failure: false if another thread has it until the end of the time.
    [[nodiscard]] bool takeTurn(Clock::duration in_pause, Clock::time_point in_end) noexcept;

    Thread& obtain() noexcept;
    /// Null if there is none.
    Thread* takeFirst(Thread*& inout_pFirst) noexcept;
    Thread* makeThread() noexcept;

    std::atomic<State> m_state{opened};
    std::atomic<bool> m_bStopped{false};
    std::atomic<std::thread::id> m_closer{};

    std::atomic<Thread*> m_pFirst{nullptr};
    std::atomic_flag m_freeListLock;
    Thread* m_pFirstFree = nullptr;
    /// Records for threads that come when there is no memory.
    Thread* m_pFirstSpare = nullptr;

    /// Under which all copies of the library find the record of a thread.
    pthread_key_t m_threadKey{};

    static constexpr std::size_t s_uiSpare = 64;
    std::array<Thread, s_uiSpare> m_spare;

    /// Where this copy of the library looks, before it has found the gate, too.
    static constinit std::atomic<State> s_openedAtLoad;
    [[gnu::visibility("hidden")]] static constinit const std::atomic<State>* s_pState;
};

constinit std::atomic<ProcessGate::Gate::State> ProcessGate::Gate::s_openedAtLoad{opened};
constinit const std::atomic<ProcessGate::Gate::State>* ProcessGate::Gate::s_pState =
    &s_openedAtLoad;

namespace
{

constinit ProcessGate::Interpreter s_interpreter{[] { return false; }, &callAtOnce};

template <class Function>
void withoutInterpreter(Function in_function)
{
    s_interpreter.pWithout([](void* in_pFunction) { (*static_cast<Function*>(in_pFunction))(); },
                           &in_function);
}

} // namespace

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
        // A record comes back when a thread ends.
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
        inout_thread.uiInside.store(0, std::memory_order_release);
        m_state.wait(found);
        inout_thread.uiInside.store(in_uiInside, s_orderOfPass);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
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
        m_state.wait(found);
}

bool ProcessGate::Gate::takeTurn(Clock::duration in_pause, Clock::time_point in_end) noexcept
{
    // A thread that is inside counts as outside for the time, so that two that fork from inside do
    // not wait for each other. Nobody changes what it holds locked.
    Thread& own = thread();
    const unsigned int uiInside = own.uiInside.load(std::memory_order_relaxed);
    own.uiInside.store(0, std::memory_order_release);
    std::this_thread::sleep_for(in_pause);
    bool bTaken = false;
    while (true)
    {
        std::thread::id expected{};
        bTaken = m_closer.compare_exchange_strong(expected, std::this_thread::get_id());
        if (bTaken || Clock::now() >= in_end)
            break;
        std::this_thread::sleep_for(s_pause);
    }
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
        const Clock::time_point endOfPatience = std::min(in_end, Clock::now() + patience);
        while (true)
        {
            if (isNobodyElseInside(in_state) && in_pFunction(in_pArgument))
                return true;
            if (Clock::now() >= endOfPatience)
                break;
            std::this_thread::sleep_for(s_pause);
        }
        endTurn();
        if (Clock::now() >= in_end)
            break;
        // Those go on now that somebody inside may wait for, also one that forks.
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
    // Some of them know their owner by a thread number that is another one here, and are not
    // released by that: tools that follow locks are to know it all the same.
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
    // The parent does it.
    inout_own.pFirstDeferred = nullptr;
    for (Thread::Batch* pBatch = inout_own.pBatch; pBatch != nullptr; pBatch = pBatch->pOuter)
        pBatch->pRest = nullptr;
    endTurn();
    membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
}

ProcessGate::Gate& ProcessGate::gate() noexcept
{
    static Gate& s_gate = Gate::ofProcess();
    return s_gate;
}

void ProcessGate::initialize() { gate(); }

inline ProcessGate::Thread& ProcessGate::thread() noexcept
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

// Threads pass all the time: what is rare ends in a call of its own, so that the rest needs no
// stack.

void ProcessGate::enter() noexcept
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

[[gnu::noinline]] void ProcessGate::enterAsNewThread() noexcept
{
    meetThread();
    enter();
}

[[gnu::noinline]] void ProcessGate::waitOutside() noexcept { gate().waitOutside(*s_pThread, 1); }

void ProcessGate::leave() noexcept
{
    std::atomic<unsigned int>& uiInside = s_pThread->uiInside;
    uiInside.store(uiInside.load(std::memory_order_relaxed) - 1, std::memory_order_release);
}

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
                Gate::closed, Clock::now() + s_limit,
                [](void* in_pInside) { return (*static_cast<const Inside*>(in_pInside))(); },
                const_cast<void*>(static_cast<const void*>(&inside)));
        }
        catch (...)
        {
            pThrown = std::current_exception();
        }
        if (theGate.isCloser())
            theGate.endTurn();
    };
    withoutInterpreter(work);
    if (pThrown)
        std::rethrow_exception(pThrown);
    return bDone;
}

bool ProcessGate::closeForFork() noexcept
{
    Gate& theGate = gate();
    if (theGate.isCloser())
    {
        ++theGate.m_uiClosings;
        return true;
    }
    const Clock::time_point end = Clock::now() + s_limit;
    const Gate::State state =
        s_interpreter.pIsHeld() ? Gate::closedForForkButForInterpreter : Gate::closedForFork;
    bool bClosed = false;
    do
        withoutInterpreter(
            [&]
            {
                bClosed = theGate.close(
                    state, end, [](void*) { return true; }, nullptr);
            });
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
    // Noted before it is taken: a lock that nobody holds may be made anew, too.
    if (own.uiHeld < Thread::s_uiMostHeld)
        own.held[own.uiHeld] = {in_pLock, in_pAct};
    // A thread that waits for the lock may be seen by a fork.
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
    s_interpreter = in_interpreter;
}

} // namespace Velmora

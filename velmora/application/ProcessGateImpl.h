#pragma once

#include "velmora/application/ProcessGate.h"
#include "velmora/application/ProcessGateThread.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>

namespace Velmora
{

/// The gate itself. Never destroyed.
class ProcessGate::Gate
{
  public:
    using Clock = std::chrono::steady_clock;

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

    /// Calls the function without Python's interpreter lock.
    template <class Function>
    static void withoutInterpreter(Function in_function)
    {
        s_interpreter.pWithout(
            [](void* in_pFunction) { (*static_cast<Function*>(in_pFunction))(); }, &in_function);
    }

    static constinit Interpreter s_interpreter;

    /// How often the thread that has the turn has closed the gate: it may fork while it is closed.
    unsigned int m_uiClosings = 0;

  private:
    /// Guards the lists of records that are nobody's, for some instructions at a time. Not a mutex,
    /// as it must be free in the child of a fork.
    class FreeListLock;

    void waitWhile(State in_state) noexcept;

    /// Gets the turn to close, after a pause.
    /// Failure: false if another thread has it until the end of the time.
    [[nodiscard]] bool takeTurn(Clock::duration in_pause, Clock::time_point in_end) noexcept;

    Thread& obtain() noexcept;
    /// Null if there is none.
    Thread* takeFirst(Thread*& inout_pFirst) noexcept;
    Thread* makeThread() noexcept;

    std::atomic<State> m_state{opened};
    /// How many threads wait until it is open, or for their turn to close it. While there are none,
    /// it need not be opened to let somebody go on that others wait for.
    std::atomic<unsigned int> m_uiWaiting{0};
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
    static constinit const std::atomic<State>* s_pState;
};

} // namespace Velmora

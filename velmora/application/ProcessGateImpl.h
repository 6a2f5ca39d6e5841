// SPDX-License-Identifier: BSD-2-Clause

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

/// The implementation of the gate. The object is never destroyed.
class ProcessGate::Gate
{
  public:
    using Clock = std::chrono::steady_clock;

    enum State : int
    {
        opened,
        closed,
        closedForFork,
        /// Closed for a fork by a thread that held Python's interpreter lock. Threads that hold
        /// that lock pass, as the forking thread waits for it.
        closedForForkButForInterpreter
    };

    Gate();

    static Gate& ofProcess();

    [[nodiscard]] State state() const { return m_state.load(s_orderOfLook); }
    /// Returns whether the gate of the process is open.
    [[nodiscard]] static bool isOpen() { return s_pState->load(s_orderOfLook) == opened; }

    /// Returns the record of the calling thread. The first pass assigns one to the thread.
    Thread& threadOfCaller() noexcept;
    /// Ends the use of the record by one copy of the library, when its thread ends. After the last
    /// copy, the record is free.
    void endThread(Thread& inout_thread) noexcept;

    /// Waits until the gate is open, unless the thread may pass the closed gate. The thread has no
    /// passes while it waits, and `in_uiInside` passes when the call returns.
    void waitOutside(Thread& inout_thread, unsigned int in_uiInside) noexcept;

    /// Returns whether a fork is in progress that the calling thread has to wait for.
    [[nodiscard]] bool isClosedForFork() const;
    void waitForEndOfFork() noexcept;

    [[nodiscard]] bool isCloser() const { return m_closer.load() == std::this_thread::get_id(); }

    /// Opens the gate, and releases the turn to close it.
    void endTurn() noexcept
    {
        m_uiClosings = 0;
        m_state.store(opened);
        m_state.notify_all();
        m_closer.store(std::thread::id());
    }

    /// Takes the turn to close the gate, closes it, and calls the function when no other thread is
    /// inside. Repeats that until the function returns true. If the function throws, the exception
    /// propagates, and the thread still has the turn.
    /// Failure: returns false when the time is over. The gate is open then, and the thread does not
    /// have the turn.
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

    /// The number of closings by the thread that has the turn. It may exceed 1, as that thread may
    /// fork while the gate is closed. Guarded by the turn.
    unsigned int m_uiClosings = 0;

  private:
    /// Holds `m_freeListLock` for a scope of a few instructions. It is not a mutex, as it must be
    /// free in the child of a fork.
    class FreeListLock;

    void waitWhile(State in_state) noexcept;

    /// Takes the turn to close the gate, after a pause.
    /// Failure: returns false if another thread has the turn when the time is over.
    [[nodiscard]] bool takeTurn(Clock::duration in_pause, Clock::time_point in_end) noexcept;

    Thread& obtain() noexcept;
    /// Removes the first record of the list and returns it. Returns null if there is none.
    Thread* takeFirst(Thread*& inout_pFirst) noexcept;
    Thread* makeThread() noexcept;

    std::atomic<State> m_state{opened};
    /// The number of threads that wait at the gate, or for the turn to close it. While it is 0, no
    /// thread inside can be waiting for one of them, so the gate can stay closed.
    std::atomic<unsigned int> m_uiWaiting{0};
    /// Whether the process is ending, so that no thread waits any more.
    std::atomic<bool> m_bStopped{false};
    /// The thread that has the turn to close the gate; none by default.
    std::atomic<std::thread::id> m_closer{};

    /// The first of all records. The list only grows.
    std::atomic<Thread*> m_pFirst{nullptr};
    /// Guards `m_pFirstFree` and `m_pFirstSpare`. No foreign code runs while it is held.
    std::atomic_flag m_freeListLock;
    /// The first record without a thread. Guarded by `m_freeListLock`.
    Thread* m_pFirstFree = nullptr;
    /// Records for threads that first pass when there is no memory. Guarded by `m_freeListLock`.
    Thread* m_pFirstSpare = nullptr;

    /// The key under which all copies of the library find the record of a thread.
    pthread_key_t m_threadKey{};

    static constexpr std::size_t s_uiSpare = 64;
    std::array<Thread, s_uiSpare> m_spare;

    /// The state that this copy of the library reads until it has found the gate of the process.
    static constinit std::atomic<State> s_openedAtLoad;
    static constinit const std::atomic<State>* s_pState;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <pthread.h>

#include <array>
#include <atomic>

struct _ts;

namespace Velmora::Python
{

struct ThreadInPython;

/// Counts the threads that are inside Python, and keeps others out once Python ends. There is one
/// gate in the process, even if the process has several copies of the library.
///
/// A thread counts itself before it checks that the gate is open. The end closes the gate before it
/// reads the count. So either the end sees the thread or the thread sees the end.
///
/// Each thread counts in one of several places, so that threads which enter and leave Python
/// concurrently do not write to the same cache line. The number of threads inside is the sum.
///
/// Thread-safety: all operations may be called on any thread.
class InterpreterGate
{
  public:
    enum class State
    {
        open,
        /// A thread is in Python's `os.fork`. Threads that need a new thread state of Python wait.
        forking,
        /// The end waits for the threads that are inside. Only a thread that holds the interpreter
        /// lock may still enter.
        closing,
        /// Only the thread that ends Python may enter.
        closed,
        /// This is the child of a fork that Python did not do. No thread may enter or leave.
        forked
    };

    /// Returns the gate of the process.
    static InterpreterGate& ofProcess();

    /// Counts the calling thread as inside. The thread was outside, and normally does not hold the
    /// interpreter lock yet. Waits while another thread is in Python's `os.fork`.
    /// Failure: returns false if the thread may not enter; it is then not counted.
    [[nodiscard]] bool goIn()
    {
        // Checked before counting, too: a thread that is refused must not be counted even
        // briefly, as the end would take it for one that is inside.
        if (m_state.load() == State::open) [[likely]]
        {
            goInUnasked();
            if (m_state.load() == State::open) [[likely]]
                return true;
            goOut();
        }
        return goInLate();
    }

    /// Counts the calling thread as inside, whatever the state of the gate.
    void goInUnasked() { countsOfThisThread().uiInside.fetch_add(1); }

    /// Called by a thread inside after it has obtained a thread state of Python, and before it
    /// gives the state back. The caller holds the interpreter lock.
    void settle() { addSettled(1); }
    void unsettle() { addSettled(-1U); }

    /// Called before Python forks. Waits until no thread is making a thread state, and lets no
    /// thread begin to make one: Python has a lock for that, which the child would find taken
    /// forever. The caller holds the interpreter lock. While it waits, this function repeatedly
    /// calls the given one, which releases the lock for a moment.
    void beginForkOfPython(void (*in_pPause)());
    /// Called after the fork, in the parent and in the child. Opens the gate again.
    void endForkOfPython();

    /// Counts the calling thread as outside.
    void goOut() { countsOfThisThread().uiInside.fetch_sub(1); }

    /// Returns true if the calling thread holds the interpreter lock.
    [[nodiscard]] static bool holdsInterpreterLock();

    [[nodiscard]] State state() const { return m_state.load(); }
    void setState(State in_state) { m_state.store(in_state); }

    /// Counts a thread of a script as inside, before it returns to Python. Such a thread counts as
    /// outside while it runs a function that the script called and has released the interpreter
    /// lock.
    /// Failure: returns false if Python ends and the thread may not return to it; it is then not
    /// counted.
    [[nodiscard]] bool comeBack(const ThreadInPython& in_thread);

    /// Returns the number of threads that the end of Python must wait for.
    [[nodiscard]] unsigned int countInside() const;

    /// Called in the child of a fork, which has only this thread. Sets the counts accordingly.
    void keepOnlyThisThread(const ThreadInPython& in_thread);

    /// Returns true if this thread is in Python's `os.fork`.
    [[nodiscard]] bool isForkOfPython() const;

    /// Stores and returns whether Python is being started.
    void setStarting(bool in_bStarting) { m_bStarting.store(in_bStarting); }
    [[nodiscard]] bool isStarting() const { return m_bStarting.load(); }

    /// Stores and returns the thread state of the thread that started Python. It lives as long as
    /// Python and does not mean that a thread is inside. The caller holds the interpreter lock.
    void setStartState(_ts* in_pState) { m_pStartState = in_pState; }
    [[nodiscard]] const _ts* startState() const { return m_pStartState; }

    /// Logs an ERROR that Python cannot be used in the child of a fork. Later calls do nothing.
    void reportFork();

  private:
    InterpreterGate();

    /// The part of `goIn` for a gate that is not open.
    bool goInLate();

    static constexpr std::size_t s_uiCacheLine = 64;

    /// The counts of one place, which some of the threads use. A thread may enter in one place and
    /// leave in another: the counts may wrap around, but their sum is right.
    struct alignas(s_uiCacheLine) Counts
    {
        std::atomic<unsigned int> uiInside{0};
        /// How many of these threads have a thread state of Python. Written under the interpreter
        /// lock.
        std::atomic<unsigned int> uiSettled{0};
    };

    Counts& countsOfThisThread();

    void addSettled(unsigned int in_uiDifference)
    {
        std::atomic<unsigned int>& uiSettled = countsOfThisThread().uiSettled;
        uiSettled.store(uiSettled.load(std::memory_order_relaxed) + in_uiDifference,
                        std::memory_order_relaxed);
    }

    /// Returns how many of the threads inside have a thread state. The caller holds the
    /// interpreter lock.
    [[nodiscard]] unsigned int countSettled() const;

    static constexpr std::size_t s_uiPlaces = 16;
    std::array<Counts, s_uiPlaces> m_counts{};
    /// How many threads have been given a place.
    std::atomic<unsigned int> m_uiThreads{0};
    std::atomic<State> m_state{State::open};
    std::atomic<bool> m_bStarting{false};
    std::atomic<bool> m_bForkReported{false};
    _ts* m_pStartState = nullptr;

    /// Has a value for a thread that is in `os.fork`. Not a thread_local variable, as each copy of
    /// the library would have its own.
    pthread_key_t m_forkKey{};
    /// Whether the key exists. Without it, a fork by Python is treated like any other fork.
    bool m_bHasForkKey;
};

/// What one thread does inside Python.
struct ThreadInPython
{
    /// The number of nested scopes (`InterpreterLock`, `InterpreterUnlock`) that the thread is in.
    unsigned int uiDepth = 0;
    /// Whether the outermost scope is an `InterpreterUnlock`. The thread is then one of a script,
    /// or another that came to the library with the interpreter lock held.
    bool bOfScript = false;
    /// Whether this thread ends Python.
    bool bEnds = false;
    /// The place in the gate where the thread counts, from 1 on; 0 before it has a place.
    unsigned int uiPlace = 0;

    /// Returns true if the thread is of a script and has released the interpreter lock.
    [[nodiscard]] bool isAway() const { return bOfScript && uiDepth == 1; }

    /// Returns true if the gate counts the thread.
    [[nodiscard]] bool isInside() const { return uiDepth > 0 && !isAway(); }

    /// Returns true if the thread leaves Python when its innermost scope ends.
    [[nodiscard]] bool isAboutToGo() const { return uiDepth == (bOfScript ? 2U : 1U); }

    static ThreadInPython& ofThisThread() { return s_ofThisThread; }

  private:
    [[gnu::tls_model("initial-exec")]] static thread_local ThreadInPython s_ofThisThread;
};

inline InterpreterGate::Counts& InterpreterGate::countsOfThisThread()
{
    unsigned int& uiPlace = ThreadInPython::ofThisThread().uiPlace;
    if (uiPlace == 0) [[unlikely]]
        uiPlace = m_uiThreads.fetch_add(1) % s_uiPlaces + 1;
    return m_counts[uiPlace - 1];
}

} // namespace Velmora::Python

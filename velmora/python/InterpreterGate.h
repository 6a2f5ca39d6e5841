#pragma once

#include <pthread.h>

#include <array>
#include <atomic>

struct _ts;

namespace Velmora::Python
{

struct ThreadInPython;

/// Counts the threads that are inside Python, and keeps others out once Python ends. There is one
/// in the process, also when the process has several copies of the library.
///
/// A thread counts itself before it looks whether the gate is open; the end closes the gate before
/// it looks at the count. So either the end sees the thread or the thread sees the end.
///
/// Each thread counts in one of several places, so that threads which enter and leave Python
/// concurrently do not write to the same memory. The number of those inside is the sum.
///
/// Thread-safety: all operations may be called on any thread.
class InterpreterGate
{
  public:
    enum class State
    {
        open,
        /// A thread forks through Python. Those that would need a new state of Python wait.
        forking,
        /// The end waits for the threads that are inside. Those that hold the interpreter lock may
        /// enter once more.
        closing,
        /// Only the thread that ends Python may enter.
        closed,
        /// This is the child of a fork that Python did not do. Nobody may enter or leave.
        forked
    };

    static InterpreterGate& ofProcess();

    /// A thread goes in, which was not inside. Holds no interpreter lock yet, as a rule.
    /// Failure: false when it may not.
    [[nodiscard]] bool goIn()
    {
        // Those that are refused are not counted, not even for a moment.
        if (m_state.load() == State::open) [[likely]]
        {
            goInUnasked();
            if (m_state.load() == State::open) [[likely]]
                return true;
            goOut();
        }
        return goInLate();
    }

    /// A thread goes in that is inside by other means.
    void goInUnasked() { countsOfThisThread().uiInside.fetch_add(1); }

    /// A thread that went in has a state of Python; is about to give it back. Under the interpreter
    /// lock.
    void settle() { addSettled(1); }
    void unsettle() { addSettled(-1U); }

    /// Before Python forks: waits until nobody is in the course of making a state, whose lock the
    /// child would find taken for ever, and lets nobody begin. The caller holds the interpreter
    /// lock, which is given up for the waiting.
    void beginForkOfPython();
    void endForkOfPython();

    void goOut() { countsOfThisThread().uiInside.fetch_sub(1); }

    [[nodiscard]] State state() const { return m_state.load(); }
    void setState(State in_state) { m_state.store(in_state); }

    /// A thread of a script that went out, as it goes on without the interpreter lock in a function
    /// that the script called, would go on in Python.
    /// Failure: false when it may not, as Python ends; it is still out then.
    [[nodiscard]] bool comeBack(const ThreadInPython& in_thread);

    /// How many threads the end of Python has to wait for.
    [[nodiscard]] unsigned int countInside() const;

    /// In the child of a fork, which has only this thread.
    void keepOnlyThisThread(const ThreadInPython& in_thread);

    /// Whether this thread is in a fork that Python does itself.
    [[nodiscard]] bool isForkOfPython() const;

    /// Whether Python is being started.
    void setStarting(bool in_bStarting) { m_bStarting.store(in_bStarting); }
    [[nodiscard]] bool isStarting() const { return m_bStarting.load(); }

    /// The state that the thread which started Python left with it: it lives as long as Python, and
    /// belongs to nobody who is inside. Under the interpreter lock.
    void setStartState(_ts* in_pState) { m_pStartState = in_pState; }
    [[nodiscard]] const _ts* startState() const { return m_pStartState; }

    /// Logs, once, that Python cannot be used in the child of a fork.
    void reportFork();

  private:
    InterpreterGate();

    bool goInLate();

    static constexpr std::size_t s_uiCacheLine = 64;

    /// Those of some of the threads. A thread may leave by another place than it came in by: a
    /// difference wraps around, and the sum is right.
    struct alignas(s_uiCacheLine) Counts
    {
        std::atomic<unsigned int> uiInside{0};
        /// How many of them have a state of Python. Written under the interpreter lock.
        std::atomic<unsigned int> uiSettled{0};
    };

    Counts& countsOfThisThread();

    void addSettled(unsigned int in_uiDifference)
    {
        std::atomic<unsigned int>& uiSettled = countsOfThisThread().uiSettled;
        uiSettled.store(uiSettled.load(std::memory_order_relaxed) + in_uiDifference,
                        std::memory_order_relaxed);
    }

    [[nodiscard]] unsigned int countSettled() const;

    static constexpr std::size_t s_uiPlaces = 16;
    std::array<Counts, s_uiPlaces> m_counts{};
    std::atomic<unsigned int> m_uiThreads{0};
    std::atomic<State> m_state{State::open};
    std::atomic<bool> m_bStarting{false};
    std::atomic<bool> m_bForkReported{false};
    _ts* m_pStartState = nullptr;

    /// Set for a thread that is in `os.fork`. Not a variable of the thread, as each copy of the
    /// library would have its own.
    pthread_key_t m_forkKey{};
    /// Without a key, a fork of Python is taken for any other.
    bool m_bHasForkKey;
};

/// What this thread does inside Python.
struct ThreadInPython
{
    /// How many scopes of the thread need Python to live.
    unsigned int uiDepth = 0;
    /// The outermost of them is one without the interpreter lock, so the thread is a script's.
    bool bOfScript = false;
    /// It ends Python.
    bool bEnds = false;
    /// Where it counts in the gate, from 1 on; 0 before it has a place.
    unsigned int uiPlace = 0;

    /// Whether it goes on without the interpreter lock now.
    [[nodiscard]] bool isAway() const { return bOfScript && uiDepth == 1; }

    /// Whether the gate counts it.
    [[nodiscard]] bool isInside() const { return uiDepth > 0 && !isAway(); }

    /// Whether it leaves Python with the scope that ends next.
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

#pragma once

#include <pthread.h>

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
    void goInUnasked() { m_uiInside.fetch_add(1); }

    /// A thread that went in has a state of Python; is about to give it back. Under the interpreter
    /// lock.
    void settle()
    {
        m_uiSettled.store(m_uiSettled.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
    }
    void unsettle()
    {
        m_uiSettled.store(m_uiSettled.load(std::memory_order_relaxed) - 1,
                          std::memory_order_relaxed);
    }

    /// Before Python forks: waits until nobody is in the course of making a state, whose lock the
    /// child would find taken for ever, and lets nobody begin. The caller holds the interpreter
    /// lock, which is given up for the waiting.
    void beginForkOfPython();
    void endForkOfPython();

    void goOut() { m_uiInside.fetch_sub(1); }

    [[nodiscard]] State state() const { return m_state.load(); }
    void setState(State in_state) { m_state.store(in_state); }

    /// A thread of a script that is inside goes on without the interpreter lock, in a function that
    /// the script called; the end of Python need not wait for it.
    void goAway() { m_uiAway.fetch_add(1); }

    /// It would go on in Python, for which it needs the interpreter lock.
    /// Failure: false when it may not, as Python ends; it is still away then.
    [[nodiscard]] bool comeBack(const ThreadInPython& in_thread);

    /// How many threads the end of Python has to wait for.
    [[nodiscard]] unsigned int countInside() const { return m_uiInside.load() - m_uiAway.load(); }

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

    std::atomic<unsigned int> m_uiInside{0};
    /// How many of them are away.
    std::atomic<unsigned int> m_uiAway{0};
    /// How many of them have a state of Python. Written under the interpreter lock.
    std::atomic<unsigned int> m_uiSettled{0};
    std::atomic<State> m_state{State::open};
    std::atomic<bool> m_bStarting{false};
    std::atomic<bool> m_bForkReported{false};
    _ts* m_pStartState = nullptr;

    /// Set for a thread that is in `os.fork`. Not a variable of the thread, as each copy of the
    /// library would have its own.
    pthread_key_t m_forkKey{};
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

    /// Whether it goes on without the interpreter lock now.
    [[nodiscard]] bool isAway() const { return bOfScript && uiDepth == 1; }

    static ThreadInPython& ofThisThread() { return s_ofThisThread; }

  private:
    [[gnu::tls_model("initial-exec")]] static thread_local ThreadInPython s_ofThisThread;
};

} // namespace Velmora::Python

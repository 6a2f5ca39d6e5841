#pragma once

#include <atomic>

namespace Velmora::Python
{

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
        m_uiInside.fetch_add(1);
        return m_state.load() == State::open || goInLate();
    }

    /// A thread goes in that is inside by other means.
    void goInUnasked() { m_uiInside.fetch_add(1); }

    void goOut() { m_uiInside.fetch_sub(1); }

    [[nodiscard]] State state() const { return m_state.load(); }
    void setState(State in_state) { m_state.store(in_state); }

    [[nodiscard]] unsigned int countInside() const { return m_uiInside.load(); }
    void setCountInside(unsigned int in_uiCount) { m_uiInside.store(in_uiCount); }

  private:
    bool goInLate();

    std::atomic<unsigned int> m_uiInside{0};
    std::atomic<State> m_state{State::open};
    std::atomic<bool> m_bForkReported{false};
};

/// What this thread does inside Python.
struct ThreadInPython
{
    /// How many scopes of the thread need Python to live.
    unsigned int uiDepth = 0;
    /// It ends Python.
    bool bEnds = false;

    static ThreadInPython& ofThisThread() { return s_ofThisThread; }

  private:
    [[gnu::tls_model("initial-exec")]] static thread_local ThreadInPython s_ofThisThread;
};

} // namespace Velmora::Python

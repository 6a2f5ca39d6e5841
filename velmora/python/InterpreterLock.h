#pragma once

#include "velmora/Export.h"

namespace Velmora::Python
{

/// Holds Python's interpreter lock for a scope: one pair of PyGILState_Ensure and
/// PyGILState_Release. All code of the library enters Python through it, and code that is built on
/// the library should; the end of Python waits for the threads that are inside.
///
///     const InterpreterLock lock;
///     if (!lock)
///         return;
///
/// It holds nothing where Python may not be entered:
/// - Python does not run: it has not been started, or has ended;
/// - the end of Python has begun, and this thread was not inside by then;
/// - the process is the child of a `fork` that Python did not do itself. The first such entry logs
///   an ERROR.
///
/// A scope may hold several, inside each other. A Python error that is pending when a thread's
/// outermost one goes is lost with the thread's state, except on the thread that started Python.
///
/// Thread-safety: may be used on any thread; one object belongs to the thread that made it. Wait
/// for no lock while you hold this one, unless nobody waits for the interpreter lock under it; use
/// `InterpreterUnlock`.
class VELMORA_API InterpreterLock
{
  public:
    InterpreterLock() : m_bInside(enter(m_iState)) {}
    ~InterpreterLock()
    {
        if (m_bInside)
            leave(m_iState);
    }
    InterpreterLock(const InterpreterLock&) = delete;
    InterpreterLock& operator=(const InterpreterLock&) = delete;

    /// Whether this thread is inside Python.
    explicit operator bool() const { return m_bInside; }

    /// Enters Python, for a class that keeps the state itself. After true, the same thread calls
    /// `leave` with that state, the last to enter first.
    /// Failure: false, as above; there is then nothing to leave.
    [[nodiscard]] static bool enter(int& out_iState);
    static void leave(int in_iState);

    /// Whether this thread holds the interpreter lock, through whatever means.
    [[nodiscard]] static bool isHeld();

  private:
    int m_iState = 0;
    bool m_bInside;
};

/// Gives the interpreter lock up for a scope, if this thread holds it: for a function that a script
/// may call and that takes a lock of the library, logs, or waits. Other threads run in Python
/// during the scope.
///
/// Thread-safety: may be used on any thread; one object belongs to the thread that made it.
class VELMORA_API InterpreterUnlock
{
  public:
    InterpreterUnlock();
    ~InterpreterUnlock();
    InterpreterUnlock(const InterpreterUnlock&) = delete;
    InterpreterUnlock& operator=(const InterpreterUnlock&) = delete;

  private:
    /// The state of the thread, null if the lock was not held.
    void* m_pThreadState;
};

} // namespace Velmora::Python

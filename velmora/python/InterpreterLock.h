// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora::Python
{

/// Holds Python's interpreter lock for a scope, by one pair of PyGILState_Ensure and
/// PyGILState_Release. All code of the library enters Python through this class, and programs
/// should do the same: the end of Python waits for the threads that are inside.
///
///     const InterpreterLock lock;
///     if (!lock)
///         return;
///
/// The lock is not taken if Python may not be entered:
/// - Python does not run: it has not been started, or has ended;
/// - the end of Python has begun, and this thread was not inside at that time;
/// - the process is the child of a `fork` that Python did not do itself. The first such attempt
///   logs an ERROR.
///
/// Locks of a thread may be nested. A Python error that is pending when a thread's outermost lock
/// is released is lost with the thread's state in Python, except on the thread that started Python.
///
/// Thread-safety: may be used on any thread; one object belongs to the thread that made it. While a
/// thread holds the interpreter lock, it must not wait for a lock whose owner may wait for the
/// interpreter lock. Use `InterpreterUnlock` before such a wait.
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

    /// Returns true if the lock has been taken: this thread is inside Python.
    explicit operator bool() const { return m_bInside; }

    /// Enters Python, for a class that keeps the state itself. If it returns true, the same thread
    /// must call `leave` with that state. Pairs of calls may be nested.
    /// Failure: returns false in the cases above. `leave` must not be called then.
    [[nodiscard]] static bool enter(int& out_iState);
    static void leave(int in_iState);

    /// Returns true if this thread holds the interpreter lock, no matter how it was taken.
    [[nodiscard]] static bool isHeld();

  private:
    int m_iState = 0;
    bool m_bInside;
};

/// Releases the interpreter lock for a scope, if this thread holds it. For functions that a script
/// may call and that take a lock of the library, log, or wait. Other threads may run in Python
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
    /// The thread state of Python, null if the lock was not held.
    void* m_pThreadState;
};

} // namespace Velmora::Python

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora::Python
{

/// Makes the end of Python safe. When a thread returns to Python after its end, Python ends the
/// thread by unwinding it, which terminates the process if there is a noexcept function on the
/// stack. Python also waits forever for threads of scripts that do not end. Therefore the threads
/// are dealt with first: no thread may enter any more, and those that are inside have 1 s to leave.
/// A thread that returns to Python at the last moment has another second.
///
/// Thread-safety: each function is called once in a process, on any thread.
class InterpreterEnd
{
  public:
    /// Prepares the end of the Python that the library has started. Waits for native threads,
    /// including those that have a thread state of Python by other means than the library's, and
    /// for threads of scripts that are not daemons.
    ///
    /// After it has returned true, this thread holds the interpreter lock and keeps it, and may end
    /// Python.
    /// Failure: returns false if Python cannot be ended, with a WARN unless the process is the
    /// child of a fork that Python did not do.
    [[nodiscard]] static bool prepare();

    /// Registers with `atexit` of Python, for a Python that the library does not end: before its
    /// end, Python calls the given function with the interpreter lock held, and waits for native
    /// threads. The caller holds the interpreter lock.
    /// Failure: returns false, with a pending Python error.
    [[nodiscard]] static bool watchEndOfPython(void (*in_pLetGo)());
};

} // namespace Velmora::Python

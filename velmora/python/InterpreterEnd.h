#pragma once

namespace Velmora::Python
{

/// Makes the end of Python safe. Python ends threads that come back to it too late by unwinding
/// them, which is the end of the process in code that must not throw; and it waits for ever for
/// threads of scripts that do not end. So the threads come first: no more are let in, and those
/// that are inside have 1 s to leave.
///
/// Thread-safety: once in a process, on any thread.
class InterpreterEnd
{
  public:
    /// Before the library itself ends the Python that it started. Waits for native threads, those
    /// included which hold a state of Python by other means than the library's, and for threads of
    /// scripts that are no daemons.
    ///
    /// After true this thread holds the interpreter lock for good and may end Python.
    /// Failure: false when Python has to stay as it is, with a WARN unless the process is the child
    /// of a fork that Python did not do.
    [[nodiscard]] static bool prepare();

    /// Has a Python that somebody else ends call a function, and wait for native threads, before it
    /// ends. The caller holds the interpreter lock, as the function's will.
    /// Failure: false, with a pending Python error.
    [[nodiscard]] static bool watchEndOfPython(void (*in_pLetGo)());
};

} // namespace Velmora::Python

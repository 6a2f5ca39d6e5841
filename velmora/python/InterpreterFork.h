// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora::Python
{

/// Handles forks for Python. After Python's own `os.fork`, Python is usable in the child. After any
/// other fork it is closed there, as another thread may have held one of its locks.
///
/// A thread inside the library may wait for the interpreter lock while the thread that forks holds
/// it. Therefore closing the gate of the process releases the interpreter lock until no other
/// thread is inside.
///
/// Thread-safety: the fork handlers are called on the thread that forks.
class InterpreterFork
{
  public:
    /// Gives `ProcessGate` the functions by which it releases the interpreter lock. Called once,
    /// when the library is loaded.
    static void setInterpreterOfGate();

    /// The fork handlers of the process. `prepare` closes the gate, unless the callback of
    /// `os.fork` has done so.
    /// Failure: `prepare` returns false if the fork goes ahead although threads are inside.
    [[nodiscard]] static bool prepare();
    static void parent();
    static void child();

    /// Registers callbacks that Python runs before and after its `os.fork`. The caller holds the
    /// interpreter lock.
    /// Failure: returns false, with a pending Python error.
    [[nodiscard]] static bool watchForksOfPython();
};

} // namespace Velmora::Python

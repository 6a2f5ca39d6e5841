#pragma once

namespace Velmora::Python
{

/// What a fork does to Python. Python's own `os.fork` makes Python usable in the child; after any
/// other fork Python is closed there, as another thread may have held its lock.
///
/// A thread inside the library may wait for the interpreter lock, and a thread that forks may hold
/// it: closing the gate gives it up until nobody is inside.
///
/// Thread-safety: called on the thread that forks.
class InterpreterFork
{
  public:
    /// Lets the gate do without the interpreter lock. Called once, at load.
    static void setInterpreterOfGate();

    /// For the fork handlers. `prepare` closes the gate, unless `os.fork` has done so.
    /// Failure: false if the fork goes ahead although threads are inside.
    [[nodiscard]] static bool prepare();
    static void parent();
    static void child();

    /// Has `os.fork` say what it does. The caller holds the interpreter lock.
    /// Failure: false, with a pending Python error.
    [[nodiscard]] static bool watchForksOfPython();
};

} // namespace Velmora::Python

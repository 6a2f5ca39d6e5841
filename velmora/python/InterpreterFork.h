#pragma once

namespace Velmora::Python
{

/// What a fork does to Python. Python's own `os.fork` makes Python usable in the child; after any
/// other fork Python is closed there, as another thread may have held its lock.
///
/// The locks of the library that a thread may hold while it waits for the interpreter lock are
/// taken here, since a thread that forks may hold the interpreter lock: it gives that up until it
/// has them. Otherwise the two would wait for each other.
///
/// Thread-safety: called on the thread that forks.
class InterpreterFork
{
  public:
    /// Takes those locks, and lets go of them in the parent or in the child. Set once, at load.
    struct Locks
    {
        void (*pHold)();
        void (*pRelease)();
        void (*pReleaseInChild)();
    };
    static void setLocks(const Locks& in_locks);

    /// For the fork handlers, the first and the last of them.
    static void prepare();
    static void parent();
    static void child();

    /// Has `os.fork` say what it does. The caller holds the interpreter lock.
    /// Failure: false, with a pending Python error.
    [[nodiscard]] static bool watchForksOfPython();
};

} // namespace Velmora::Python

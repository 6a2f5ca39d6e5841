#pragma once

#include "velmora/Export.h"

#include <chrono>

namespace Velmora
{

/// The one gate of the process, which a thread passes on its way into its outermost log line or
/// critical section of the library. A fork and a change of the logging configuration close it and
/// wait until no other thread is inside: whatever the library guards is then in order, and no lock
/// of it is held.
///
/// A thread passes as often as it likes: only the outermost pass looks whether the gate is open, so
/// what a thread does while it is inside always goes on. Code that has passed may run foreign code
/// (an appender, an observer, a destructor); that code must not wait for a thread which forks or
/// configures logging.
///
/// A thread inside may wait for one that is held up at the gate. So while somebody is held up, the
/// gate stays closed for a bounded time only, is opened again, and is closed anew, until a limit is
/// reached.
///
/// A pass costs a store and a load, without an atomic operation or a shared cache line that is
/// written. The closing side makes up for that with `membarrier` (membarrier(2)).
///
/// There is one gate in a process, also when it has several copies of the library.
///
/// Thread-safety: all operations may be called on any thread.
/// Failure: passing and leaving never fail and do not throw.
class VELMORA_API ProcessGate
{
  public:
    /// Is inside for a scope.
    class Pass
    {
      public:
        Pass() noexcept { enter(); }
        ~Pass() { leave(); }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
    };

    /// Passes; waits outside while the gate is closed. Each call needs one of `leave`.
    static void enter() noexcept;
    static void leave() noexcept;

    /// Whether the calling thread is inside.
    [[nodiscard]] static bool isInside() noexcept;

    /// How long a fork and a change of the logging configuration try.
    static constexpr std::chrono::seconds s_limit{5};

    /// Calls the function with the gate closed and nobody else inside, and opens the gate again.
    /// The calling thread must not be inside; during the call it is. The function gives false if it
    /// could not do its work, as it did not get a lock that others may hold outside the gate; then
    /// it is tried again. It must not wait for others without a limit.
    ///
    /// A thread that holds Python's interpreter lock gives it up until the gate is open again.
    ///
    /// Failure: false after `s_limit`. What the function throws comes through, with the gate open.
    template <class Function>
    [[nodiscard]] static bool whileClosed(Function in_function)
    {
        return whileClosed([](void* in_pFunction) -> bool
                           { return (*static_cast<Function*>(in_pFunction))(); },
                           &in_function);
    }

    /// Closes the gate for a fork. A thread that is inside counts as outside until it gets its
    /// turn, so that two that fork from inside do not wait for each other. Nor does it wait for one
    /// that waits for a lock (`waitForLock`): it may hold that lock.
    ///
    /// Closings of one thread may be nested. Those of a thread with Python's interpreter lock give
    /// it up and have it again at the end; until then, other threads that hold it may pass.
    ///
    /// Failure: false after `s_limit`. The gate is open then, and the fork goes ahead; `open` is to
    /// be called all the same.
    [[nodiscard]] static bool closeForFork() noexcept;

    /// Opens the gate in the parent.
    static void open() noexcept;

    /// Opens the gate in the child, which has the calling thread only. Locks of the library that
    /// other threads held are made anew; those of the calling thread stay with it.
    static void openInChild() noexcept;

    /// From now on nobody waits at the gate: the process ends.
    static void stopWaiting() noexcept;

    /// What happens to a lock that is held in the child of a fork: made anew, as one that nobody
    /// holds.
    enum class LockAction
    {
        renew,
        acquire,
        release
    };
    using ActOnLock = void (*)(void* in_pLock, LockAction in_action);

    /// Passes, and notes that the calling thread is going to hold the lock. While a thread holds
    /// such locks, its log lines wait: see `whenFree`.
    static void beginHolding(void* in_pLock, ActOnLock in_pAct) noexcept;
    /// The thread has let go of the lock that it noted last.
    static void endHolding() noexcept;

    /// Which lock a thread waits for.
    enum class Awaited
    {
        /// The one that it noted last.
        noted,
        /// One of foreign code, which it has not noted.
        foreign
    };

    /// Waits for a lock. If the calling thread holds no other lock of the library, it counts as
    /// outside for forks while it waits; if it gets the lock while a fork is under way, it gives
    /// the lock back until the gate is open. It must have changed nothing by then that the child of
    /// a fork would find half done.
    ///
    /// `in_acquire` waits, and gives what is returned: -1 if the lock cannot be had. `in_release`
    /// gives the lock back.
    template <class Acquire, class Release>
    static int waitForLock(Awaited in_awaited, Acquire in_acquire, Release in_release)
    {
        const bool bOutside = beginWaiting(in_awaited);
        while (true)
        {
            const int iResult = in_acquire();
            if (!bOutside || endWaiting())
                return iResult;
            if (iResult != -1)
                in_release();
            waitForEndOfFork();
        }
    }

    /// Whether the calling thread holds a lock of the library, so that its lines wait.
    [[nodiscard]] static bool isHolding() noexcept;

    /// Work that waits until the thread holds no lock of the library.
    class Deferred
    {
      public:
        virtual void run() noexcept = 0;

      protected:
        Deferred() = default;
        ~Deferred() = default;

      private:
        friend class ProcessGate;
        Deferred* m_pNext = nullptr;
    };

    /// Runs the work once the calling thread has let go of its last lock, on that thread, in order.
    /// The calling thread holds one. The work outlives its run.
    static void whenFree(Deferred& in_work) noexcept;

    /// Runs what waits although locks are held, and lets nothing of the calling thread wait any
    /// more: the process is about to end.
    static void stopDeferring() noexcept;

    /// How to do without Python's interpreter lock, which a lower floor does not know. Set once, at
    /// load.
    struct Interpreter
    {
        bool (*pIsHeld)();
        /// Calls the function while the lock is given up, and has the lock again afterwards.
        void (*pWithout)(void (*in_pFunction)(void*), void* in_pArgument);
    };
    static void setInterpreter(const Interpreter& in_interpreter) noexcept;

    /// Makes the gate; for the bringing up of the library.
    static void initialize();

  private:
    struct Thread;
    class Gate;

    static Gate& gate() noexcept;
    /// What is known of the calling thread.
    static Thread& thread() noexcept;
    static void meetThread() noexcept;
    static void enterAsNewThread() noexcept;
    static void beginHoldingAsNewThread(void* in_pLock, ActOnLock in_pAct) noexcept;
    static void runDeferredAndLeave() noexcept;
    static void waitOutside() noexcept;
    static void endOfThread(void* in_pThread) noexcept;
    static bool whileClosed(bool (*in_pFunction)(void*), void* in_pArgument);

    /// Gives whether the calling thread counts as outside for forks now.
    static bool beginWaiting(Awaited in_awaited) noexcept;
    /// The calling thread counts as inside again, unless it is to wait for the end of a fork: then
    /// false.
    static bool endWaiting() noexcept;
    static void waitForEndOfFork() noexcept;

    /// What this copy of the library uses for the calling thread; null before the first pass.
    [[gnu::visibility("hidden")]] static constinit thread_local Thread* s_pThread;
};

} // namespace Velmora

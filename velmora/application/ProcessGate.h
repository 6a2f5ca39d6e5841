// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <chrono>

namespace Velmora
{

/// The gate of the process. A thread passes it before its outermost log line or critical section of
/// the library, and is inside until that ends. A fork and a change of the logging configuration
/// close the gate and wait until no other thread is inside. Then all data that the library guards
/// is consistent, and none of its locks is held.
///
/// A thread may pass any number of times. Only the outermost pass tests whether the gate is open,
/// so a thread that is inside is never stopped. Code that has passed may run foreign code (an
/// appender, an observer, a destructor). That code must not wait for a thread that forks or
/// configures logging.
///
/// A thread inside may wait for a thread that waits at the gate. So while any thread waits at the
/// gate, the gate stays closed for a bounded time, opens, and closes again, until the limit is
/// reached.
///
/// A pass costs a store and a load. It uses no atomic read-modify-write operation and writes to no
/// shared cache line. The closing thread makes up for that with `membarrier` (membarrier(2)).
///
/// A process has one gate, even if it has several copies of the library.
///
/// Thread-safety: all operations may be called on any thread.
/// Failure: passing and leaving never fail and do not throw.
class VELMORA_API ProcessGate
{
  public:
    /// Passes the gate for a scope.
    class Pass
    {
      public:
        Pass() noexcept { enter(); }
        ~Pass() { leave(); }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
    };

    /// Does the same, in code that is inlined. Defined in ProcessGatePass.h, for the library only.
    class InlinePass;

    /// Passes the gate; waits while it is closed. Each call needs a call of `leave`.
    static void enter() noexcept;
    static void leave() noexcept;

    /// Returns whether the calling thread is inside.
    [[nodiscard]] static bool isInside() noexcept;

    /// The limit of time after which a fork and a change of the logging configuration give up.
    static constexpr std::chrono::seconds s_limit{5};

    /// Closes the gate, calls the function when no other thread is inside, and opens the gate
    /// again. The calling thread must not be inside before the call; it is inside while the
    /// function runs. The function returns false if it could not take a lock that other threads may
    /// hold outside the gate. It is then called again. It must not wait for other threads without a
    /// limit.
    ///
    /// If the thread holds Python's interpreter lock, it releases the lock until the gate is open
    /// again.
    ///
    /// Failure: returns false after `s_limit`. Opens the gate and rethrows if the function throws.
    template <class Function>
    [[nodiscard]] static bool whileClosed(Function in_function)
    {
        return whileClosed([](void* in_pFunction) -> bool
                           { return (*static_cast<Function*>(in_pFunction))(); },
                           &in_function);
    }

    /// Closes the gate for a fork. A thread that is inside counts as outside while it waits for its
    /// turn, so that two threads that fork from inside do not wait for each other. The call does
    /// not wait for a thread that waits for a lock (`waitForLock`), as the calling thread may hold
    /// that lock.
    ///
    /// Calls may be nested in a thread. If the thread holds Python's interpreter lock, it releases
    /// the lock while it waits, and holds it again when the call returns. Until then, other threads
    /// that hold the lock may pass.
    ///
    /// Failure: returns false after `s_limit`. The gate is open then, and the fork goes ahead.
    /// `open` must be called in that case, too.
    [[nodiscard]] static bool closeForFork() noexcept;

    /// Opens the gate in the parent of a fork.
    static void open() noexcept;

    /// Opens the gate in the child of a fork, which has only the calling thread. Initialises the
    /// locks of the library that other threads held; the calling thread still holds its own.
    static void openInChild() noexcept;

    /// Opens the gate permanently: no thread waits at it any more. Is called at the end of the
    /// process.
    static void stopWaiting() noexcept;

    /// What the child of a fork does with a lock. `renew` initialises it again, as a lock that no
    /// thread holds.
    enum class LockAction
    {
        renew,
        acquire,
        release
    };
    using ActOnLock = void (*)(void* in_pLock, LockAction in_action);

    /// Passes the gate, and records that the calling thread is about to take the lock. The lines
    /// that a thread logs while it has such a record wait: see `whenFree`.
    static void beginHolding(void* in_pLock, ActOnLock in_pAct) noexcept;
    /// Removes the latest record of the calling thread, which has released that lock, and leaves
    /// the gate.
    static void endHolding() noexcept;

    /// Which lock a thread waits for.
    enum class Awaited
    {
        /// The lock that `beginHolding` recorded last.
        noted,
        /// A lock of foreign code, which is not recorded.
        foreign
    };

    /// Waits for a lock. If the calling thread holds no other lock of the library, it counts as
    /// outside for forks while it waits. If it gets the lock during a fork, it releases the lock
    /// until the gate is open, and then takes it again. At the time of the call, it must not have
    /// left anything half done that the child of a fork would use.
    ///
    /// `in_acquire` takes the lock. Its result is returned: -1 if the lock cannot be taken.
    /// `in_release` releases the lock. Throws what `in_acquire` throws.
    template <class Acquire, class Release>
    static int waitForLock(Awaited in_awaited, Acquire in_acquire, Release in_release)
    {
        const bool bOutside = beginWaiting(in_awaited);
        while (true)
        {
            int iResult = -1;
            try
            {
                iResult = in_acquire();
            }
            catch (...)
            {
                while (bOutside && !endWaiting())
                    waitForEndOfFork();
                throw;
            }
            if (!bOutside || endWaiting())
                return iResult;
            if (iResult != -1)
                in_release();
            waitForEndOfFork();
        }
    }

    /// Returns whether the calling thread holds a lock of the library, so that its lines wait.
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

    /// Runs the work on the calling thread after it has released its last lock, in the order of the
    /// calls. The calling thread must hold a lock. The work must outlive its run.
    static void whenFree(Deferred& in_work) noexcept;

    /// Runs all waiting work of the calling thread at once, although locks are held. Later work of
    /// the thread does not wait. Is called when the process is about to end.
    static void stopDeferring() noexcept;

    /// Functions that release Python's interpreter lock, which this floor does not know. They are
    /// set once, at load.
    struct Interpreter
    {
        bool (*pIsHeld)();
        /// Calls the function without the lock, and takes the lock again afterwards.
        void (*pWithout)(void (*in_pFunction)(void*), void* in_pArgument);
    };
    static void setInterpreter(const Interpreter& in_interpreter) noexcept;

    /// Creates the gate. Is called while the library is loaded.
    static void initialize();

  private:
    struct Thread;
    class Gate;

    static Gate& gate() noexcept;
    /// Returns the record of the calling thread.
    static Thread& thread() noexcept;
    static void meetThread() noexcept;
    static void enterAsNewThread() noexcept;
    static void beginHoldingAsNewThread(void* in_pLock, ActOnLock in_pAct) noexcept;
    static void runDeferredAndLeave() noexcept;
    static void waitOutside() noexcept;
    static void endOfThread(void* in_pThread) noexcept;
    static bool whileClosed(bool (*in_pFunction)(void*), void* in_pArgument);

    /// Returns whether the calling thread now counts as outside for forks.
    static bool beginWaiting(Awaited in_awaited) noexcept;
    /// Counts the calling thread as inside again and returns true. Returns false, without a change,
    /// if the thread has to wait for the end of a fork.
    static bool endWaiting() noexcept;
    static void waitForEndOfFork() noexcept;

    /// The record of the calling thread, for this copy of the library. Null before the first pass.
    /// The model "initial-exec" makes the access a single load. The general model calls a function.
    [[gnu::visibility("hidden"),
      gnu::tls_model("initial-exec")]] static constinit thread_local Thread* s_pThread;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Descriptor.h"
#include "EventLoop.h"
#include "ReadWatch.h"
#include "Timer.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>

namespace GatewayExample
{

/// Work that would hold up the loop, such as opening a file on a slow disk.
class Work
{
  public:
    /// Whether the work is done and reported at once, or with the next that is, within a tenth of a
    /// second. To wake a thread costs more than much work does.
    enum class Haste
    {
        AT_ONCE,
        LATER,
    };

    explicit Work(Haste in_haste) : m_haste(in_haste) {}
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    virtual ~Work() = default;

    /// Does the work. Called on a thread of `WorkerThreads`.
    virtual void run() noexcept = 0;

    /// Called in the loop when the work is done. May destroy this object.
    virtual void done() = 0;

  private:
    friend class WorkerThreads;

    const Haste m_haste;
    Work* m_pNext = nullptr;
};

/// Threads that do work for the loop, one piece after the other. The loop and a thread never use a
/// piece of work concurrently.
///
/// Thread-safety: all operations belong to the thread of the loop.
class WorkerThreads
{
  public:
    /// The loop must outlive this object.
    ///
    /// Failure: throws `std::system_error` if the system has no threads or descriptors for it.
    WorkerThreads(const EventLoop& in_loop, std::size_t in_uiThreads);
    /// Waits until all work is done. The loop does not hear of it.
    ~WorkerThreads();
    WorkerThreads(const WorkerThreads&) = delete;
    WorkerThreads& operator=(const WorkerThreads&) = delete;

    /// Lets a thread do the work. Pieces of work with the same key are done in the order in which
    /// they are added. Does not throw.
    ///
    /// Ownership: the work stays the caller's, and must exist until it is done.
    void add(Work& inout_work, std::size_t in_uiKey);

  private:
    /// Work in the order in which it was added.
    class Queue
    {
      public:
        [[nodiscard]] bool isEmpty() const { return m_pFirst == nullptr; }
        void push(Work& inout_work);
        Work& pop();

      private:
        Work* m_pFirst = nullptr;
        Work* m_pLast = nullptr;
    };

    class Thread
    {
      public:
        Thread(WorkerThreads& inout_owner, std::size_t in_uiNumber);
        ~Thread();
        Thread(const Thread&) = delete;
        Thread& operator=(const Thread&) = delete;

        void add(Work& inout_work);
        void wake() { m_changed.notify_one(); }

      private:
        void run();

        WorkerThreads& m_owner;
        std::mutex m_mutex;
        std::condition_variable m_changed;
        // Guarded by the mutex. No work is done under it.
        Queue m_queue;
        bool m_bSleeps = false;
        bool m_bEnding = false;
        std::thread m_thread;
    };

    void handBack(Work& inout_work);
    void finish();
    void startTimer();
    void wakeAll();

    Timer m_timer;
    bool m_bTimer = false;
    Descriptor m_wakeUp;
    ReadWatch m_watch;
    std::mutex m_mutex;
    // Guarded by the mutex.
    Queue m_done;
    bool m_bWoken = false;
    /// Ends before what its threads use.
    std::deque<Thread> m_threads;
};

} // namespace GatewayExample

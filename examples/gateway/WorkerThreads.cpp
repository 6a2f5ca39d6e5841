// SPDX-License-Identifier: BSD-2-Clause

#include "WorkerThreads.h"

#include "velmora/logging/WithoutThrowing.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace GatewayExample
{

namespace
{

constexpr std::chrono::milliseconds s_later{100};

int makeWakeUp()
{
    const int iDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (iDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "no event for threads");
    return iDescriptor;
}

} // namespace

void WorkerThreads::Queue::push(Work& inout_work)
{
    inout_work.m_pNext = nullptr;
    (isEmpty() ? m_pFirst : m_pLast->m_pNext) = &inout_work;
    m_pLast = &inout_work;
}

Work& WorkerThreads::Queue::pop() { return *std::exchange(m_pFirst, m_pFirst->m_pNext); }

WorkerThreads::Thread::Thread(WorkerThreads& inout_owner, std::size_t in_uiNumber)
    : m_owner(inout_owner), m_thread([this] { run(); })
{
    // What `top -H` shows.
    pthread_setname_np(m_thread.native_handle(), ("files-" + std::to_string(in_uiNumber)).c_str());
}

WorkerThreads::Thread::~Thread()
{
    {
        const std::lock_guard guard(m_mutex);
        m_bEnding = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void WorkerThreads::Thread::add(Work& inout_work)
{
    bool bWake = inout_work.m_haste == Work::Haste::AT_ONCE;
    {
        const std::lock_guard guard(m_mutex);
        m_queue.push(inout_work);
        bWake = bWake && std::exchange(m_bSleeps, false);
    }
    if (bWake)
        wake();
}

void WorkerThreads::Thread::run()
{
    std::unique_lock guard(m_mutex);
    for (;;)
    {
        while (m_queue.isEmpty())
        {
            if (m_bEnding)
                return;
            m_bSleeps = true;
            m_changed.wait(guard);
            m_bSleeps = false;
        }
        Work& work = m_queue.pop();
        guard.unlock();
        work.run();
        m_owner.handBack(work);
        guard.lock();
    }
}

WorkerThreads::WorkerThreads(const EventLoop& in_loop, std::size_t in_uiThreads)
    : m_timer(in_loop), m_wakeUp(makeWakeUp()),
      m_watch(in_loop, m_wakeUp.number(), [this] { finish(); })
{
    while (m_threads.size() < in_uiThreads)
        m_threads.emplace_back(*this, m_threads.size() + 1);
}

WorkerThreads::~WorkerThreads() = default;

void WorkerThreads::add(Work& inout_work, std::size_t in_uiKey)
{
    m_threads[in_uiKey % m_threads.size()].add(inout_work);
    // Without the timer, work for later is done with the next that is to be done at once. With it,
    // an event of a thread that the system refuses is only late.
    const FailureLine line = EventLoop::failureLine();
    Velmora::withoutThrowing(line.pLogger, line.szWhat, [this] { startTimer(); });
}

void WorkerThreads::startTimer()
{
    if (m_bTimer)
        return;
    m_timer.start(s_later, [this] { wakeAll(); });
    m_bTimer = true;
}

void WorkerThreads::wakeAll()
{
    m_bTimer = false;
    for (Thread& thread : m_threads)
        thread.wake();
    finish();
}

void WorkerThreads::handBack(Work& inout_work)
{
    const bool bAtOnce = inout_work.m_haste == Work::Haste::AT_ONCE;
    bool bWake = false;
    {
        const std::lock_guard guard(m_mutex);
        m_done.push(inout_work);
        bWake = bAtOnce && !std::exchange(m_bWoken, true);
    }
    if (bWake)
    {
        const std::uint64_t uiOne = 1;
        [[maybe_unused]] const ssize_t iWritten = write(m_wakeUp.number(), &uiOne, sizeof(uiOne));
    }
}

void WorkerThreads::finish()
{
    std::uint64_t uiTimes = 0;
    [[maybe_unused]] const ssize_t iRead = read(m_wakeUp.number(), &uiTimes, sizeof(uiTimes));
    Queue done;
    {
        const std::lock_guard guard(m_mutex);
        std::swap(done, m_done);
        m_bWoken = false;
    }
    const FailureLine line = EventLoop::failureLine();
    while (!done.isEmpty())
    {
        Work& work = done.pop();
        Velmora::withoutThrowing(line.pLogger, line.szWhat, [&work] { work.done(); });
    }
}

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#include "WorkerThreads.h"

#include "velmora/logging/WithoutThrowing.h"

#include <cerrno>
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
    bool bWasEmpty = false;
    {
        const std::lock_guard guard(m_mutex);
        bWasEmpty = m_queue.isEmpty();
        m_queue.push(inout_work);
    }
    if (bWasEmpty)
        m_changed.notify_one();
}

void WorkerThreads::Thread::run()
{
    std::unique_lock guard(m_mutex);
    for (;;)
    {
        m_changed.wait(guard, [this] { return !m_queue.isEmpty() || m_bEnding; });
        if (m_queue.isEmpty())
            return;
        Work& work = m_queue.pop();
        guard.unlock();
        work.run();
        m_owner.handBack(work);
        guard.lock();
    }
}

WorkerThreads::WorkerThreads(const EventLoop& in_loop, std::size_t in_uiThreads)
    : m_wakeUp(makeWakeUp()), m_watch(in_loop, m_wakeUp.number(), [this] { finish(); })
{
    while (m_threads.size() < in_uiThreads)
        m_threads.emplace_back(*this, m_threads.size() + 1);
}

WorkerThreads::~WorkerThreads() = default;

void WorkerThreads::add(Work& inout_work, std::size_t in_uiKey)
{
    m_threads[in_uiKey % m_threads.size()].add(inout_work);
}

void WorkerThreads::handBack(Work& inout_work)
{
    const bool bAwaited = inout_work.m_end == Work::End::AWAITED;
    bool bWake = false;
    {
        const std::lock_guard guard(m_mutex);
        m_done.push(inout_work);
        bWake = bAwaited && !std::exchange(m_bWoken, m_bWoken || bAwaited);
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

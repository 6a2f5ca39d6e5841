// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <atomic>
#include <latch>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// Runs a function on a new thread and waits for it.
template <class Function>
void onAnotherThread(Function in_function)
{
    std::thread(std::move(in_function)).join();
}

/// Calls a function of a thread, with the number of the thread if the function takes one.
template <class Function>
void callWithNumber(Function& in_function, int in_iThread)
{
    if constexpr (std::is_invocable_v<Function&, int>)
        in_function(in_iThread);
    else
        in_function();
}

/// Calls a function on a number of threads and waits until all of them have returned. The function
/// may take the number of its thread, from 0 on.
template <class Function>
void onThreads(int in_iThreads, Function in_function)
{
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < in_iThreads; ++iThread)
        threads.emplace_back([&in_function, iThread] { callWithNumber(in_function, iThread); });
    for (std::thread& thread : threads)
        thread.join();
}

/// Threads that call a function repeatedly. The function may take the number of its thread, from 0
/// on. The constructor returns when each thread has called it once.
class RepeatingThreads
{
  public:
    template <class Function>
    RepeatingThreads(int in_iThreads, Function in_function) : m_warm(in_iThreads)
    {
        for (int iThread = 0; iThread < in_iThreads; ++iThread)
            m_threads.emplace_back(
                [this, in_function, iThread]() mutable
                {
                    callWithNumber(in_function, iThread);
                    m_warm.count_down();
                    while (!m_bStop)
                        callWithNumber(in_function, iThread);
                });
        m_warm.wait();
    }
    ~RepeatingThreads() { stop(); }
    RepeatingThreads(const RepeatingThreads&) = delete;
    RepeatingThreads& operator=(const RepeatingThreads&) = delete;

    /// Waits until each thread has returned from its last call.
    void stop()
    {
        m_bStop = true;
        for (std::thread& thread : m_threads)
            thread.join();
        m_threads.clear();
    }

  private:
    std::latch m_warm;
    std::atomic<bool> m_bStop{false};
    std::vector<std::thread> m_threads;
};

} // namespace Velmora::Test

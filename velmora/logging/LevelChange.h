// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <atomic>
#include <thread>

namespace Velmora
{

/// Marks a change of the levels of loggers for as long as it lives. A thread that walks from a
/// logger to its parents could read one level before the change and the next one after it, and so
/// find an effective level that is neither the old nor the new one. A walk that meets a change is
/// therefore repeated.
///
/// Thread-safety: one object lives at a time, on the thread that configures logging. The walks may
/// run on any thread.
class LevelChange
{
  public:
    LevelChange() { s_pNumber->fetch_add(1); }
    ~LevelChange() { s_pNumber->fetch_add(1); }
    LevelChange(const LevelChange&) = delete;
    LevelChange& operator=(const LevelChange&) = delete;

    /// Runs the walk, stores its result, and returns whether no level changed during it.
    template <class Walk>
    static bool meetsNone(Walk in_walk, int& out_iResult)
    {
        const std::atomic<unsigned int>& number = *s_pNumber;
        const unsigned int uiBefore = number.load(std::memory_order_acquire);
        out_iResult = in_walk();
        // The processor does not reorder a load with earlier loads; this keeps the compiler from
        // doing so.
        std::atomic_signal_fence(std::memory_order_acquire);
        return uiBefore % 2 == 0 && number.load(std::memory_order_relaxed) == uiBefore;
    }

    /// Repeats the walk until no level changes during it, and returns its result. After 1000
    /// attempts it returns the result of one more walk.
    template <class Walk>
    static int notMeetingOne(Walk in_walk)
    {
        // A change takes a few microseconds, but the thread that makes it may have to wait for a
        // processor.
        constexpr int iTries = 1000;
        int iResult = 0;
        for (int iTry = 0; iTry < iTries; ++iTry)
        {
            if (meetsNone(in_walk, iResult))
                return iResult;
            std::this_thread::yield();
        }
        return in_walk();
    }

    /// Makes all copies of the library use one number. Called when the library comes up.
    static void initialize();

  private:
    /// Counts the beginnings and the ends of changes: odd while levels change.
    static constinit std::atomic<unsigned int>* s_pNumber;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <atomic>

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
    LevelChange()
    {
        s_bOnThisThread = true;
        s_pNumber->fetch_add(1);
    }
    ~LevelChange()
    {
        s_pNumber->fetch_add(1);
        s_bOnThisThread = false;
    }
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

    /// Repeats the walk until no level changes during it, and returns its result. On the thread
    /// that changes levels, returns the result of the first walk.
    template <class Walk>
    static int notMeetingOne(Walk in_walk)
    {
        int iResult = 0;
        for (int iTry = 0; !meetsNone(in_walk, iResult) && !s_bOnThisThread; ++iTry)
            waitALittle(iTry);
        return iResult;
    }

    /// Ends the change of a thread that does not exist in the child of a fork.
    static void startAnewInChild() noexcept;

    /// Makes all copies of the library use one number. Called when the library comes up.
    static void initialize();

  private:
    /// Lets other threads run, also those that would not get a processor while this one waits for
    /// one all the time.
    static void waitALittle(int in_iTry) noexcept;

    static constinit thread_local bool s_bOnThisThread;
    /// Counts the beginnings and the ends of changes: odd while levels change.
    static constinit std::atomic<unsigned int>* s_pNumber;
};

} // namespace Velmora

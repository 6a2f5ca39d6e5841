#pragma once

#include <atomic>
#include <thread>

namespace Velmora
{

/// While it lives, the levels of loggers change. A thread that walks from a logger to its parents
/// could read one level before the change and the next one after it, and find a level in force that
/// is neither the old nor the new one: so a walk that meets a change is made again.
///
/// Thread-safety: one lives at a time, on the thread that configures logging.
class LevelChange
{
  public:
    LevelChange() { s_pNumber->fetch_add(1); }
    ~LevelChange() { s_pNumber->fetch_add(1); }
    LevelChange(const LevelChange&) = delete;
    LevelChange& operator=(const LevelChange&) = delete;

    /// Walks, and gives whether no level changed during that.
    template <class Walk>
    static bool meetsNone(Walk in_walk, int& out_iResult)
    {
        const std::atomic<unsigned int>& number = *s_pNumber;
        const unsigned int uiBefore = number.load(std::memory_order_acquire);
        out_iResult = in_walk();
        // The processor does not move loads in front of loads; the compiler must not either.
        std::atomic_signal_fence(std::memory_order_acquire);
        return uiBefore % 2 == 0 && number.load(std::memory_order_relaxed) == uiBefore;
    }

    /// Walks until no level changes, and gives what the walk gives.
    template <class Walk>
    static int notMeetingOne(Walk in_walk)
    {
        // Some microseconds, but that the thread which changes them may have to wait for its turn.
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

    /// Lets all copies of the library count together; for the bringing up of the library.
    static void initialize();

  private:
    /// Odd while levels change.
    static constinit std::atomic<unsigned int>* s_pNumber;
};

} // namespace Velmora

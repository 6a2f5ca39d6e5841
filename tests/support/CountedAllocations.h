// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Counts the allocations of a thread, and can make one of them fail. Include it in exactly one
// source file of a test program; it replaces `operator new`.

#include <cstdlib>
#include <initializer_list>
#include <new>
#include <utility>

namespace Velmora::Test
{

/// The number of calls of `operator new` on this thread.
inline thread_local int s_iAllocations = 0;

/// Whether this thread's next call of `operator new` fails. Later calls succeed.
inline thread_local bool s_bNextAllocationFails = false;

/// Makes this thread's `operator new` serve a number of requests and then fail, for one request or
/// for all further ones, during the lifetime of the object. At most one object may live at a time.
class AllocationFailure
{
  public:
    enum class Lasts
    {
        ONCE,
        ON
    };

    AllocationFailure(int in_iServed, Lasts in_lasts)
    {
        s_iServed = in_iServed;
        s_lasts = in_lasts;
        s_bFailed = false;
        s_bArmed = true;
    }
    ~AllocationFailure() { end(); }
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;

    /// Makes memory available again.
    static void end() { s_bArmed = false; }

    /// Returns whether a request has failed.
    [[nodiscard]] static bool hasFailed() { return s_bFailed; }

    static bool isNext()
    {
        if (!s_bArmed || s_iServed-- > 0)
            return false;
        s_bFailed = true;
        s_bArmed = s_lasts == Lasts::ON;
        return true;
    }

  private:
    static inline thread_local bool s_bArmed = false;
    static inline thread_local bool s_bFailed = false;
    static inline thread_local int s_iServed = 0;
    static inline thread_local Lasts s_lasts = Lasts::ONCE;
};

/// Repeats `in_work` with its first allocation failing, then with its second and so on, until none
/// fails. Then does the same with all later allocations failing, too. `in_after` runs after each
/// attempt, to check the state. Returns the number of attempts that failed.
template <class Work, class After>
int failAtEachAllocation(Work in_work, After in_after,
                         std::initializer_list<AllocationFailure::Lasts> in_kinds = {
                             AllocationFailure::Lasts::ONCE, AllocationFailure::Lasts::ON})
{
    int iFailures = 0;
    for (const AllocationFailure::Lasts lasts : in_kinds)
        for (int iServed = 0;; ++iServed)
        {
            const AllocationFailure failure(iServed, lasts);
            in_work();
            AllocationFailure::end();
            in_after();
            if (!AllocationFailure::hasFailed())
                break;
            ++iFailures;
        }
    return iFailures;
}

inline void* allocate(std::size_t in_uiSize)
{
    ++s_iAllocations;
    return AllocationFailure::isNext() || std::exchange(s_bNextAllocationFails, false)
               ? nullptr
               : std::malloc(in_uiSize);
}

/// Returns the number of allocations of ten further calls of a function, after a first one.
template <class Function>
int allocationsOfLaterCalls(Function in_function)
{
    in_function();
    const int iBefore = s_iAllocations;
    for (int iCall = 0; iCall < 10; ++iCall)
        in_function();
    return s_iAllocations - iBefore;
}

} // namespace Velmora::Test

// A program has one source file that includes this header. The functions are not inlined: the
// compiler would otherwise report a mismatch of `malloc` and `delete`.
// NOLINTBEGIN(misc-definitions-in-headers)

[[gnu::noinline]] void* operator new(std::size_t in_uiSize)
{
    void* const pMemory = Velmora::Test::allocate(in_uiSize);
    if (pMemory == nullptr)
        throw std::bad_alloc();
    return pMemory;
}

[[gnu::noinline]] void* operator new(std::size_t in_uiSize, const std::nothrow_t&) noexcept
{
    return Velmora::Test::allocate(in_uiSize);
}

[[gnu::noinline]] void operator delete(void* in_pMemory) noexcept { std::free(in_pMemory); }

[[gnu::noinline]] void operator delete(void* in_pMemory, std::size_t) noexcept
{
    std::free(in_pMemory);
}

[[gnu::noinline]] void operator delete(void* in_pMemory, const std::nothrow_t&) noexcept
{
    std::free(in_pMemory);
}

// NOLINTEND(misc-definitions-in-headers)

#pragma once

// Counts the allocations of a thread, and lets one of them fail: a program whose test includes
// this, in one source, has its own `operator new`.

#include <cstdlib>
#include <new>
#include <utility>

namespace Velmora::Test
{

/// How often this thread has called `operator new`.
inline thread_local int s_iAllocations = 0;

/// Whether this thread's next call of `operator new` finds no memory; later ones do.
inline thread_local bool s_bNextAllocationFails = false;

inline void* allocate(std::size_t in_uiSize)
{
    ++s_iAllocations;
    return std::exchange(s_bNextAllocationFails, false) ? nullptr : std::malloc(in_uiSize);
}

/// The number of allocations of the second and all further calls of a function, once it has run.
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

// A program has one source that includes this. Not inlined, since the compiler would then take
// `malloc` and `delete` for a mismatch.
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

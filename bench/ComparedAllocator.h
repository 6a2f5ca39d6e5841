// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <cstdlib>

#ifndef VELMORA_BENCH_MALLOC
#include "velmora/memory/DefaultStaticMemAllocator.h"
#endif

/// The allocator that is measured: the library's or, with VELMORA_BENCH_MALLOC, `malloc` and
/// `free`, which a preloaded library may replace.
namespace Velmora::Bench
{

#ifdef VELMORA_BENCH_MALLOC

inline void* take(std::size_t in_uiSize) { return std::malloc(in_uiSize); }

inline void giveBack(void* in_pMemory, std::size_t) { std::free(in_pMemory); }

#else

inline void* take(std::size_t in_uiSize)
{
    return DefaultStaticMemAllocator::allocate(in_uiSize, "Bench");
}

inline void giveBack(void* in_pMemory, std::size_t in_uiSize)
{
    DefaultStaticMemAllocator::deallocate(in_pMemory, in_uiSize, "Bench");
}

#endif

} // namespace Velmora::Bench

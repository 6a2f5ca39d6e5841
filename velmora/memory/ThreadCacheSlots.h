// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>

namespace Velmora
{

/// The slots of allocators. A thread keeps its cache for an allocator in the allocator's slot.
struct ThreadCacheSlots
{
    /// The largest number of allocators with caches at one time. Further allocators work without.
    static constexpr std::size_t s_uiNumber = 64;

    /// The slot of an allocator without caches. No thread has a cache in it.
    static constexpr std::size_t s_uiNone = s_uiNumber;
};

} // namespace Velmora

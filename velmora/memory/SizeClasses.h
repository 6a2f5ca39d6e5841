// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>

namespace Velmora
{

/// The size classes of the chunk allocators of the process. A chunk of class `i` has `i + 1`
/// granules.
struct SizeClasses
{
    /// In bytes. The size of each chunk is a multiple of it, and each chunk is aligned to it.
    static constexpr unsigned long s_ulGranule = 8;

    static constexpr unsigned long s_ulNumber = 32;

    /// In bytes. Larger requests go to `malloc`.
    static constexpr std::size_t s_uiLargestChunk = s_ulNumber * s_ulGranule;

    /// Returns the class of a size in bytes. It is at least `s_ulNumber` if the size needs
    /// `malloc`. A size of 0 wraps to a very large class, so callers check for 0 only there.
    static constexpr std::size_t classOf(std::size_t in_uiSize)
    {
        return (in_uiSize - 1) / s_ulGranule;
    }
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstdint>

namespace Velmora
{

/// A line of one of the sources that a load reads. `ReadingContext` has the sources.
struct LinePlace
{
    /// The index of the source.
    std::uint32_t uiSource = 0;
    /// The number of the line, from 1 on; 0 if the place is not known.
    std::uint32_t uiLine = 0;

    [[nodiscard]] bool known() const { return uiLine != 0; }

    // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 takes the 0 of the comparison for one.
    friend auto operator<=>(const LinePlace&, const LinePlace&) = default;
};

} // namespace Velmora

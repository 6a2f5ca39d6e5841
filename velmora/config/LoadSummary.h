// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>

namespace Velmora
{

/// The number of parameters of a configuration, and the number of warnings of each kind that its
/// loads have logged.
struct LoadSummary
{
    /// Parameters with a value, defaults included.
    std::size_t m_uiParameters = 0;
    std::size_t m_uiUnknownNames = 0;
    std::size_t m_uiWrongTypes = 0;
    /// Values that a later line replaced.
    std::size_t m_uiRedefinitions = 0;
    /// Lines that were skipped because their values are out of bounds.
    std::size_t m_uiOutOfBounds = 0;
};

} // namespace Velmora

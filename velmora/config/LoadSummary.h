#pragma once

#include <cstddef>

namespace Velmora
{

/// What a configuration has come to, and how often its loading has warned, by the kind of warning.
struct LoadSummary
{
    /// Parameters with a value, defaults included.
    std::size_t m_uiParameters = 0;
    std::size_t m_uiUnknownNames = 0;
    std::size_t m_uiWrongTypes = 0;
    /// Values that were replaced by those of a later line.
    std::size_t m_uiRedefinitions = 0;
    /// Lines that were skipped because their values are out of bounds.
    std::size_t m_uiOutOfBounds = 0;
};

} // namespace Velmora

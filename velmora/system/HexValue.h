// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <iosfwd>

namespace Velmora
{

/// A number that is written in hexadecimal, padded with zeros to a width:
///
///     stream << HexValue(10, 4);    // 000a
///
/// Thread-safety: as a value.
class VELMORA_API HexValue
{
  public:
    HexValue(unsigned long in_uiValue, int in_iWidth) : m_uiValue(in_uiValue), m_iWidth(in_iWidth)
    {
    }

    [[nodiscard]] unsigned long getValue() const { return m_uiValue; }
    [[nodiscard]] int getWidth() const { return m_iWidth; }

  private:
    unsigned long m_uiValue;
    int m_iWidth;
};

/// Writes the number and leaves the base and the fill character of the stream unchanged. The flags
/// of the stream decide on upper case and on a prefix.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const HexValue& in_value);

} // namespace Velmora

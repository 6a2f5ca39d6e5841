#pragma once

#include "velmora/Export.h"

#include <iosfwd>

namespace Velmora
{

/// A number to be written in hexadecimal, padded with zeros to a width:
///
///     stream << HexValue(10, 4);    // 000a
///
/// Thread-safety: a value.
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

/// Writes the number, and leaves the stream with the base and the fill that it had. Whether digits
/// are upper case and the base is shown is the stream's.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const HexValue& in_value);

} // namespace Velmora

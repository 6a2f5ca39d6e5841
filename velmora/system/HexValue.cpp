#include "velmora/system/HexValue.h"

#include <ios>
#include <ostream>

namespace Velmora
{

std::ostream& operator<<(std::ostream& out_stream, const HexValue& in_value)
{
    const std::ios_base::fmtflags base = out_stream.flags() & std::ios_base::basefield;
    out_stream.setf(std::ios_base::hex, std::ios_base::basefield);
    const char cFill = out_stream.fill('0');
    out_stream.width(in_value.getWidth());
    out_stream << in_value.getValue();
    out_stream.fill(cFill);
    out_stream.setf(base, std::ios_base::basefield);
    return out_stream;
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/SourceText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Velmora
{

void SourceText::read(std::streambuf& inout_source)
{
    std::string strText;
    try
    {
        // Reads only the available characters at a time, so that the text before an exception is
        // kept.
        while (inout_source.sgetc() != traits_type::eof())
        {
            std::array<char, 16384> part;
            const std::streamsize iAtHand = std::max<std::streamsize>(inout_source.in_avail(), 1);
            const std::streamsize iRead =
                inout_source.sgetn(part.data(), std::min<std::streamsize>(iAtHand, part.size()));
            strText.append(part.data(), static_cast<std::size_t>(iRead));
        }
    }
    catch (...)
    {
        m_pThrown = std::current_exception();
    }
    str(std::move(strText));
}

SourceText::int_type SourceText::underflow()
{
    const int_type result = std::stringbuf::underflow();
    if (result == traits_type::eof() && m_pThrown)
        std::rethrow_exception(m_pThrown);
    return result;
}

} // namespace Velmora

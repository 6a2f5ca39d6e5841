// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ReusableStream.h"

#include <cstddef>

namespace Velmora
{

namespace
{

/// In bytes. The memory that a new object has for its text.
constexpr std::size_t s_uiUsualLength = 256;

} // namespace

std::streambuf::int_type ReusableStream::StringAppender::overflow(int_type in_character)
{
    if (!traits_type::eq_int_type(in_character, traits_type::eof()))
        m_strText.push_back(traits_type::to_char_type(in_character));
    return traits_type::not_eof(in_character);
}

std::streamsize ReusableStream::StringAppender::xsputn(const char* in_pText,
                                                       std::streamsize in_iLength)
{
    m_strText.append(in_pText, static_cast<std::size_t>(in_iLength));
    return in_iLength;
}

ReusableStream::ReusableStream() : m_appender(m_strText), m_stream(&m_appender)
{
    m_strText.reserve(s_uiUsualLength);
    m_stream.imbue(std::locale::classic());
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ReusableStream.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string_view>

namespace Velmora
{

namespace
{

/// In bytes. The memory that a new object has for its text.
constexpr std::size_t s_uiUsualLength = 256;

/// Ends a text that is incomplete. Shorter than `s_uiUsualLength`, so that it needs no memory.
constexpr std::string_view s_strIncomplete =
    " ... ERROR: not enough memory for the rest of the line";

} // namespace

std::streambuf::int_type ReusableStream::StringAppender::overflow(int_type in_character)
{
    const char cCharacter = traits_type::to_char_type(in_character);
    if (!traits_type::eq_int_type(in_character, traits_type::eof()))
        xsputn(&cCharacter, 1);
    return traits_type::not_eof(in_character);
}

std::streamsize ReusableStream::StringAppender::xsputn(const char* in_pText,
                                                       std::streamsize in_iLength)
try
{
    m_strText.append(in_pText, static_cast<std::size_t>(in_iLength));
    return in_iLength;
}
catch (const std::bad_alloc&)
{
    m_strText.resize(std::min(m_strText.size(), m_strText.capacity() - s_strIncomplete.size()));
    m_strText.append(s_strIncomplete);
    // The stream catches it, and takes no more text.
    throw;
}

ReusableStream::ReusableStream() : m_appender(m_strText), m_stream(&m_appender)
{
    m_strText.reserve(s_uiUsualLength);
    m_stream.imbue(std::locale::classic());
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogStream.h"

#include "velmora/logging/PerThreadPool.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>

namespace Velmora
{

namespace
{

/// Ends a text that is incomplete. Shorter than the capacity of a text, so that it needs no memory.
constexpr std::string_view s_strIncomplete =
    " ... ERROR: not enough memory for the rest of the line";

/// The length of the longest 64-bit number with its sign.
constexpr std::size_t s_uiLongestNumber = 20;

/// The numbers from 00 to 99.
constexpr std::array<std::array<char, 2>, 100> s_pairs = []
{
    std::array<std::array<char, 2>, 100> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
    return pairs;
}();

/// Writes a number below 10000, and returns the end of the text.
char* writeShortNumber(char* out_pText, unsigned int in_uiNumber)
{
    const auto writeDigit = [&out_pText](unsigned int in_uiDigit)
    { *out_pText++ = static_cast<char>('0' + in_uiDigit); };
    const auto writePair = [&out_pText](unsigned int in_uiPair)
    { out_pText = std::copy_n(s_pairs[in_uiPair].begin(), 2, out_pText); };
    const unsigned int uiHundreds = in_uiNumber / 100;
    if (uiHundreds >= 10)
        writePair(uiHundreds);
    else if (uiHundreds != 0)
        writeDigit(uiHundreds);
    if (in_uiNumber >= 10)
        writePair(in_uiNumber % 100);
    else
        writeDigit(in_uiNumber);
    return out_pText;
}

constexpr std::ios_base::fmtflags s_usualFlags = std::ios_base::skipws | std::ios_base::dec;
constexpr std::streamsize s_iUsualPrecision = 6;

} // namespace

LogStream::Buffer::Buffer()
{
    m_strText.reserve(s_uiUsualLength);
    clear();
}

LogStream::Buffer::~Buffer() = default;

void LogStream::Buffer::clear()
{
    m_strText.clear();
    setp(m_start.data(), m_start.data() + m_start.size());
}

void LogStream::Buffer::collect()
{
    m_strText.append(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(pptr(), epptr());
}

bool LogStream::Buffer::appendDecimal(bool in_bNegative, unsigned long long in_uiNumber)
{
    // Most numbers of lines are durations, ports and counts.
    constexpr unsigned long long uiFirstLong = 10000;
    if (room() < s_uiLongestNumber) [[unlikely]]
        return false;
    char* pEnd = pptr();
    *pEnd = '-';
    pEnd += in_bNegative ? 1 : 0;
    if (in_uiNumber < uiFirstLong) [[likely]]
        pEnd = writeShortNumber(pEnd, static_cast<unsigned int>(in_uiNumber));
    else
        pEnd = std::to_chars(pEnd, epptr(), in_uiNumber).ptr;
    pbump(static_cast<int>(pEnd - pptr()));
    return true;
}

std::streambuf::int_type LogStream::Buffer::overflow(int_type in_character)
{
    const char cCharacter = traits_type::to_char_type(in_character);
    if (!traits_type::eq_int_type(in_character, traits_type::eof()))
        xsputn(&cCharacter, 1);
    return traits_type::not_eof(in_character);
}

std::streamsize LogStream::Buffer::xsputn(const char* in_pText, std::streamsize in_iLength)
try
{
    const std::string_view strText(in_pText, static_cast<std::size_t>(in_iLength));
    if (!appendShort(strText))
    {
        collect();
        // From here on, the string alone has the text, in its order.
        setp(nullptr, nullptr);
        m_strText.append(strText);
    }
    return in_iLength;
}
catch (const std::bad_alloc&)
{
    m_strText.resize(std::min(m_strText.size(), m_strText.capacity() - s_strIncomplete.size()));
    m_strText.append(s_strIncomplete);
    // The stream catches it, and takes no more text.
    throw;
}

LogStream::LogStream() : std::ostream(nullptr), m_classicLocale(std::locale::classic())
{
    rdbuf(&m_buffer);
    imbue(m_classicLocale);
}

LogStream::~LogStream() = default;

void LogStream::insertByStandard(std::string_view in_strText)
{
    static_cast<std::ostream&>(*this) << in_strText;
}

bool LogStream::insertDecimal(long long in_iNumber)
{
    const auto uiNumber = static_cast<unsigned long long>(in_iNumber);
    return isDecimal() &&
           m_buffer.appendDecimal(in_iNumber < 0, in_iNumber < 0 ? -uiNumber : uiNumber);
}

bool LogStream::insertDecimal(unsigned long long in_uiNumber)
{
    return isDecimal() && m_buffer.appendDecimal(false, in_uiNumber);
}

bool LogStream::isDecimal() const
{
    if (isPlain() && (flags() & (basefield | showpos)) == dec && hasClassicLocale()) [[likely]]
        return true;
    return false;
}

// The operations below use members of libstdc++, for what the public operations do not report or
// report slowly only.

bool LogStream::hasClassicLocale() const
{
    // A locale is a handle: the bytes of copies are the same.
    static_assert(sizeof(std::locale) == sizeof(void*));
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): different bytes only cost time.
    return std::memcmp(&_M_ios_locale, &m_classicLocale, sizeof(std::locale)) == 0;
}

/// Returns whether a program's manipulator has left a number, a pointer or a callback in the stream
/// (see `std::ios_base::xalloc`).
bool LogStream::isExtended() const
{
    static constexpr std::array<char, sizeof _M_local_word> s_none{};
    return _M_callbacks != nullptr || _M_word != _M_local_word ||
           std::memcmp(_M_local_word, s_none.data(), s_none.size()) != 0;
}

bool LogStream::isAsNew() const
{
    return isPlain() && exceptions() == goodbit && flags() == s_usualFlags &&
           precision() == s_iUsualPrecision && fill() == ' ' && hasClassicLocale() && !isExtended();
}

bool LogStream::reset()
{
    m_buffer.clear();
    return (isAsNew() || resetFormat()) &&
           m_buffer.capacity() <= PerThreadPool<LogStream>::s_uiLongestText;
}

bool LogStream::resetFormat()
{
    if (exceptions() != goodbit || rdbuf() != &m_buffer || tie() != nullptr ||
        !hasClassicLocale() || isExtended())
        return false;
    clear();
    flags(s_usualFlags);
    precision(s_iUsualPrecision);
    width(0);
    fill(' ');
    return true;
}

} // namespace Velmora

#include "velmora/logging/LogText.h"

#include "velmora/logging/PerThreadPool.h"

#include <algorithm>
#include <iterator>
#include <locale>
#include <streambuf>

namespace Velmora
{

namespace
{

/// A stream buffer that appends to a string.
class StringAppender : public std::streambuf
{
  public:
    explicit StringAppender(std::string& out_strText) : m_strText(out_strText) {}

  protected:
    int_type overflow(int_type in_character) override
    {
        if (!traits_type::eq_int_type(in_character, traits_type::eof()))
            m_strText.push_back(traits_type::to_char_type(in_character));
        return traits_type::not_eof(in_character);
    }

    std::streamsize xsputn(const char* in_pText, std::streamsize in_iLength) override
    {
        m_strText.append(in_pText, static_cast<std::size_t>(in_iLength));
        return in_iLength;
    }

  private:
    std::string& m_strText;
};

/// A stream that detects whether a program's manipulator has left a number, a pointer or a callback
/// in it (see `std::ios_base::xalloc`). No public operation reports this, so this class uses
/// members of libstdc++.
class TextStream : public std::ostream
{
  public:
    explicit TextStream(std::streambuf* in_pBuffer) : std::ostream(in_pBuffer) {}

    bool isExtended() const
    {
        return _M_callbacks != nullptr || _M_word != _M_local_word ||
               std::any_of(std::begin(_M_local_word), std::end(_M_local_word),
                           [](const _Words& in_words)
                           { return in_words._M_iword != 0 || in_words._M_pword != nullptr; });
    }
};

} // namespace

class LogTextBuffer
{
  public:
    LogTextBuffer() : m_appender(m_strText), m_stream(&m_appender)
    {
        m_strText.reserve(s_uiUsualLength);
        m_stream.imbue(std::locale::classic());
    }

    /// Puts the stream back into the state of a new one. Returns false if that is not worth the
    /// effort: a rarely changed property of the stream has changed, or the line was huge.
    bool reset()
    {
        if (m_stream.exceptions() != std::ios_base::goodbit || m_stream.rdbuf() != &m_appender ||
            m_stream.tie() != nullptr || m_stream.getloc() != std::locale::classic() ||
            m_stream.isExtended() || m_strText.capacity() > s_uiMostKept)
            return false;
        m_strText.clear();
        m_stream.clear();
        m_stream.flags(std::ios_base::skipws | std::ios_base::dec);
        m_stream.precision(6);
        m_stream.width(0);
        m_stream.fill(' ');
        return true;
    }

    std::ostream& stream() { return m_stream; }
    const std::string& text() const { return m_strText; }

    LogTextBuffer* m_pNextInPool = nullptr;

  private:
    /// In bytes.
    static constexpr std::size_t s_uiUsualLength = 256;
    /// In bytes. The memory of a longer text is released.
    static constexpr std::size_t s_uiMostKept = 16384;

    std::string m_strText;
    StringAppender m_appender;
    TextStream m_stream;
};

LogText::LogText()
    : m_pBuffer(PerThreadPool<LogTextBuffer>::take()), m_pStream(&m_pBuffer->stream()),
      m_pText(&m_pBuffer->text())
{
}

LogText::~LogText()
{
    if (m_pBuffer->reset())
        PerThreadPool<LogTextBuffer>::giveBack(m_pBuffer);
    else
        delete m_pBuffer;
}

} // namespace Velmora

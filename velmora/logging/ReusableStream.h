// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/PerThreadPool.h"

#include <algorithm>
#include <ios>
#include <iterator>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>

namespace Velmora
{

/// A stream with its text, which a `PerThreadPool` keeps for the next line. It is made in the state
/// of a new stream with the classic locale, and `reset` puts it back into that state.
///
/// If memory runs out, the text ends with a note about that, and the stream is bad.
///
/// Thread-safety: belongs to the thread that took it.
class ReusableStream
{
  public:
    ReusableStream();
    ReusableStream(const ReusableStream&) = delete;
    ReusableStream& operator=(const ReusableStream&) = delete;

    /// Puts the stream back into the state of a new one. Returns false if that is not worth the
    /// effort, and the object must be deleted: a rarely changed property of the stream has changed,
    /// or the text was longer than a pool keeps.
    [[nodiscard]] bool reset()
    {
        if (m_stream.exceptions() != std::ios_base::goodbit || m_stream.rdbuf() != &m_appender ||
            m_stream.tie() != nullptr || m_stream.getloc() != std::locale::classic() ||
            m_stream.isExtended() ||
            m_strText.capacity() > PerThreadPool<ReusableStream>::s_uiLongestText)
            return false;
        m_strText.clear();
        m_stream.clear();
        m_stream.flags(std::ios_base::skipws | std::ios_base::dec);
        m_stream.precision(6);
        m_stream.width(0);
        m_stream.fill(' ');
        return true;
    }

    [[nodiscard]] std::ostream& stream() { return m_stream; }
    /// Returns what has been streamed so far.
    [[nodiscard]] const std::string& text() const { return m_strText; }

    ReusableStream* m_pNextInPool = nullptr;

  private:
    /// A stream buffer that appends to a string, whose capacity is at least that of a new object.
    class StringAppender : public std::streambuf
    {
      public:
        explicit StringAppender(std::string& out_strText) : m_strText(out_strText) {}

      protected:
        int_type overflow(int_type in_character) override;
        std::streamsize xsputn(const char* in_pText, std::streamsize in_iLength) override;

      private:
        std::string& m_strText;
    };

    /// A stream that detects whether a program's manipulator has left a number, a pointer or a
    /// callback in it (see `std::ios_base::xalloc`). No public operation reports this, so this
    /// class uses members of libstdc++.
    class TextStream : public std::ostream
    {
      public:
        explicit TextStream(std::streambuf* in_pBuffer) : std::ostream(in_pBuffer) {}

        [[nodiscard]] bool isExtended() const
        {
            return _M_callbacks != nullptr || _M_word != _M_local_word ||
                   std::any_of(std::begin(_M_local_word), std::end(_M_local_word),
                               [](const _Words& in_words)
                               { return in_words._M_iword != 0 || in_words._M_pword != nullptr; });
        }
    };

    std::string m_strText;
    StringAppender m_appender;
    TextStream m_stream;
};

} // namespace Velmora

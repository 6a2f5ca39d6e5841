// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <ios>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <typeinfo>

namespace Velmora
{

/// A stream with its text, for log lines. It is made in the state of a new stream with the classic
/// locale, and `reset` puts it back into that state.
///
/// It writes what any `std::ostream` in its state would write. Strings, characters and integers
/// take a short cut while the stream is in the state of a new one; all other insertions are those
/// of `std::ostream`. The operators of this class are templates for exactly one type each, so they
/// take part in no conversion and leave a program's own operators alone.
///
/// If memory runs out, the text ends with a note about that, and the stream is bad.
///
/// Thread-safety: belongs to one thread.
class VELMORA_API LogStream final : public std::ostream
{
    template <class T>
    static constexpr bool s_bIsString =
        std::same_as<T, std::string> || std::same_as<T, std::string_view>;
    template <class T>
    static constexpr bool s_bIsPointerToText =
        std::same_as<T, const char*> || std::same_as<T, char*>;
    template <class T>
    static constexpr bool s_bIsCharacter =
        std::same_as<T, char> || std::same_as<T, signed char> || std::same_as<T, unsigned char>;
    template <class T>
    static constexpr bool s_bIsSigned = std::same_as<T, short> || std::same_as<T, int> ||
                                        std::same_as<T, long> || std::same_as<T, long long>;
    template <class T>
    static constexpr bool s_bIsUnsigned =
        std::same_as<T, unsigned short> || std::same_as<T, unsigned int> ||
        std::same_as<T, unsigned long> || std::same_as<T, unsigned long long>;
    /// What `std::ostream` writes, and after which a line goes on with the operators of this class.
    template <class T>
    static constexpr bool s_bIsOther =
        std::same_as<T, bool> || std::same_as<T, float> || std::same_as<T, double> ||
        std::same_as<T, long double> || std::same_as<T, const void*> || std::same_as<T, void*>;

  public:
    LogStream();
    ~LogStream() override;
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    /// Returns the stream if it is one of this class, and null otherwise. For operators that are
    /// mostly used in log lines: the operators of this class are several times faster.
    [[nodiscard]] static LogStream* of(std::ostream& inout_stream)
    {
        return typeid(inout_stream) == typeid(LogStream) ? static_cast<LogStream*>(&inout_stream)
                                                         : nullptr;
    }

    /// Returns what has been streamed until the call.
    /// Ownership: owned by this object.
    [[nodiscard]] const std::string& text() { return m_buffer.text(); }

    /// Puts the stream back into the state of a new one. Returns false if that is not worth the
    /// effort, and the object must be deleted: a rarely changed property of the stream has changed,
    /// or the text was longer than a pool keeps.
    [[nodiscard]] bool reset();

    template <class T>
    requires(s_bIsString<T>) friend LogStream& operator<<(LogStream& inout_stream,
                                                          const T& in_strText)
    {
        inout_stream.insert(in_strText);
        return inout_stream;
    }

    template <class T>
    requires(s_bIsPointerToText<T>) friend LogStream& operator<<(LogStream& inout_stream,
                                                                 T in_szText)
    {
        if (in_szText != nullptr) [[likely]]
            inout_stream.insert(in_szText);
        else
            inout_stream.setstate(badbit);
        return inout_stream;
    }

    template <class T>
    requires(s_bIsCharacter<T>) friend LogStream& operator<<(LogStream& inout_stream,
                                                             T in_character)
    {
        const char cCharacter = static_cast<char>(in_character);
        inout_stream.insert(std::string_view(&cCharacter, 1));
        return inout_stream;
    }

    // Any other format than the decimal one depends on the type, so it is left to `std::ostream`.

    template <class T>
    requires(s_bIsSigned<T>) friend LogStream& operator<<(LogStream& inout_stream, T in_number)
    {
        if (!inout_stream.insertDecimal(static_cast<long long>(in_number))) [[unlikely]]
            static_cast<std::ostream&>(inout_stream) << in_number;
        return inout_stream;
    }

    template <class T>
    requires(s_bIsUnsigned<T>) friend LogStream& operator<<(LogStream& inout_stream, T in_number)
    {
        if (!inout_stream.insertDecimal(static_cast<unsigned long long>(in_number))) [[unlikely]]
            static_cast<std::ostream&>(inout_stream) << in_number;
        return inout_stream;
    }

    template <class T>
    requires(s_bIsOther<T>) friend LogStream& operator<<(LogStream& inout_stream, T in_value)
    {
        static_cast<std::ostream&>(inout_stream) << in_value;
        return inout_stream;
    }

    /// For the pool of the thread, to which the stream belongs between two lines.
    LogStream* m_pNextInPool = nullptr;

  private:
    /// Collects the text. The first 256 bytes of a text need no memory and no function call.
    class VELMORA_API Buffer final : public std::streambuf
    {
      public:
        Buffer();
        ~Buffer() override;

        /// Appends a text if there is room for it in the put area. Returns whether it did.
        bool appendShort(std::string_view in_strText)
        {
            const bool bRoom = in_strText.size() <= room();
            if (bRoom) [[likely]]
            {
                traits_type::copy(pptr(), in_strText.data(), in_strText.size());
                pbump(static_cast<int>(in_strText.size()));
            }
            return bRoom;
        }
        /// Appends a number, in the same way.
        bool appendDecimal(bool in_bNegative, unsigned long long in_uiNumber);

        const std::string& text()
        {
            if (pptr() != pbase()) [[likely]]
                collect();
            return m_strText;
        }
        void clear();
        [[nodiscard]] std::size_t capacity() const { return m_strText.capacity(); }

      protected:
        int_type overflow(int_type in_character) override;
        std::streamsize xsputn(const char* in_pText, std::streamsize in_iLength) override;

      private:
        [[nodiscard]] std::size_t room() const
        {
            return static_cast<std::size_t>(epptr() - pptr());
        }
        /// Moves the contents of the put area to the string.
        void collect();

        static constexpr std::size_t s_uiUsualLength = 256;

        /// The text up to the put area. Its capacity is never below `s_uiUsualLength`.
        std::string m_strText;
        /// The rest of the text, while all of it is not longer than `s_uiUsualLength`. The put area
        /// is the end of this array.
        std::array<char, s_uiUsualLength> m_start;
    };

    /// Returns whether text is written as it is, without padding.
    [[nodiscard]] bool isPlain() const
    {
        if (width() == 0 && rdstate() == goodbit && rdbuf() == &m_buffer && tie() == nullptr)
            [[likely]]
            return true;
        return false;
    }
    void insert(std::string_view in_strText)
    {
        if (!(isPlain() && m_buffer.appendShort(in_strText))) [[unlikely]]
            insertByStandard(in_strText);
    }
    void insertByStandard(std::string_view in_strText);

    /// Inserts a number in decimal. Returns false if it has to be written in another way.
    [[nodiscard]] bool insertDecimal(long long in_iNumber);
    [[nodiscard]] bool insertDecimal(unsigned long long in_uiNumber);
    [[nodiscard]] bool isDecimal() const;
    [[nodiscard]] bool hasClassicLocale() const;
    [[nodiscard]] bool isExtended() const;
    [[nodiscard]] bool isAsNew() const;
    /// Puts back what a line changes most often. Returns false if that is not enough.
    [[nodiscard]] bool resetFormat();

    const std::locale& m_classicLocale;
    Buffer m_buffer;
};

} // namespace Velmora

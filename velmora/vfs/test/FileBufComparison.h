// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/VfsFileBuf.h"
#include "velmora/vfs/test/Codecvts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Test
{

/// Runs the same random operations on a `std::filebuf` and a `VfsFileBuf`, each on a file of its
/// own with the same content, and compares their results, their positions and, at the end, the
/// files' contents. The operations are derived from random bytes.
///
/// The following is known to differ, and is therefore not compared or not done. The tests of
/// `VfsFileBuf` cover it separately:
/// - Modes that only the standard buffer knows: `in|app`, `app`, `in|out|app`.
/// - Seeks without `binary`, except to the beginning, the end and the current position: only the
///   standard buffer does them.
/// - The position after opening with `app`: the standard buffer goes to the end, as fopen does. So
///   both are moved there first.
/// - `in_avail` in output mode, without `in`, and for encodings of more than one byte, where ours
///   has other rules. In input mode it returns the number of buffered characters, which differs: of
///   a buffer of 4,096 characters the standard buffer uses 4,095.
/// - Asking for the position while characters are pending for an encoding with a state: ours keeps
///   the state, the standard buffer returns to the initial one.
/// - Bytes that cannot be converted: the standard buffer throws where the C++ standard demands end
///   of file, and goes on throwing; near the end of the file it drops them. Ours is in error mode.
///   Both are moved to the beginning.
/// - The result of `sungetc`, except success or failure: ours returns the character, the standard
///   buffer any character at the beginning of its buffer.
/// - Moving back by one character beyond the end of the file, where there is none: the standard
///   buffer fails but moves nevertheless.
/// - Moving back after an `sgetn` of more than the buffer: the standard buffer returns an earlier
///   character. So one character is read first.
/// - Asking for the position while characters are pending for a file that is opened with `app`:
///   ours writes them and returns the end of the file.
/// - Switching between reading and writing without a seek in between, for an encoding with a state:
///   the C standard does not allow it, and the standard buffer assumes that the file is in the
///   initial state.
/// - The position between a character of such an encoding and a shift after it, which depends on
///   where a buffer begins.
/// - Taking back a character of an encoding of variable width, which depends on where a buffer
///   begins. If only one of the two could, it moves forward again.
/// - The standard buffer's behaviour after another character was put back in place of the file's:
///   it returns a wrong position, and loses the character when one more is put back, even if it
///   refuses that. So such a character is read, or dropped by a seek, at once.
/// - Another locale in the middle of a file: the standard buffer does not convert again what it has
///   read without conversion, and is unusable after that with an encoding that has a state. So the
///   locale changes only where nothing is buffered, and only at the beginning for one with a state.
/// - The size of the buffer that is set before a file is opened: always 4,096 characters for the
///   standard buffer, any size for ours.
class FileBufComparison
{
  public:
    /// Makes its files in a directory that holds nothing else.
    explicit FileBufComparison(const std::filesystem::path& in_directory)
        : m_ofStandard(in_directory / "standard"), m_ofOurs(in_directory / "ours"),
          m_hFileSystem(new DiskFileSystem)
    {
    }

    /// Returns the first difference, with the operations up to it; empty if there is none.
    std::string run(std::string_view in_bytes)
    {
        m_bytes = in_bytes;
        m_done.str({});
        m_strDifference.clear();
        m_encoding = Encoding::NONE;
        m_positions.clear();

        writeContent();
        Standard standard;
        Ours ours(m_hFileSystem);
        m_pStandard = &standard;
        m_pOurs = &ours;
        standard.pubsetbuf(m_bufferOfStandard.data(),
                           static_cast<std::streamsize>(m_bufferOfStandard.size()));
        setBufferOfOurs();
        while (!m_bytes.empty() && m_strDifference.empty())
            doNext();
        if (m_strDifference.empty())
            close();
        return m_strDifference;
    }

  private:
    /// The two buffers, and the result of an operation that threw.
    using Standard = std::filebuf;
    using Ours = VfsFileBuf<char>;
    static constexpr long s_iThrew = -2;

    enum class Encoding
    {
        NONE,
        CONSTANT,
        VARIABLE,
        STATE
    };

    // Random input

    unsigned int nextByte()
    {
        if (m_bytes.empty())
            return 0;
        const auto uiByte = static_cast<unsigned char>(m_bytes.front());
        m_bytes.remove_prefix(1);
        return uiByte;
    }

    unsigned int nextNumber() { return nextByte() << 8 | nextByte(); }

    /// Returns a number of characters: usually a few, sometimes more than a buffer holds.
    long nextCount()
    {
        const unsigned int uiByte = nextByte();
        return uiByte < 200 ? uiByte % 40 : static_cast<long>(nextNumber() % 9000);
    }

    char nextCharacter()
    {
        // Excludes two characters that one of the encodings cannot write, and one that another
        // cannot.
        const auto character = static_cast<char>(nextByte());
        const int iLow = character & 0x7F;
        return iLow == 14 || iLow == 15 || character == '\xFF' ? 'x' : character;
    }

    std::string nextText(long in_iCount)
    {
        const unsigned int uiSeed = nextByte();
        std::string strText;
        for (long iPlace = 0; iPlace < in_iCount; ++iPlace)
            strText += characterAt(uiSeed, iPlace);
        return strText;
    }

    static char characterAt(unsigned int in_uiSeed, long in_iPlace)
    {
        const auto uiValue = static_cast<unsigned int>(in_iPlace) * 7 + in_uiSeed;
        return static_cast<char>(uiValue % 11 == 0 ? 0xC0 + uiValue % 32 : 'a' + uiValue % 26);
    }

    /// Writes the initial content of both files: text, and bytes that are invalid in some
    /// encodings.
    void writeContent()
    {
        std::string strContent;
        const unsigned int uiKind = nextByte();
        const unsigned long uiSize = nextNumber() % 10000;
        const bool bEncoded = uiKind % 4 != 0;
        for (unsigned long uiPlace = 0; strContent.size() < uiSize; ++uiPlace)
        {
            const char character = characterAt(uiKind, static_cast<long>(uiPlace));
            if (bEncoded && (character & 0x80) != 0)
                strContent += static_cast<char>(0xC3);
            strContent += static_cast<char>(bEncoded && (character & 0x80) != 0 ? character & 0xBF
                                                                                : character);
        }
        for (const auto& of : {m_ofStandard, m_ofOurs})
            std::ofstream(of, std::ios::binary | std::ios::trunc) << strContent;
    }

    void setBufferOfOurs()
    {
        static constexpr std::array<long, 5> s_sizes{0, 1, 2, 7, 4096};
        const unsigned int uiChoice = nextByte() % 8;
        if (uiChoice >= s_sizes.size())
            return;
        const long iSize = s_sizes[uiChoice];
        m_done << "ours has a buffer of " << iSize << "; ";
        m_bufferOfOurs.resize(static_cast<std::size_t>(iSize));
        m_pOurs->pubsetbuf(iSize == 0 ? nullptr : m_bufferOfOurs.data(), iSize);
    }

    void doNext()
    {
        if (!m_pOurs->is_open())
        {
            open();
            return;
        }
        switch (nextByte() % 24)
        {
        case 0:
            close();
            break;
        case 1:
        case 2:
            getOne("sbumpc", [](auto& buffer) { return buffer.sbumpc(); });
            break;
        case 3:
            getOne("sgetc", [](auto& buffer) { return buffer.sgetc(); });
            break;
        case 4:
            getOne("snextc", [](auto& buffer) { return buffer.snextc(); });
            break;
        case 5:
        case 6:
        case 7:
            getSome();
            break;
        case 8:
        case 9:
            putOne();
            break;
        case 10:
        case 11:
        case 12:
            putSome();
            break;
        case 13:
        case 14:
            takeBack();
            break;
        case 15:
            putBack();
            break;
        case 16:
            compare("pubsync", [](auto& buffer) { return buffer.pubsync(); });
            break;
        case 17:
        case 18:
            seek();
            break;
        case 19:
            seekToPosition();
            break;
        case 20:
        case 21:
            tell();
            break;
        case 22:
            imbue();
            break;
        default:
            askForAvailable();
        }
    }

    // Operations

    void open()
    {
        static constexpr std::array<std::ios_base::openmode, 6> s_modes{
            std::ios_base::in,
            std::ios_base::out,
            std::ios_base::out | std::ios_base::trunc,
            std::ios_base::out | std::ios_base::app,
            std::ios_base::in | std::ios_base::out,
            std::ios_base::in | std::ios_base::out | std::ios_base::trunc};
        const unsigned int uiChoice = nextByte();
        // The modes that keep the content are chosen more often.
        m_mode = s_modes[uiChoice % 3 == 0 ? uiChoice / 3 % 6 : uiChoice % 3 == 1 ? 4 : 0];
        if (uiChoice % 4 != 0)
            m_mode |= std::ios_base::binary;
        if (uiChoice % 32 == 0)
            m_mode |= std::ios_base::ate;
        m_done << "open " << m_mode << "; ";
        const bool bStandard = m_pStandard->open(m_ofStandard, m_mode) != nullptr;
        const bool bOurs = m_pOurs->open(m_ofOurs.c_str(), m_mode) != nullptr;
        require(bStandard, bOurs, "open");
        m_bReading = m_bWriting = false;
        if ((m_mode & std::ios_base::app) != 0)
            seekBoth(0, std::ios_base::end);
    }

    void close()
    {
        compare("close", [](auto& buffer) { return buffer.close() != nullptr; });
        const std::string strStandard = contentOf(m_ofStandard);
        const std::string strOurs = contentOf(m_ofOurs);
        const auto [itStandard, itOurs] =
            std::mismatch(strStandard.begin(), strStandard.end(), strOurs.begin(), strOurs.end());
        const auto iSame = itStandard - strStandard.begin();
        m_done << "the first " << iSame << " bytes are the same; ";
        require(strStandard.size(), strOurs.size(), "size of the file");
        require(static_cast<std::ptrdiff_t>(strStandard.size()), iSame, "content");
        m_bReading = m_bWriting = false;
    }

    template <class Get>
    void getOne(const char* in_szName, Get in_get)
    {
        if (!canGet())
            return;
        m_bReading |= canRead();
        m_bWriting &= !canRead();
        compare(in_szName, in_get);
    }

    void getSome()
    {
        const long iCount = nextCount();
        if (!canGet())
            return;
        m_bReading |= canRead() && iCount > 0;
        m_bWriting &= !(canRead() && iCount > 0);
        std::string strStandard(static_cast<std::size_t>(iCount), '\0');
        std::string strOurs = strStandard;
        const long iStandard =
            result([&] { return m_pStandard->sgetn(strStandard.data(), iCount); });
        m_done << iCount << " sgetn = " << iStandard << "; ";
        const long iOurs = result([&] { return m_pOurs->sgetn(strOurs.data(), iCount); });
        if (iStandard == s_iThrew)
        {
            recover();
            return;
        }
        require(iStandard, iOurs, "sgetn");
        require(strStandard.substr(0, static_cast<std::size_t>(iStandard)),
                strOurs.substr(0, static_cast<std::size_t>(iStandard)), "characters");
        recoverFromError();
        if (iCount >= 4095)
            getOne("sgetc", [](auto& buffer) { return buffer.sgetc(); });
    }

    void putOne()
    {
        const char character = nextCharacter();
        if (!canPut())
            return;
        m_done << static_cast<int>(character) << ' ';
        m_bWriting |= canWrite();
        m_bReading &= !canWrite();
        compare("sputc", [=](auto& buffer) { return buffer.sputc(character); });
    }

    void putSome()
    {
        const long iCount = nextCount();
        const std::string strText = nextText(iCount);
        if (!canPut())
            return;
        m_done << iCount << ' ';
        m_bWriting |= canWrite() && iCount > 0;
        m_bReading &= !(canWrite() && iCount > 0);
        compare("sputn", [&](auto& buffer) { return buffer.sputn(strText.data(), iCount); });
    }

    void takeBack()
    {
        if (isBehindEnd() || !canGet())
            return;
        m_bReading |= canRead();
        m_bWriting &= !canRead();
        if (m_encoding == Encoding::NONE || m_encoding == Encoding::CONSTANT)
        {
            compare("sungetc", [](auto& buffer) { return buffer.sungetc() != EOF; });
            return;
        }
        m_done << "sungetc; ";
        const long iStandard = result([&] { return m_pStandard->sungetc(); });
        const long iOurs = result([&] { return m_pOurs->sungetc(); });
        if (iStandard == s_iThrew)
            recover();
        else if ((iStandard == EOF) == (iOurs == EOF))
            recoverFromError();
        else if (iStandard == EOF)
            require(iOurs, result([&] { return m_pOurs->sbumpc(); }), "sbumpc after sungetc");
        else
            require(iStandard, result([&] { return m_pStandard->sbumpc(); }),
                    "sbumpc after sungetc");
    }

    /// Puts a character back in place of another one. It is then read, or dropped by a seek.
    void putBack()
    {
        const char character = nextCharacter();
        const bool bRead = nextByte() % 2 == 0;
        if (m_encoding == Encoding::VARIABLE || m_encoding == Encoding::STATE || isBehindEnd())
            return;
        m_done << static_cast<int>(character) << ' ';
        m_bReading |= canRead();
        m_bWriting &= !canRead();
        compare("sputbackc", [=](auto& buffer) { return buffer.sputbackc(character); });
        if (bRead || !isBinary())
        {
            getOne("sbumpc", [](auto& buffer) { return buffer.sbumpc(); });
            getOne("sgetc", [](auto& buffer) { return buffer.sgetc(); });
        }
        else
            seekBoth(1, std::ios_base::cur);
    }

    void seek()
    {
        static constexpr std::array<std::ios_base::seekdir, 3> s_directions{
            std::ios_base::beg, std::ios_base::cur, std::ios_base::end};
        const std::ios_base::seekdir direction = s_directions[nextByte() % 3];
        const unsigned int uiSize = nextByte();
        long iOffset = uiSize < 128 ? uiSize % 16 : nextNumber() % 9000;
        if (uiSize % 3 == 0)
            iOffset = 0;
        else if (direction == std::ios_base::end || uiSize % 2 == 0)
            iOffset = -iOffset;
        if (iOffset != 0 && !isBinary())
        {
            require(-1L, static_cast<long>(m_pOurs->pubseekoff(iOffset, direction)),
                    "seek without binary");
            // Asking both for the position brings both into the same mode.
            tell();
            return;
        }
        seekBoth(iOffset, direction);
    }

    void seekBoth(long in_iOffset, std::ios_base::seekdir in_direction)
    {
        m_done << in_iOffset << " from " << in_direction << ' ';
        const bool bTell = in_iOffset == 0 && in_direction == std::ios_base::cur;
        if (bTell && !canTell())
            return;
        const long iPosition =
            compare("pubseekoff", [=](auto& buffer)
                    { return static_cast<long>(buffer.pubseekoff(in_iOffset, in_direction)); });
        if (!bTell && iPosition != -1)
            m_bReading = m_bWriting = false;
    }

    void seekToPosition()
    {
        if (!m_positions.empty() && nextByte() % 2 == 0)
        {
            const auto [standard, ours] = m_positions[nextByte() % m_positions.size()];
            if (static_cast<long>(ours) != 0 && !isBinary())
                return;
            m_done << "pubseekpos " << static_cast<long>(ours) << "; ";
            require(static_cast<long>(m_pStandard->pubseekpos(standard)),
                    static_cast<long>(m_pOurs->pubseekpos(ours)), "pubseekpos");
        }
        else
        {
            const long iOffset = isBinary() ? static_cast<long>(nextNumber() % 9000) : 0;
            m_done << iOffset << ' ';
            compare("pubseekpos",
                    [=](auto& buffer) { return static_cast<long>(buffer.pubseekpos(iOffset)); });
        }
        m_bReading = m_bWriting = false;
    }

    void tell()
    {
        if (!canTell())
            return;
        m_done << "tell; ";
        const auto standard = m_pStandard->pubseekoff(0, std::ios_base::cur);
        const auto ours = m_pOurs->pubseekoff(0, std::ios_base::cur);
        require(static_cast<long>(standard), static_cast<long>(ours), "tell");
        if (m_positions.size() < 16)
            m_positions.emplace_back(standard, ours);
    }

    void imbue()
    {
        const auto encoding = static_cast<Encoding>(nextByte() % 4);
        // The seek makes sure that nothing is buffered.
        const bool bBeginning = encoding == Encoding::STATE || m_encoding == Encoding::STATE;
        const long iPosition =
            bBeginning ? 0 : static_cast<long>(m_pOurs->pubseekoff(0, std::ios_base::cur));
        if (iPosition > 0 && !isBinary())
            return;
        compare("pubseekpos before imbue",
                [=](auto& buffer) { return static_cast<long>(buffer.pubseekpos(iPosition)); });
        m_bReading = m_bWriting = false;
        if (encoding == m_encoding)
            return;
        m_done << "imbue " << static_cast<int>(encoding) << "; ";
        m_encoding = encoding;
        m_positions.clear();
        const std::locale locale = localeOf(encoding);
        m_pStandard->pubimbue(locale);
        m_pOurs->pubimbue(locale);
    }

    static std::locale localeOf(Encoding in_encoding)
    {
        switch (in_encoding)
        {
        case Encoding::CONSTANT:
            return TwoByteCodecvt::locale();
        case Encoding::VARIABLE:
            return VariableWidthCodecvt::locale();
        case Encoding::STATE:
            return ShiftCodecvt::locale();
        default:
            return std::locale::classic();
        }
    }

    void askForAvailable()
    {
        if (m_encoding != Encoding::NONE || !canRead() || m_bReading || m_bWriting)
            return;
        // Beyond the end of the file the standard buffer returns a negative distance.
        compare("in_avail",
                [](auto& buffer) { return std::max<std::streamsize>(buffer.in_avail(), 0); });
    }

    // Comparison

    /// Returns whether the position is beyond the end of the file. Only ours is asked; asking makes
    /// it write its pending characters, while the standard buffer still has its own.
    [[nodiscard]] bool isBehindEnd() const
    {
        return m_encoding != Encoding::STATE &&
               m_pOurs->pubseekoff(0, std::ios_base::cur) >
                   static_cast<long>(std::filesystem::file_size(m_ofOurs));
    }

    [[nodiscard]] bool canGet() const { return !m_bWriting || m_encoding != Encoding::STATE; }
    [[nodiscard]] bool canPut() const { return !m_bReading || m_encoding != Encoding::STATE; }

    [[nodiscard]] bool canTell() const
    {
        return m_encoding == Encoding::STATE ? !m_bReading && !m_bWriting
                                             : !m_bWriting || (m_mode & std::ios_base::app) == 0;
    }

    [[nodiscard]] bool canRead() const { return (m_mode & std::ios_base::in) != 0; }
    [[nodiscard]] bool canWrite() const { return (m_mode & std::ios_base::out) != 0; }
    [[nodiscard]] bool isBinary() const { return (m_mode & std::ios_base::binary) != 0; }

    template <class Operation>
    static long result(Operation in_operation)
    {
        try
        {
            return static_cast<long>(in_operation());
        }
        catch (const std::ios_base::failure&)
        {
            return s_iThrew;
        }
    }

    template <class Operation>
    long compare(const char* in_szName, Operation in_operation)
    {
        const long iStandard = result([&] { return in_operation(*m_pStandard); });
        m_done << in_szName << " = " << iStandard << "; ";
        const long iOurs = result([&] { return in_operation(*m_pOurs); });
        if (iStandard == s_iThrew && iOurs <= 0)
        {
            recover();
            return iOurs;
        }
        require(iStandard, iOurs, in_szName);
        recoverFromError();
        return iOurs;
    }

    /// Moves both to the beginning after ours met bytes that cannot be converted.
    void recoverFromError()
    {
        if (m_bReading && m_encoding == Encoding::VARIABLE && m_pOurs->pubsync() == -1)
            recover();
    }

    /// Moves both to the beginning.
    void recover()
    {
        m_done << "(threw) ";
        require(0L, static_cast<long>(m_pStandard->pubseekpos(0)), "recovery of the standard one");
        require(0L, static_cast<long>(m_pOurs->pubseekpos(0)), "recovery");
        m_bReading = m_bWriting = false;
    }

    template <class Value>
    void require(const Value& in_standard, const Value& in_ours, const char* in_szWhat)
    {
        if (in_standard == in_ours || !m_strDifference.empty())
            return;
        std::ostringstream text;
        text << "after " << m_done.str() << '\n'
             << in_szWhat << ": standard " << in_standard << ", ours " << in_ours;
        m_strDifference = text.str();
    }

    static std::string contentOf(const std::filesystem::path& in_path)
    {
        std::ifstream file(in_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_ofStandard;
    std::filesystem::path m_ofOurs;
    TSHandle<VirtualFileSystem> m_hFileSystem;
    std::array<char, 4096> m_bufferOfStandard{};
    std::vector<char> m_bufferOfOurs;

    std::string_view m_bytes;
    std::ostringstream m_done;
    std::string m_strDifference;

    Standard* m_pStandard = nullptr;
    Ours* m_pOurs = nullptr;
    std::ios_base::openmode m_mode{};
    Encoding m_encoding = Encoding::NONE;
    bool m_bReading = false;
    bool m_bWriting = false;
    std::vector<std::pair<std::streampos, std::streampos>> m_positions;
};

} // namespace Velmora::Test

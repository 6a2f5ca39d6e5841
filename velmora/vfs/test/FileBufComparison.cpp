// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/test/FileBufComparison.h"

#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/test/Codecvts.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>

namespace Velmora::Test
{

FileBufComparison::FileBufComparison(const std::filesystem::path& in_directory)
    : m_ofStandard(in_directory / "standard"), m_ofOurs(in_directory / "ours"),
      m_hFileSystem(new DiskFileSystem)
{
}

std::string FileBufComparison::run(std::string_view in_bytes)
{
    m_input = RandomInput(in_bytes);
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
    while (!m_input.isEmpty() && m_strDifference.empty())
        doNext();
    if (m_strDifference.empty())
        close();
    return m_strDifference;
}

void FileBufComparison::writeContent()
{
    std::string strContent;
    const unsigned int uiKind = m_input.nextByte();
    const unsigned long uiSize = m_input.nextNumber() % 10000;
    const bool bEncoded = uiKind % 4 != 0;
    for (unsigned long uiPlace = 0; strContent.size() < uiSize; ++uiPlace)
    {
        const char character = RandomInput::characterAt(uiKind, static_cast<long>(uiPlace));
        if (bEncoded && (character & 0x80) != 0)
            strContent += static_cast<char>(0xC3);
        strContent +=
            static_cast<char>(bEncoded && (character & 0x80) != 0 ? character & 0xBF : character);
    }
    for (const auto& of : {m_ofStandard, m_ofOurs})
        std::ofstream(of, std::ios::binary | std::ios::trunc) << strContent;
}

void FileBufComparison::setBufferOfOurs()
{
    static constexpr std::array<long, 5> s_sizes{0, 1, 2, 7, 4096};
    const unsigned int uiChoice = m_input.nextByte() % 8;
    if (uiChoice >= s_sizes.size())
        return;
    const long iSize = s_sizes[uiChoice];
    m_done << "ours has a buffer of " << iSize << "; ";
    m_bufferOfOurs.resize(static_cast<std::size_t>(iSize));
    m_pOurs->pubsetbuf(iSize == 0 ? nullptr : m_bufferOfOurs.data(), iSize);
}

void FileBufComparison::doNext()
{
    if (!m_pOurs->is_open())
    {
        open();
        return;
    }
    switch (m_input.nextByte() % 24)
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

void FileBufComparison::open()
{
    static constexpr std::array<std::ios_base::openmode, 6> s_modes{
        std::ios_base::in,
        std::ios_base::out,
        std::ios_base::out | std::ios_base::trunc,
        std::ios_base::out | std::ios_base::app,
        std::ios_base::in | std::ios_base::out,
        std::ios_base::in | std::ios_base::out | std::ios_base::trunc};
    const unsigned int uiChoice = m_input.nextByte();
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

void FileBufComparison::close()
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
void FileBufComparison::getOne(const char* in_szName, Get in_get)
{
    if (!canGet())
        return;
    m_bReading |= canRead();
    m_bWriting &= !canRead();
    compare(in_szName, in_get);
}

void FileBufComparison::getSome()
{
    const long iCount = m_input.nextCount();
    if (!canGet())
        return;
    m_bReading |= canRead() && iCount > 0;
    m_bWriting &= !(canRead() && iCount > 0);
    std::string strStandard(static_cast<std::size_t>(iCount), '\0');
    std::string strOurs = strStandard;
    const long iStandard = result([&] { return m_pStandard->sgetn(strStandard.data(), iCount); });
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

void FileBufComparison::putOne()
{
    const char character = m_input.nextCharacter();
    if (!canPut())
        return;
    m_done << static_cast<int>(character) << ' ';
    m_bWriting |= canWrite();
    m_bReading &= !canWrite();
    compare("sputc", [=](auto& buffer) { return buffer.sputc(character); });
}

void FileBufComparison::putSome()
{
    const long iCount = m_input.nextCount();
    const std::string strText = m_input.nextText(iCount);
    if (!canPut())
        return;
    m_done << iCount << ' ';
    m_bWriting |= canWrite() && iCount > 0;
    m_bReading &= !(canWrite() && iCount > 0);
    compare("sputn", [&](auto& buffer) { return buffer.sputn(strText.data(), iCount); });
}

void FileBufComparison::takeBack()
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
        require(iStandard, result([&] { return m_pStandard->sbumpc(); }), "sbumpc after sungetc");
}

void FileBufComparison::putBack()
{
    const char character = m_input.nextCharacter();
    const bool bRead = m_input.nextByte() % 2 == 0;
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

void FileBufComparison::seek()
{
    static constexpr std::array<std::ios_base::seekdir, 3> s_directions{
        std::ios_base::beg, std::ios_base::cur, std::ios_base::end};
    const std::ios_base::seekdir direction = s_directions[m_input.nextByte() % 3];
    const unsigned int uiSize = m_input.nextByte();
    long iOffset = uiSize < 128 ? uiSize % 16 : m_input.nextNumber() % 9000;
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

void FileBufComparison::seekBoth(long in_iOffset, std::ios_base::seekdir in_direction)
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

void FileBufComparison::seekToPosition()
{
    if (!m_positions.empty() && m_input.nextByte() % 2 == 0)
    {
        const auto [standard, ours] = m_positions[m_input.nextByte() % m_positions.size()];
        if (static_cast<long>(ours) != 0 && !isBinary())
            return;
        m_done << "pubseekpos " << static_cast<long>(ours) << "; ";
        require(static_cast<long>(m_pStandard->pubseekpos(standard)),
                static_cast<long>(m_pOurs->pubseekpos(ours)), "pubseekpos");
    }
    else
    {
        const long iOffset = isBinary() ? static_cast<long>(m_input.nextNumber() % 9000) : 0;
        m_done << iOffset << ' ';
        compare("pubseekpos",
                [=](auto& buffer) { return static_cast<long>(buffer.pubseekpos(iOffset)); });
    }
    m_bReading = m_bWriting = false;
}

void FileBufComparison::tell()
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

void FileBufComparison::imbue()
{
    const auto encoding = static_cast<Encoding>(m_input.nextByte() % 4);
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

std::locale FileBufComparison::localeOf(Encoding in_encoding)
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

void FileBufComparison::askForAvailable()
{
    if (m_encoding != Encoding::NONE || !canRead() || m_bReading || m_bWriting)
        return;
    // Beyond the end of the file the standard buffer returns a negative distance.
    compare("in_avail",
            [](auto& buffer) { return std::max<std::streamsize>(buffer.in_avail(), 0); });
}

bool FileBufComparison::isBehindEnd() const
{
    return m_encoding != Encoding::STATE &&
           m_pOurs->pubseekoff(0, std::ios_base::cur) >
               static_cast<long>(std::filesystem::file_size(m_ofOurs));
}

bool FileBufComparison::canTell() const
{
    return m_encoding == Encoding::STATE ? !m_bReading && !m_bWriting
                                         : !m_bWriting || (m_mode & std::ios_base::app) == 0;
}

template <class Operation>
long FileBufComparison::result(Operation in_operation)
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
long FileBufComparison::compare(const char* in_szName, Operation in_operation)
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

void FileBufComparison::recoverFromError()
{
    if (m_bReading && m_encoding == Encoding::VARIABLE && m_pOurs->pubsync() == -1)
        recover();
}

void FileBufComparison::recover()
{
    m_done << "(threw) ";
    require(0L, static_cast<long>(m_pStandard->pubseekpos(0)), "recovery of the standard one");
    require(0L, static_cast<long>(m_pOurs->pubseekpos(0)), "recovery");
    m_bReading = m_bWriting = false;
}

template <class Value>
void FileBufComparison::require(const Value& in_standard, const Value& in_ours,
                                const char* in_szWhat)
{
    if (in_standard == in_ours || !m_strDifference.empty())
        return;
    std::ostringstream text;
    text << "after " << m_done.str() << '\n'
         << in_szWhat << ": standard " << in_standard << ", ours " << in_ours;
    m_strDifference = text.str();
}

std::string FileBufComparison::contentOf(const std::filesystem::path& in_path)
{
    std::ifstream file(in_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace Velmora::Test

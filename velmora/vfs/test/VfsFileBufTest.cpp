// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBuf.h"

#include "tests/support/CapturedLog.h"
#include "velmora/vfs/test/Codecvts.h"
#include "velmora/vfs/test/MemoryFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <ios>
#include <limits>
#include <locale>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using std::ios_base;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Buffer = VfsFileBuf<char>;

constexpr int s_iIn = ios_base::in | ios_base::binary;
constexpr int s_iOut = ios_base::out | ios_base::binary;
constexpr int s_iBoth = ios_base::in | ios_base::out | ios_base::binary;

/// A buffer that has the file "file" of a file system in memory open.
class OpenBuffer : public Buffer
{
  public:
    OpenBuffer(const MemoryFiles& in_files, int in_iMode) : Buffer(in_files.handle())
    {
        EXPECT_NE(open("file", in_iMode), nullptr);
    }

    std::string get(long in_iCount)
    {
        std::string strText(static_cast<std::size_t>(in_iCount), '\0');
        strText.resize(static_cast<std::size_t>(sgetn(strText.data(), in_iCount)));
        return strText;
    }

    long put(const std::string& in_strText)
    {
        return sputn(in_strText.data(), static_cast<long>(in_strText.size()));
    }

    long seek(long in_iOffset, ios_base::seekdir in_direction = ios_base::beg)
    {
        return static_cast<long>(pubseekoff(in_iOffset, in_direction));
    }

    long tell() { return seek(0, ios_base::cur); }
};

std::string digits(std::size_t in_uiCount)
{
    std::string strText;
    while (strText.size() < in_uiCount)
        strText += static_cast<char>('0' + strText.size() % 10);
    return strText;
}

// Open and closed

TEST(VfsFileBuf, AClosedBufferDoesNothing)
{
    const MemoryFiles files;
    Buffer buffer(files.handle());
    EXPECT_FALSE(buffer.is_open());
    EXPECT_EQ(buffer.getFile(), nullptr);
    EXPECT_EQ(buffer.close(), nullptr);
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.sputc('x'), EOF);
    EXPECT_EQ(buffer.sputn("x", 1), 0);
    EXPECT_EQ(buffer.sputbackc('x'), EOF);
    EXPECT_EQ(buffer.in_avail(), -1);
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(static_cast<long>(buffer.pubseekoff(0, ios_base::beg)), -1);
    EXPECT_EQ(static_cast<long>(buffer.pubseekpos(0)), -1);
    EXPECT_THAT(files->m_operations, IsEmpty());
}

TEST(VfsFileBuf, AnOpenBufferStaysOpenWhenItIsOpenedAgain)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.open("other", s_iOut), nullptr);
    EXPECT_TRUE(buffer.is_open());
    EXPECT_EQ(buffer.get(3), "345");
}

TEST(VfsFileBuf, NoDescriptorIsSeenOrTakenOver)
{
    const MemoryFiles files;
    Buffer closed(files.handle());
    EXPECT_EQ(closed.open(0, s_iIn), nullptr);
    EXPECT_FALSE(closed.is_open());
    const OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.fd(), -1);
}

TEST(VfsFileBuf, ThePermissionReachesTheFileSystem)
{
    const MemoryFiles files;
    Buffer buffer(files.handle());
    EXPECT_EQ(buffer.open("new", s_iOut, 0600), &buffer);
    EXPECT_THAT(files->noted("open"), ElementsAre("open new 577 384"));
}

TEST(VfsFileBuf, TheFileIsStillThereAfterClose)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    VirtualFileSystem::File* const pFile = buffer.getFile();
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(buffer.getFile(), pFile);
    EXPECT_EQ(pFile->close(), -1);
    EXPECT_EQ(buffer.open("missing", s_iIn), nullptr);
    EXPECT_EQ(buffer.getFile(), nullptr);
}

TEST(VfsFileBuf, ItGivesItsFileSystem)
{
    const MemoryFiles files;
    const Buffer buffer(files.handle());
    EXPECT_EQ(buffer.getVirtualFileSystem(), files.handle());
}

TEST(VfsFileBuf, CannotBeCopiedMovedOrMadeWithoutAFileSystem)
{
    static_assert(!std::is_copy_constructible_v<Buffer> && !std::is_copy_assignable_v<Buffer>);
    static_assert(!std::is_move_constructible_v<Buffer> && !std::is_move_assignable_v<Buffer>);
    static_assert(!std::is_default_constructible_v<Buffer>);
    static_assert(std::is_base_of_v<std::streambuf, Buffer>);
}

TEST(VfsFileBuf, NothingIsLogged)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const MemoryFiles files;
    {
        OpenBuffer buffer(files, s_iBoth);
        buffer.get(3);
        buffer.put("abc");
        files->m_fault = faultOf("write", -1, ENOSPC);
    }
    EXPECT_THAT(log.linesOf("keswardin.VfsFileBuf"), IsEmpty());
}

// Reading and writing

TEST(VfsFileBuf, SmallPiecesGoThroughABufferOfAPage)
{
    const MemoryFiles files;
    {
        OpenBuffer writer(files, s_iOut);
        for (int iPiece = 0; iPiece != 100; ++iPiece)
            EXPECT_EQ(writer.put(digits(100)), 100);
    }
    EXPECT_EQ(files.content().size(), 10000U);
    EXPECT_THAT(files->noted("write"), ElementsAre("write 4096", "write 4096", "write 1808"));

    OpenBuffer reader(files, s_iIn);
    for (int iPiece = 0; iPiece != 100; ++iPiece)
        EXPECT_EQ(reader.get(100), digits(100));
    EXPECT_THAT(files->noted("read"), ElementsAre("read 4096", "read 4096", "read 4096"));
    EXPECT_EQ(reader.sgetc(), EOF);
}

TEST(VfsFileBuf, SingleCharactersFillTheWholeBuffer)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iOut);
    for (int iPlace = 0; iPlace != 8192; ++iPlace)
        EXPECT_EQ(buffer.sputc('x'), 'x');
    EXPECT_THAT(files->noted("write"), ElementsAre("write 4096", "write 4096"));
}

TEST(VfsFileBuf, LargePiecesGoStraightToTheFileAndFromIt)
{
    const MemoryFiles files;
    {
        OpenBuffer writer(files, s_iOut);
        EXPECT_EQ(writer.put("ab"), 2);
        EXPECT_EQ(writer.put(digits(10000)), 10000);
    }
    EXPECT_THAT(files->noted("write"), ElementsAre("write 4096", "write 5906"));

    OpenBuffer reader(files, s_iIn);
    EXPECT_EQ(reader.get(2), "ab");
    EXPECT_EQ(reader.get(20000), digits(10000));
    EXPECT_THAT(files->noted("read"), ElementsAre("read 4096", "read 15906", "read 10000"));
}

TEST(VfsFileBuf, TheLastCharacterOfALargePieceCanBeTakenBackWithoutASeek)
{
    const MemoryFiles files(digits(5000));
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(5000).size(), 5000U);
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    EXPECT_EQ(buffer.sungetc(), '9');
    EXPECT_EQ(buffer.sbumpc(), '9');
    EXPECT_EQ(buffer.sgetc(), EOF);
}

TEST(VfsFileBuf, AFileThatReadsShortIsReadToItsEnd)
{
    const MemoryFiles files(digits(9000));
    files->m_uiMostAtOnce = 7;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(10000), digits(9000));
}

TEST(VfsFileBuf, ReadingGoesOnWhenTheFileGrows)
{
    const MemoryFiles files("ab");
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(5), "ab");
    EXPECT_EQ(buffer.sgetc(), EOF);
    files.content() += "cd";
    EXPECT_EQ(buffer.get(5), "cd");
}

TEST(VfsFileBuf, AFileThatIsCutWhileItIsReadEnds)
{
    const MemoryFiles files(digits(9000));
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(10), digits(10));
    files.content().resize(20);
    EXPECT_EQ(buffer.get(9000).size(), 4086U);
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(buffer.get(9000), digits(20));
}

TEST(VfsFileBuf, ReadingNeedsInAndWritingOut)
{
    const MemoryFiles files;
    OpenBuffer reader(files, s_iIn);
    EXPECT_EQ(reader.sputc('x'), EOF);
    EXPECT_EQ(reader.put("xyz"), 0);
    EXPECT_EQ(reader.sgetc(), '0');
    OpenBuffer writer(files, s_iOut);
    EXPECT_EQ(writer.put("abc"), 3);
    EXPECT_EQ(writer.sgetc(), EOF);
    EXPECT_EQ(writer.sungetc(), EOF);
    EXPECT_EQ(writer.get(3), "");
    EXPECT_EQ(writer.close(), &writer);
    EXPECT_EQ(files.content(), "abc");
}

TEST(VfsFileBuf, AWriteAfterAReadGoesToWhereTheProgramIs)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.put("ab"), 2);
    EXPECT_EQ(buffer.get(2), "56");
    EXPECT_EQ(files.content(), "012ab56789");
}

TEST(VfsFileBuf, AppendedTextGoesToTheEnd)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, ios_base::out | ios_base::app);
    EXPECT_EQ(buffer.tell(), 0);
    EXPECT_EQ(buffer.put("ab"), 2);
    EXPECT_EQ(buffer.tell(), 12);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(buffer.put("cd"), 2);
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(files.content(), "0123456789abcd");
}

TEST(VfsFileBuf, SyncWritesWhatIsPending)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.put("abc");
    EXPECT_EQ(files.content(), "");
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(files.content(), "abc");
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_THAT(files->noted("write"), ElementsAre("write 3"));
}

// Buffers

TEST(VfsFileBuf, UnbufferedItGoesCharacterByCharacter)
{
    const MemoryFiles files;
    Buffer buffer(files.handle());
    EXPECT_EQ(buffer.pubsetbuf(nullptr, 0), &buffer);
    ASSERT_NE(buffer.open("file", s_iBoth), nullptr);
    EXPECT_EQ(buffer.sputc('a'), 'a');
    EXPECT_EQ(files.content(), "a123456789");
    EXPECT_EQ(buffer.sputn("bc", 2), 2);
    EXPECT_THAT(files->noted("write"), ElementsAre("write 1", "write 1", "write 1"));
    EXPECT_EQ(buffer.sbumpc(), '3');
    EXPECT_EQ(buffer.sbumpc(), '4');
    EXPECT_THAT(files->noted("read"), ElementsAre("read 1", "read 1"));
}

TEST(VfsFileBuf, ABufferOfTheCallerIsUsed)
{
    const MemoryFiles files;
    std::array<char, 4> own{};
    Buffer buffer(files.handle());
    buffer.pubsetbuf(own.data(), own.size());
    ASSERT_NE(buffer.open("file", s_iIn), nullptr);
    EXPECT_EQ(buffer.sgetc(), '0');
    EXPECT_EQ(std::string(own.data(), own.size()), "0123");
    EXPECT_THAT(files->noted("read"), ElementsAre("read 4"));
}

TEST(VfsFileBuf, ABufferMayBeSetAfterOpenButNotAfterTheFirstRead)
{
    const MemoryFiles files;
    std::array<char, 4> own{};
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.sgetc(), '0');
    EXPECT_EQ(buffer.pubsetbuf(own.data(), own.size()), &buffer);
    buffer.seek(0);
    EXPECT_EQ(buffer.sgetc(), '0');
    EXPECT_THAT(files->noted("read"), ElementsAre("read 4096", "read 4096"));

    OpenBuffer second(files, s_iIn);
    second.pubsetbuf(own.data(), own.size());
    second.pubsetbuf(nullptr, 0);
    EXPECT_EQ(second.sgetc(), '0');
    EXPECT_EQ(files->m_operations.back(), "read 4");
}

TEST(VfsFileBuf, ABufferWithoutPlaceOrSizeIsNone)
{
    const MemoryFiles files;
    std::array<char, 4> own{};
    OpenBuffer buffer(files, s_iIn);
    buffer.pubsetbuf(nullptr, 4);
    buffer.pubsetbuf(own.data(), 0);
    buffer.pubsetbuf(own.data(), -1);
    EXPECT_EQ(buffer.sgetc(), '0');
    EXPECT_EQ(files->m_operations.back(), "read 4096");
}

// Position

TEST(VfsFileBuf, WithoutBinaryOnlyTheBeginningTheEndAndTheOwnPositionAreSought)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, ios_base::in);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.seek(5), -1);
    EXPECT_EQ(buffer.seek(1, ios_base::cur), -1);
    EXPECT_EQ(buffer.seek(-1, ios_base::end), -1);
    EXPECT_EQ(static_cast<long>(buffer.pubseekpos(5)), -1);
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(buffer.get(1), "3");
    EXPECT_EQ(buffer.seek(0, ios_base::end), 10);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(static_cast<long>(buffer.pubseekpos(0)), 0);
    EXPECT_EQ(buffer.get(1), "0");
}

TEST(VfsFileBuf, SeeksCountFromWhereTheProgramIs)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.seek(2, ios_base::cur), 5);
    EXPECT_EQ(buffer.get(1), "5");
    EXPECT_EQ(buffer.seek(-4, ios_base::cur), 2);
    EXPECT_EQ(buffer.put("ab"), 2);
    EXPECT_EQ(buffer.tell(), 4);
    EXPECT_EQ(buffer.put("c"), 1);
    EXPECT_EQ(buffer.seek(-1, ios_base::cur), 4);
    EXPECT_EQ(buffer.get(2), "c5");
    EXPECT_EQ(buffer.seek(-3, ios_base::end), 7);
    EXPECT_EQ(buffer.get(1), "7");
}

TEST(VfsFileBuf, ARefusedSeekLeavesThePositionAndWhatIsBuffered)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(4), "0123");
    EXPECT_EQ(buffer.seek(-20, ios_base::end), -1);
    EXPECT_EQ(buffer.seek(-1), -1);
    EXPECT_EQ(buffer.seek(-5, ios_base::cur), -1);
    EXPECT_EQ(buffer.seek(1, static_cast<ios_base::seekdir>(3)), -1);
    EXPECT_EQ(static_cast<long>(buffer.pubseekpos(-1)), -1);
    EXPECT_EQ(buffer.tell(), 4);
    EXPECT_EQ(buffer.get(2), "45");
    EXPECT_EQ(files->noted("read").size(), 1U);
}

TEST(VfsFileBuf, AnOffsetThatIsTooLargeIsRefused)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(4), "0123");
    constexpr long iLeast = std::numeric_limits<long>::min();
    EXPECT_EQ(buffer.seek(iLeast, ios_base::cur), -1);
    EXPECT_EQ(buffer.seek(iLeast, ios_base::end), -1);
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.seek(std::numeric_limits<long>::max(), ios_base::beg), -1);
    EXPECT_EQ(buffer.tell(), 4);
}

TEST(VfsFileBuf, AskingForThePositionWritesWhatIsPending)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.put("abc");
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(files.content(), "abc");
}

TEST(VfsFileBuf, AFileThatCannotSeekCanBeReadAndWritten)
{
    const MemoryFiles files;
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    OpenBuffer reader(files, s_iIn);
    EXPECT_EQ(reader.get(3), "012");
    EXPECT_EQ(reader.tell(), -1);
    EXPECT_EQ(reader.seek(0), -1);
    EXPECT_EQ(reader.sungetc(), '2');
    EXPECT_EQ(reader.get(20), "23456789");
    EXPECT_EQ(reader.in_avail(), 0);
    OpenBuffer writer(files, s_iOut);
    EXPECT_EQ(writer.put("abc"), 3);
    EXPECT_EQ(writer.close(), &writer);
    EXPECT_EQ(files.content(), "abc");
}

TEST(VfsFileBuf, ASwitchToWritingFailsWhereTheFileCannotGoBack)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    EXPECT_EQ(buffer.get(3), "012");
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    EXPECT_EQ(buffer.sputc('x'), EOF);
    EXPECT_EQ(buffer.get(2), "34");
}

TEST(VfsFileBuf, WhatIsAvailableIsTheRestOfTheFile)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    EXPECT_EQ(buffer.in_avail(), 10);
    EXPECT_EQ(buffer.seek(4), 4);
    EXPECT_EQ(buffer.in_avail(), 6);
    EXPECT_EQ(buffer.get(1), "4");
    EXPECT_EQ(buffer.in_avail(), 5);
    EXPECT_EQ(buffer.seek(20), 20);
    EXPECT_EQ(buffer.in_avail(), 0);
    buffer.put("x");
    EXPECT_EQ(buffer.in_avail(), -1);
    buffer.seek(0);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.in_avail(), 0);
}

// Putting back

TEST(VfsFileBuf, CharactersThatWerePutBackComeFirst)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.sputbackc('2'), '2');
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.sputbackc('y'), 'y');
    EXPECT_EQ(buffer.tell(), 0);
    EXPECT_EQ(buffer.in_avail(), 2);
    EXPECT_EQ(buffer.get(5), "yx234");
    EXPECT_EQ(files.content(), "0123456789");
}

TEST(VfsFileBuf, EightThatDifferCanBePutBackInARow)
{
    const MemoryFiles files(digits(20));
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(12).size(), 12U);
    for (const char character : std::string("abcdefgh"))
        EXPECT_EQ(buffer.sputbackc(character), character);
    EXPECT_EQ(buffer.sputbackc('i'), EOF);
    EXPECT_EQ(buffer.tell(), 4);
    EXPECT_EQ(buffer.get(10), "hgfedcba23");
}

TEST(VfsFileBuf, WhatWasPutBackMayBeReplacedAndGoneBackOver)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.sbumpc(), 'x');
    EXPECT_EQ(buffer.sputbackc('y'), 'y');
    EXPECT_EQ(buffer.sungetc(), '1');
    EXPECT_EQ(buffer.sungetc(), '0');
    EXPECT_EQ(buffer.sungetc(), EOF);
    EXPECT_EQ(buffer.tell(), 0);
    EXPECT_EQ(buffer.get(5), "01y34");
}

TEST(VfsFileBuf, NothingIsPutBackInFrontOfTheFile)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.sungetc(), EOF);
    EXPECT_EQ(buffer.sputbackc('x'), EOF);
    EXPECT_EQ(buffer.sgetc(), '0');
    EXPECT_EQ(buffer.sputbackc('x'), EOF);
    EXPECT_EQ(buffer.sbumpc(), '0');
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.sputbackc('y'), EOF);
    EXPECT_EQ(buffer.get(2), "x1");
}

TEST(VfsFileBuf, CharactersArePutBackPastTheStartOfTheBuffer)
{
    const MemoryFiles files;
    std::array<char, 2> own{};
    OpenBuffer buffer(files, s_iIn);
    buffer.pubsetbuf(own.data(), own.size());
    EXPECT_EQ(buffer.get(5), "01234");
    EXPECT_EQ(buffer.sungetc(), '4');
    EXPECT_EQ(buffer.sungetc(), '3');
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.sputbackc('y'), 'y');
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.get(5), "yx345");
}

TEST(VfsFileBuf, ASeekDropsWhatWasPutBack)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    EXPECT_EQ(buffer.get(3), "012");
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.seek(-20, ios_base::cur), -1);
    EXPECT_EQ(buffer.sgetc(), 'x');
    EXPECT_EQ(buffer.seek(-1, ios_base::cur), 1);
    EXPECT_EQ(buffer.get(2), "12");
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.put("ab"), 2);
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content(), "01ab456789");
}

TEST(VfsFileBuf, GoingBackBehindTheEndFailsAndDoesNotMove)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.seek(20), 20);
    EXPECT_EQ(buffer.sungetc(), EOF);
    EXPECT_EQ(buffer.tell(), 20);
    EXPECT_EQ(buffer.seek(0, ios_base::end), 10);
    EXPECT_EQ(buffer.sungetc(), '9');
}

// Conversion

/// The characters A, é, B, ü, and their bytes in the encodings.
const std::string s_strText = "A\xE9"
                              "B\xFC";
const std::string s_strVariable = "A\xC3\xA9"
                                  "B\xC3\xBC";
const std::string s_strShift = "A\xE\x69\xF"
                               "B\xE\x7C\xF";
const std::string s_strTwoBytes("A\0\xE9\0B\0\xFC\0", 8);

struct Conversion
{
    std::locale locale;
    std::string strBytes;
};

std::array<Conversion, 3> conversions()
{
    return {{{VariableWidthCodecvt::locale(), s_strVariable},
             {ShiftCodecvt::locale(), s_strShift},
             {TwoByteCodecvt::locale(), s_strTwoBytes}}};
}

TEST(VfsFileBuf, TextIsConvertedBothWaysWithBuffersOfAnySize)
{
    for (const Conversion& conversion : conversions())
        for (const long iSize : {0, 1, 2, 3, 100})
        {
            const MemoryFiles files("");
            std::array<char, 100> own{};
            {
                OpenBuffer writer(files, s_iOut);
                writer.pubsetbuf(iSize == 0 ? nullptr : own.data(), iSize);
                writer.pubimbue(conversion.locale);
                EXPECT_EQ(writer.put(s_strText), 4);
                EXPECT_EQ(writer.sputc('\xE9'), 0xE9);
                EXPECT_EQ(writer.seek(0), 0);
                EXPECT_EQ(writer.put(s_strText), 4);
                EXPECT_EQ(writer.close(), &writer);
            }
            EXPECT_EQ(files.content().substr(0, conversion.strBytes.size()), conversion.strBytes);

            files.content() = conversion.strBytes;
            OpenBuffer reader(files, s_iIn);
            reader.pubsetbuf(iSize == 0 ? nullptr : own.data(), iSize);
            reader.pubimbue(conversion.locale);
            EXPECT_EQ(reader.get(100), s_strText);
            EXPECT_EQ(reader.sgetc(), EOF);
            EXPECT_EQ(reader.pubsync(), 0) << "no failure";
        }
}

TEST(VfsFileBuf, APositionOfConvertedTextCanBeGoneBackTo)
{
    for (const Conversion& conversion : conversions())
        for (const long iSize : {0, 2, 100})
        {
            const MemoryFiles files(conversion.strBytes);
            std::array<char, 100> own{};
            OpenBuffer buffer(files, s_iIn);
            buffer.pubsetbuf(iSize == 0 ? nullptr : own.data(), iSize);
            buffer.pubimbue(conversion.locale);
            std::vector<std::streampos> positions;
            for (int iPlace = 0; iPlace != 4; ++iPlace)
            {
                positions.push_back(buffer.pubseekoff(0, ios_base::cur));
                EXPECT_EQ(buffer.sbumpc(),
                          static_cast<unsigned char>(s_strText[static_cast<std::size_t>(iPlace)]));
            }
            for (int iPlace = 3; iPlace >= 0; --iPlace)
            {
                EXPECT_EQ(buffer.pubseekpos(positions[static_cast<std::size_t>(iPlace)]),
                          positions[static_cast<std::size_t>(iPlace)]);
                EXPECT_EQ(buffer.get(10), s_strText.substr(static_cast<std::size_t>(iPlace)));
            }
        }
}

TEST(VfsFileBuf, AWidthThatVariesAllowsNoOffset)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(2), "A\xE9");
    EXPECT_EQ(buffer.seek(1), -1);
    EXPECT_EQ(buffer.seek(-1, ios_base::cur), -1);
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(static_cast<long>(buffer.pubseekpos(3)), 3);
    EXPECT_EQ(buffer.get(1), "B");
    EXPECT_EQ(buffer.seek(0, ios_base::end), 6);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(buffer.get(1), "A");
}

TEST(VfsFileBuf, OffsetsCountCharactersOfAConstantWidth)
{
    const MemoryFiles files(s_strTwoBytes);
    OpenBuffer buffer(files, s_iBoth);
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.seek(2), 4);
    EXPECT_EQ(buffer.get(1), "B");
    EXPECT_EQ(buffer.seek(-2, ios_base::cur), 2);
    EXPECT_EQ(buffer.put("x"), 1);
    EXPECT_EQ(buffer.sungetc(), 'x');
    EXPECT_EQ(buffer.seek(-1, ios_base::end), 6);
    EXPECT_EQ(buffer.get(5), "\xFC");
}

TEST(VfsFileBuf, AWriteAfterAReadOfConvertedTextGoesToWhereTheProgramIs)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iBoth);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(2), "A\xE9");
    EXPECT_EQ(buffer.put("C"), 1);
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content(), "A\xC3\xA9"
                               "C\xC3\xBC");
}

TEST(VfsFileBuf, CharactersAreTakenBackWhereTheWidthVaries)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(10), s_strText);
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.sungetc(), 0xFC);
    EXPECT_EQ(buffer.sungetc(), 'B');
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.get(2), "xB");
}

TEST(VfsFileBuf, WhereTheWidthVariesThePositionInFrontOfTheBufferIsNotKnown)
{
    const MemoryFiles files(s_strVariable);
    OpenBuffer buffer(files, s_iBoth);
    buffer.pubsetbuf(nullptr, 0);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.sputbackc('x'), EOF) << "at the beginning of the file";
    EXPECT_EQ(buffer.get(2), "A\xE9");
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.sputbackc('y'), 'y');
    EXPECT_EQ(buffer.tell(), -1);
    EXPECT_EQ(buffer.sputc('z'), EOF);
    EXPECT_EQ(buffer.get(3), "yxB");
    EXPECT_EQ(buffer.tell(), 4);
}

TEST(VfsFileBuf, AnotherLocaleConvertsWhatIsReadNext)
{
    const MemoryFiles files(s_strVariable + s_strTwoBytes + s_strVariable);
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(1), "A");
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.tell(), 1);
    EXPECT_EQ(buffer.get(3), s_strText.substr(1));
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.tell(), 6);
    EXPECT_EQ(buffer.get(3), s_strText.substr(0, 3));
    EXPECT_EQ(buffer.sputbackc('x'), 'x');
    buffer.pubimbue(std::locale::classic());
    EXPECT_EQ(buffer.tell(), 10);
    EXPECT_EQ(buffer.get(4), std::string("B\0\xFC\0", 4));
    EXPECT_EQ(buffer.get(100), s_strVariable);
    EXPECT_EQ(files->noted("read").front(), "read 4096");
}

TEST(VfsFileBuf, BytesReadBeforeAnotherLocaleCameAreNotLost)
{
    const MemoryFiles files(digits(9000));
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(TwoByteCodecvt::locale());
    EXPECT_EQ(buffer.get(2), "02");
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    buffer.pubimbue(std::locale::classic());
    EXPECT_EQ(buffer.get(9000), digits(9004).substr(4, 8996));
}

TEST(VfsFileBuf, TheSameLocaleChangesNothing)
{
    const MemoryFiles files(s_strShift);
    const std::locale locale = ShiftCodecvt::locale();
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(locale);
    EXPECT_EQ(buffer.get(2), "A\xE9");
    buffer.pubimbue(locale);
    EXPECT_EQ(buffer.get(2), "B\xFC");
    EXPECT_EQ(files->noted("read").size(), 1U);
}

TEST(VfsFileBuf, AnotherLocaleWritesWhatIsPendingAndGoesBackToTheInitialState)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(ShiftCodecvt::locale());
    buffer.put("\xE9");
    buffer.pubimbue(std::locale::classic());
    EXPECT_EQ(files.content(), "\xE\x69\xF");
    buffer.put("\xE9");
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content(), "\xE\x69\xF\xE9");
}

TEST(VfsFileBuf, OnlyASeekAndACloseGoBackToTheInitialState)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(ShiftCodecvt::locale());
    buffer.put("\xE9");
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(files.content(), "\xE\x69");
    EXPECT_EQ(buffer.tell(), 2);
    EXPECT_EQ(files.content(), "\xE\x69");
    buffer.put("\xE9");
    EXPECT_EQ(buffer.seek(0, ios_base::end), 4);
    EXPECT_EQ(files.content(), "\xE\x69\x69\xF");
}

TEST(VfsFileBuf, BytesThatCannotBeConvertedStopTheBufferThere)
{
    const MemoryFiles files("AB\xFF"
                            "CD");
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(10), "AB");
    files.content() = "ABxCD";
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.sungetc(), EOF);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.tell(), 2);
    EXPECT_EQ(buffer.get(10), "xCD");
}

TEST(VfsFileBuf, AFileThatEndsInTheMidstOfACharacterIsAFailure)
{
    const MemoryFiles files("AB\xC3");
    OpenBuffer buffer(files, s_iIn);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.get(10), "AB");
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.tell(), 2);
}

TEST(VfsFileBuf, ACharacterThatCannotBeWrittenIsAFailure)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(buffer.put("A\xFF"), 2);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.sputc('B'), EOF);
    EXPECT_EQ(files.content(), "");
    EXPECT_EQ(buffer.close(), &buffer);
}

// Failures

TEST(VfsFileBuf, AShortWriteFailsAndIsNotContinued)
{
    const MemoryFiles files("");
    files->m_uiMostAtOnce = 100;
    OpenBuffer buffer(files, s_iOut);
    EXPECT_EQ(buffer.put(digits(8192)), 0);
    EXPECT_THAT(files->noted("write"), ElementsAre("write 8192"));
    EXPECT_EQ(buffer.sputc('x'), EOF);
    EXPECT_EQ(buffer.put("x"), 0);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files->noted("write").size(), 1U);
    EXPECT_EQ(files.content(), digits(100));
}

TEST(VfsFileBuf, AShortWriteOfABufferFailsAtTheFirstFlush)
{
    const MemoryFiles files("");
    files->m_uiMostAtOnce = 100;
    OpenBuffer buffer(files, s_iOut);
    int iPlace = 0;
    while (buffer.sputc('x') == 'x')
        ++iPlace;
    EXPECT_EQ(iPlace, 4095);
    EXPECT_THAT(files->noted("write"), ElementsAre("write 4096"));
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content().size(), 100U);
}

class FailedWrite : public testing::TestWithParam<int>
{
};

TEST_P(FailedWrite, SetsErrorModeAndIsNotRepeated)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    EXPECT_EQ(buffer.put("abc"), 3);
    files->m_fault = faultOf("write", -1, GetParam());
    EXPECT_EQ(buffer.pubsync(), -1);
    files->m_fault = nullptr;
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.sputc('x'), EOF);
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(buffer.put("x"), 1);
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_THAT(files->noted("write"), ElementsAre("write 3", "write 1"));
    EXPECT_EQ(files.content(), "x123456789");
}

INSTANTIATE_TEST_SUITE_P(Errors, FailedWrite, testing::Values(EINTR, EIO, ENOSPC));

class FailedRead : public testing::TestWithParam<int>
{
};

TEST_P(FailedRead, LooksLikeTheEndAndSetsErrorMode)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    files->m_fault = faultOf("read", -1, GetParam());
    EXPECT_EQ(buffer.sgetc(), EOF);
    files->m_fault = nullptr;
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.get(5000), "");
    EXPECT_EQ(buffer.sungetc(), EOF);
    EXPECT_EQ(buffer.sputc('x'), EOF);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_EQ(buffer.get(5000), "0123456789");
}

TEST_P(FailedRead, LeavesWhatWasReadBeforeOfALargePiece)
{
    const MemoryFiles files(digits(9000));
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(1), "0");
    files->m_fault = faultOf("read", -1, GetParam());
    EXPECT_EQ(buffer.get(9000), digits(4096).substr(1));
    EXPECT_EQ(buffer.pubsync(), -1);
}

INSTANTIATE_TEST_SUITE_P(Errors, FailedRead, testing::Values(EINTR, EIO));

TEST(VfsFileBuf, ASeekFailsWhenWhatIsPendingCannotBeWritten)
{
    const MemoryFiles files;
    for (const ios_base::seekdir direction : {ios_base::beg, ios_base::cur, ios_base::end})
    {
        OpenBuffer buffer(files, s_iBoth);
        buffer.put("abc");
        files->m_fault = faultOf("write", -1, ENOSPC);
        EXPECT_EQ(buffer.seek(0, direction), -1);
        files->m_fault = nullptr;
        EXPECT_EQ(buffer.sputc('x'), EOF);
        EXPECT_EQ(buffer.close(), &buffer);
        EXPECT_EQ(files.content(), "0123456789");
    }
}

TEST(VfsFileBuf, CloseFailsWhenTheFlushOrTheCloseOfTheFileDoes)
{
    for (const char* const szOperation : {"write", "close"})
    {
        const MemoryFiles files;
        OpenBuffer buffer(files, s_iOut);
        buffer.put("abc");
        files->m_fault = faultOf(szOperation, -1, EIO);
        EXPECT_EQ(buffer.close(), nullptr);
        EXPECT_FALSE(buffer.is_open());
        EXPECT_EQ(files->m_iOpenFiles, 0);
        files->m_fault = nullptr;
        EXPECT_EQ(buffer.open("file", s_iOut), &buffer);
        EXPECT_EQ(buffer.put("x"), 1);
        EXPECT_EQ(buffer.close(), &buffer);
        EXPECT_EQ(files.content(), "x");
    }
}

TEST(VfsFileBuf, TheShiftSequenceMayFailToo)
{
    const MemoryFiles files("");
    OpenBuffer buffer(files, s_iOut);
    buffer.pubimbue(ShiftCodecvt::locale());
    buffer.put("\xE9");
    EXPECT_EQ(buffer.pubsync(), 0);
    files->m_fault = faultOf("write", -1, ENOSPC);
    EXPECT_EQ(buffer.close(), nullptr);
    EXPECT_EQ(files->noted("write"), (std::vector<std::string>{"write 2", "write 1"}));
}

// Exceptions

/// Returns a fault that makes an operation throw.
MemoryFileSystem::Fault throwing(const std::string& in_strOperation)
{
    return [=](const std::string& in_strNoted) -> std::optional<long>
    {
        if (in_strNoted.starts_with(in_strOperation))
            throw std::runtime_error(in_strOperation);
        return std::nullopt;
    };
}

TEST(VfsFileBuf, AnExceptionPassesThroughAndSetsErrorMode)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iBoth);
    files->m_fault = throwing("read");
    EXPECT_THROW(buffer.sgetc(), std::runtime_error);
    EXPECT_EQ(buffer.sgetc(), EOF);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_THROW(buffer.get(5000), std::runtime_error);
    EXPECT_EQ(buffer.seek(0), 0);
    files->m_fault = throwing("write");
    buffer.put("abc");
    EXPECT_THROW(buffer.pubsync(), std::runtime_error);
    EXPECT_EQ(buffer.seek(0), 0);
    EXPECT_THROW(buffer.put(digits(5000)), std::runtime_error);
    files->m_fault = nullptr;
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_EQ(files.content(), "0123456789");
}

TEST(VfsFileBuf, ASeekThatThrowsChangesNothing)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iIn);
    EXPECT_EQ(buffer.get(3), "012");
    files->m_fault = throwing("lseek");
    EXPECT_THROW(buffer.seek(5), std::runtime_error);
    files->m_fault = nullptr;
    EXPECT_EQ(buffer.tell(), 3);
    EXPECT_EQ(buffer.get(2), "34");
}

TEST(VfsFileBuf, TheFileIsClosedAlsoWhenTheFlushThrows)
{
    for (const char* const szOperation : {"write", "close"})
    {
        const MemoryFiles files;
        OpenBuffer buffer(files, s_iOut);
        buffer.put("abc");
        files->m_fault = throwing(szOperation);
        EXPECT_THROW(buffer.close(), std::runtime_error);
        EXPECT_FALSE(buffer.is_open());
        EXPECT_EQ(files->m_iOpenFiles, 0);
    }
}

TEST(VfsFileBuf, TheFirstOfTwoExceptionsPassesThrough)
{
    const MemoryFiles files;
    OpenBuffer buffer(files, s_iOut);
    buffer.put("abc");
    files->m_fault = throwing("");
    try
    {
        buffer.close();
        FAIL();
    }
    catch (const std::runtime_error&)
    {
        EXPECT_THAT(files->m_operations, ElementsAre("open file 577 438", "write 3", "close"));
    }
}

TEST(VfsFileBuf, TheDestructorThrowsNothingAndLeavesNoFile)
{
    for (const auto& fault : {throwing("write"), throwing("close"), faultOf("write", -1, ENOSPC)})
    {
        const MemoryFiles files;
        {
            OpenBuffer buffer(files, s_iOut);
            buffer.put("abc");
            files->m_fault = fault;
        }
        EXPECT_EQ(files->m_iOpenFiles, 0);
        EXPECT_EQ(files->noted("write").size(), 1U);
    }
}

TEST(VfsFileBuf, AnOpenThatThrowsLeavesNoFile)
{
    const MemoryFiles files;
    Buffer buffer(files.handle());
    files->m_fault = throwing("open");
    EXPECT_THROW(buffer.open("file", s_iIn), std::runtime_error);
    files->m_fault = throwing("lseek");
    EXPECT_THROW(buffer.open("file", s_iIn | ios_base::ate), std::runtime_error);
    EXPECT_FALSE(buffer.is_open());
    EXPECT_EQ(buffer.getFile(), nullptr);
    EXPECT_EQ(files->m_iOpenFiles, 0);
}

} // namespace

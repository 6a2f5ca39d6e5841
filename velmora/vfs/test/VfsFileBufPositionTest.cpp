// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBuf.h"

#include "velmora/vfs/test/Codecvts.h"
#include "velmora/vfs/test/MemoryFileSystem.h"
#include "velmora/vfs/test/OpenBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ios>
#include <limits>
#include <string>

using namespace Velmora;
using namespace Velmora::Test;
using std::ios_base;

namespace
{

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

} // namespace

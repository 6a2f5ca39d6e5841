// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBuf.h"

#include "tests/support/CapturedLog.h"
#include "velmora/vfs/test/MemoryFileSystem.h"
#include "velmora/vfs/test/OpenBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ios>
#include <string>
#include <type_traits>

using namespace Velmora;
using namespace Velmora::Test;
using std::ios_base;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Buffer = VfsFileBuf<char>;

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

} // namespace

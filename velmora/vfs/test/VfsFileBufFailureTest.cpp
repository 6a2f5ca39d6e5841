// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBuf.h"

#include "velmora/vfs/test/Codecvts.h"
#include "velmora/vfs/test/MemoryFileSystem.h"
#include "velmora/vfs/test/OpenBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <ios>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using std::ios_base;
using testing::ElementsAre;

namespace
{

using Buffer = VfsFileBuf<char>;

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

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DiskFileSystem.h"

#include "tests/support/Surroundings.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/test/DiskFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::IsEmpty;

TEST_F(DiskFiles, AFileIsReadWrittenAndPositioned)
{
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_CREAT | O_RDWR, 0644);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_TRUE(hFile->isFile());
    EXPECT_FALSE(hFile->isDirectory());
    EXPECT_EQ(7, hFile->write("content", 7));
    EXPECT_EQ(3, hFile->lseek(3, SEEK_SET));
    EXPECT_EQ("tent", rest(*hFile));
    EXPECT_EQ(7, hFile->lseek(0, SEEK_CUR));
    EXPECT_EQ(6, hFile->lseek(-1, SEEK_END));
    EXPECT_EQ("content", m_directory.read("a"));
}

TEST_F(DiskFiles, WhatTheSystemRefusesIsMinusOne)
{
    makeFile(path("a"));
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->write("x", 1) != -1; }));
    EXPECT_EQ(EINVAL, errorOf([&] { return hFile->lseek(-1, SEEK_SET) != -1; }));
    EXPECT_EQ(EINVAL, errorOf([&] { return hFile->lseek(0, 99) != -1; }));
    const FileHandle hFull = m_fileSystem.open("/dev/full", O_WRONLY);
    ASSERT_FALSE(hFull.isNull());
    EXPECT_EQ(ENOSPC, errorOf([&] { return hFull->write("x", 1) != -1; }));
}

TEST_F(DiskFiles, AClosedFileHasNothingToRead)
{
    makeFile(path("a"), "content");
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDWR);
    ASSERT_FALSE(hFile.isNull());
    ASSERT_EQ(0, hFile->close());
    char cRead = 0;
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->read(&cRead, 1) != -1; }));
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->write("x", 1) != -1; }));
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->lseek(0, SEEK_SET) != -1; }));
}

TEST_F(DiskFiles, AFileIsClosedOnce)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(uiBefore + 1, countDescriptors());
    EXPECT_EQ(0, hFile->close());
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_EQ(-1, hFile->close());
}

TEST_F(DiskFiles, AFileThatIsNotClosedWellIsClosed)
{
    makeFile(path("a"));
    const bool bDone = doWhileCallsFail(
        {{SYS_close, EIO}},
        [this]
        {
            const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
            ASSERT_FALSE(hFile.isNull());
            EXPECT_EQ(EIO, errorOf([&] { return hFile->close() != -1; }));
            char cRead = 0;
            EXPECT_EQ(EBADF, errorOf([&] { return hFile->read(&cRead, 1) != -1; }));
        });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
}

TEST_F(DiskFiles, TheLastHandleClosesTheFile)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    {
        FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
        const EntryHandle hSame = hFile;
        hFile = nullptr;
        EXPECT_EQ(uiBefore + 1, countDescriptors());
    }
    EXPECT_EQ(uiBefore, countDescriptors());
}

TEST_F(DiskFiles, AFileIsOpenedAgainUnderAnotherPath)
{
    makeFile(path("a"), "first");
    makeFile(path("b"), "second");
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    ASSERT_EQ(0, hFile->close());
    EXPECT_EQ(0, hFile->open(path("b").c_str(), O_RDONLY));
    EXPECT_EQ(path("b"), hFile->getPath());
    EXPECT_EQ("second", rest(*hFile));
}

TEST_F(DiskFiles, OpeningAFileAgainDoesNotCloseIt)
{
    makeFile(path("a"));
    makeFile(path("b"), "second");
    const std::size_t uiBefore = countDescriptors();
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    const int iFirst = descriptorOf(path("a"));
    EXPECT_EQ(0, hFile->open(path("b").c_str(), O_RDONLY, 0));
    EXPECT_EQ(uiBefore + 2, countDescriptors());
    EXPECT_EQ("second", rest(*hFile));
    EXPECT_EQ(0, hFile->close());
    EXPECT_EQ(iFirst, descriptorOf(path("a")));
    close(iFirst);
}

TEST_F(DiskFiles, AFileThatCannotBeOpenedAgainIsAsItWas)
{
    makeFile(path("a"), "content");
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(ENOENT, errorOf([&] { return hFile->open(path("b").c_str(), O_RDONLY) != -1; }));
    EXPECT_EQ(EINVAL, errorOf([&] { return hFile->open(path("b").c_str(), O_CREAT) != -1; }));
    EXPECT_EQ(path("a"), hFile->getPath());
    EXPECT_EQ("content", rest(*hFile));
}

TEST_F(DiskFiles, AFileThatIsCutWhileItIsReadEndsThere)
{
    makeFile(path("a"), std::string(100, 'x'));
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    std::array<char, 60> buffer{};
    EXPECT_EQ(60, hFile->read(buffer.data(), buffer.size()));
    fs::resize_file(path("a"), 80);
    EXPECT_EQ(20, hFile->read(buffer.data(), buffer.size()));
    fs::resize_file(path("a"), 10);
    EXPECT_EQ(0, hFile->read(buffer.data(), buffer.size()));
}

TEST_F(DiskFiles, ADiskThatCannotBeReadIsAFailedRead)
{
    makeFile(path("a"), "content");
    const std::size_t uiBefore = countDescriptors();
    const bool bDone =
        doWhileCallsFail({{SYS_read, EIO}},
                         [this]
                         {
                             const FileHandle hFile =
                                 m_fileSystem.open(path("a").c_str(), O_RDONLY);
                             ASSERT_FALSE(hFile.isNull());
                             char cRead = 0;
                             EXPECT_EQ(EIO, errorOf([&] { return hFile->read(&cRead, 1) != -1; }));
                         });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

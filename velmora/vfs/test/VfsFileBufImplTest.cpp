// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBufImpl.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/vfs/test/MemoryFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Impl = VfsFileBufImpl;

TEST(VfsFileBufImpl, EachModeOpensWithItsFlagsAndPermission)
{
    constexpr std::array<std::pair<int, const char*>, 6> modes{
        {{Impl::in, "0 0"},
         {Impl::out, "577 438"},
         {Impl::out | Impl::trunc, "577 438"},
         {Impl::out | Impl::app, "1089 438"},
         {Impl::in | Impl::out, "2 438"},
         {Impl::in | Impl::out | Impl::trunc, "578 438"}}};
    for (const auto& [iMode, szFlags] : modes)
    {
        const MemoryFiles files;
        Impl impl(files.handle());
        EXPECT_TRUE(impl._M_open("file", iMode | Impl::binary | Impl::ate));
        EXPECT_THAT(files->noted("open"), ElementsAre(std::string("open file ") + szFlags));
        EXPECT_EQ(impl.mode(), iMode | Impl::binary | Impl::ate);
    }
}

TEST(VfsFileBufImpl, NoOtherModeOpens)
{
    int iNumOpened = 0;
    for (int iMode = 0; iMode != 128; ++iMode)
    {
        const MemoryFiles files;
        Impl impl(files.handle());
        if (impl._M_open("file", iMode))
            ++iNumOpened;
        else
            EXPECT_THAT(files->m_operations, IsEmpty()) << iMode;
    }
    EXPECT_EQ(iNumOpened, 6 * 4);
}

TEST(VfsFileBufImpl, ReadingForcesThePermissionToZero)
{
    const MemoryFiles files;
    Impl forReading(files.handle());
    EXPECT_TRUE(forReading._M_open("file", Impl::in, 0640));
    Impl forWriting(files.handle());
    EXPECT_TRUE(forWriting._M_open("file", Impl::out, 0640));
    EXPECT_THAT(files->noted("open"), ElementsAre("open file 0 0", "open file 577 416"));
}

TEST(VfsFileBufImpl, AteGoesToTheEnd)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in | Impl::ate));
    EXPECT_EQ(impl._M_seek(0, Impl::cur), 10);
}

TEST(VfsFileBufImpl, AteFailsWhereTheFileCannotSeekAndLeavesNoFile)
{
    const MemoryFiles files;
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    Impl impl(files.handle());
    EXPECT_FALSE(impl._M_open("file", Impl::in | Impl::ate));
    EXPECT_FALSE(impl.is_open());
    EXPECT_EQ(impl.getFile(), nullptr);
    EXPECT_EQ(files->m_iOpenFiles, 0);
}

TEST(VfsFileBufImpl, OpeningTwiceFailsAndLeavesTheFirstFile)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    const VirtualFileSystem::File* const pFile = impl.getFile();
    EXPECT_FALSE(impl._M_open("other", Impl::out));
    EXPECT_TRUE(impl.is_open());
    EXPECT_EQ(impl.getFile(), pFile);
    EXPECT_THAT(files->noted("open"), ElementsAre("open file 0 0"));
}

TEST(VfsFileBufImpl, AMissingFileFailsAndLeavesNone)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_FALSE(impl._M_open("missing", Impl::in));
    EXPECT_FALSE(impl.is_open());
    EXPECT_EQ(impl.getFile(), nullptr);
}

TEST(VfsFileBufImpl, ADescriptorIsNeverTakenOver)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_FALSE(impl._M_open(0, Impl::in));
    EXPECT_FALSE(impl.is_open());
    EXPECT_THAT(files->m_operations, IsEmpty());
}

TEST(VfsFileBufImpl, WithoutAFileNothingWorks)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    char byte = 0;
    EXPECT_EQ(impl._M_read(&byte, 1), -1);
    EXPECT_FALSE(impl._M_write(&byte, 1));
    EXPECT_EQ(impl._M_seek(0, Impl::beg), -1);
    EXPECT_EQ(impl._M_file_size(), 0);
    EXPECT_FALSE(impl._M_close());
}

TEST(VfsFileBufImpl, AWriteIsDoneOnceAndIsWholeOrFails)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::out));
    EXPECT_TRUE(impl._M_write("0123456789", 10));
    files->m_uiMostAtOnce = 5;
    EXPECT_FALSE(impl._M_write("0123456789", 10));
    EXPECT_THAT(files->noted("write"), ElementsAre("write 10", "write 10"));
    EXPECT_EQ(files.content(), "012345678901234");
}

TEST(VfsFileBufImpl, AReadGivesWhatTheFileGives)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    files->m_uiMostAtOnce = 7;
    std::array<char, 10> bytes{};
    EXPECT_EQ(impl._M_read(bytes.data(), bytes.size()), 7);
    EXPECT_EQ(impl._M_read(bytes.data(), bytes.size()), 3);
    EXPECT_EQ(impl._M_read(bytes.data(), bytes.size()), 0);
    files->m_fault = faultOf("read", -1, EIO);
    EXPECT_EQ(impl._M_read(bytes.data(), bytes.size()), -1);
}

TEST(VfsFileBufImpl, SeeksCountFromTheBeginningThePositionAndTheEnd)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_EQ(impl._M_seek(4, 1), 4);
    EXPECT_EQ(impl._M_seek(3, 2), 7);
    EXPECT_EQ(impl._M_seek(-3, 2), 4);
    EXPECT_EQ(impl._M_seek(-3, 4), 7);
    EXPECT_EQ(impl._M_seek(3, 4), 13);
    EXPECT_EQ(impl._M_seek(-10, 4), 0);
}

TEST(VfsFileBufImpl, ARefusedSeekLeavesThePosition)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_EQ(impl._M_seek(4, Impl::beg), 4);
    for (const auto& [iOffset, iDirection] :
         {std::pair{-1L, 1}, {-5L, 2}, {-11L, 4}, {-20L, 4}, {1L, 0}, {1L, 3}})
        EXPECT_EQ(impl._M_seek(iOffset, iDirection), -1) << iOffset << ' ' << iDirection;
    EXPECT_EQ(impl._M_seek(0, Impl::cur), 4);
}

TEST(VfsFileBufImpl, TheSizeIsFoundBySeekingThereAndBack)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    impl._M_seek(4, Impl::beg);
    files->m_operations.clear();
    EXPECT_EQ(impl._M_file_size(), 10);
    EXPECT_THAT(files->m_operations, ElementsAre("lseek 0 1", "lseek 0 2", "lseek 4 0"));
    EXPECT_EQ(impl._M_seek(0, Impl::cur), 4);
}

TEST(VfsFileBufImpl, TheSizeOfAFileThatCannotSeekIsUseless)
{
    const MemoryFiles files;
    files->m_fault = faultOf("lseek", -1, ESPIPE);
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_EQ(impl._M_file_size(), -1);
}

TEST(VfsFileBufImpl, AFileWhosePositionIsUnknownIsNotMovedToFindItsSize)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_EQ(impl._M_seek(4, Impl::beg), 4);
    files->m_operations.clear();
    files->m_fault = faultOf("lseek 0 1", -1, ESPIPE);
    errno = 0;
    EXPECT_EQ(impl._M_seek(-20, Impl::end), -1);
    EXPECT_EQ(errno, ESPIPE);
    EXPECT_THAT(files->m_operations, ElementsAre("lseek 0 1"));
    files->m_fault = nullptr;
    EXPECT_EQ(impl._M_seek(0, Impl::cur), 4);
}

TEST(VfsFileBufImpl, AFileWhoseEndIsUnknownHasNoSizeAndKeepsItsPosition)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_EQ(impl._M_seek(4, Impl::beg), 4);
    files->m_fault = faultOf("lseek 0 2", -1, EIO);
    errno = 0;
    EXPECT_EQ(impl._M_file_size(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(impl._M_seek(0, Impl::cur), 4);
}

TEST(VfsFileBufImpl, AFileThatCannotGoBackFromItsEndHasNoSize)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_EQ(impl._M_seek(4, Impl::beg), 4);
    files->m_fault = faultOf("lseek 4 0", -1, EIO);
    errno = 0;
    EXPECT_EQ(impl._M_file_size(), -1);
    EXPECT_EQ(errno, EIO);
}

TEST(VfsFileBufImpl, BinaryModeIsThatOfTheOpenMode)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in));
    EXPECT_FALSE(impl._M_in_binary_mode());
    EXPECT_TRUE(impl._M_close());
    EXPECT_TRUE(impl._M_open("file", Impl::in | Impl::binary));
    EXPECT_TRUE(impl._M_in_binary_mode());
}

TEST(VfsFileBufImpl, LinesAreNotTranslatedAndFilesNotMapped)
{
    const char szText[] = "a\nb\n";
    EXPECT_EQ(Impl::_M_get_offset(szText, szText + 4), 4);
    EXPECT_EQ(Impl::_M_mmap(0, 4096), nullptr);
    Impl::_M_unmap(nullptr, 4096);
    EXPECT_EQ(Impl::_M_page_size, 4096L);
}

TEST(VfsFileBufImpl, AClosedFileStaysUntilTheNextIsOpened)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::in | Impl::binary));
    EXPECT_TRUE(impl.isRegularFile());
    EXPECT_EQ(impl.fd(), -1);
    VirtualFileSystem::File* const pFile = impl.getFile();
    EXPECT_TRUE(impl._M_close());
    EXPECT_FALSE(impl.is_open());
    EXPECT_EQ(impl.mode(), 0);
    EXPECT_EQ(files->m_iOpenFiles, 0);
    EXPECT_EQ(impl.getFile(), pFile);
    EXPECT_EQ(impl.getFile()->close(), -1);
    EXPECT_FALSE(impl._M_close());
    EXPECT_FALSE(impl._M_open("missing", Impl::in));
    EXPECT_EQ(impl.getFile(), nullptr);
}

TEST(VfsFileBufImpl, AFileThatFailsToCloseIsNoLongerOpen)
{
    const MemoryFiles files;
    Impl impl(files.handle());
    EXPECT_TRUE(impl._M_open("file", Impl::out));
    files->m_fault = faultOf("close", -1, EIO);
    EXPECT_FALSE(impl._M_close());
    EXPECT_FALSE(impl.is_open());
    EXPECT_EQ(files->m_iOpenFiles, 0);
}

/// An object that is open but has no file, which must never happen.
class Broken : public Impl
{
  public:
    using Impl::Impl;
    void loseFile() { m_pFile = nullptr; }
};

TEST(VfsFileBufImpl, ClosingWithoutTheFileFailsAnAssertion)
{
    const MemoryFiles files;
    Broken broken(files.handle());
    EXPECT_TRUE(broken._M_open("file", Impl::in));
    broken.loseFile();
    const CapturedLog log;
    EXPECT_FALSE(broken._M_close());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("!m_pFile.isNull()", "VfsFileBufImpl",
                                            "keswardin.VfsFileBuf")));
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(VfsFileBufImpl, TheFileSystemLivesAsLongAsTheFile)
{
    const int iBefore = MemoryFileSystem::s_iDestroyed;
    {
        auto pImpl = [] { return std::make_unique<Impl>(MemoryFiles().handle()); }();
        EXPECT_TRUE(pImpl->_M_open("file", Impl::in));
        EXPECT_EQ(MemoryFileSystem::s_iDestroyed, iBefore);
    }
    EXPECT_EQ(MemoryFileSystem::s_iDestroyed, iBefore + 1);
}

} // namespace

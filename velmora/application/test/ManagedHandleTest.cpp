// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ManagedHandle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

using Log = std::vector<std::string>;

class File : public virtual Object
{
  public:
    explicit File(Log& out_log) : m_log(out_log) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() override { m_log.emplace_back("file"); }

  private:
    Log& m_log;
};

class DiskFile : public File
{
  public:
    using File::File;
};

class Releaser : public ReleaserBase
{
  public:
    explicit Releaser(Log& out_log) : m_log(out_log) {}
    ~Releaser() override { m_log.emplace_back("releaser"); }

  private:
    Log& m_log;
};

using FileHandle = ManagedHandle<File, TSReferenceCount>;

} // namespace

TEST(ManagedHandle, ADefaultHandleIsNull)
{
    const FileHandle hFile;
    EXPECT_TRUE(hFile.isNull());
    EXPECT_FALSE(hFile);
    EXPECT_EQ(nullptr, hFile.get());
}

TEST(ManagedHandle, AHandleOfANullPointerIsNull)
{
    EXPECT_TRUE(FileHandle(static_cast<File*>(nullptr)).isNull());
    EXPECT_TRUE(FileHandle(nullptr).isNull());
}

TEST(ManagedHandle, TheReleaserGoesAfterTheObject)
{
    Log log;
    {
        const FileHandle hFile(new File(log), new Releaser(log));
        const FileHandle hCopy = hFile; // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(hFile.get(), hCopy.get());
    }
    EXPECT_THAT(log, ElementsAre("file", "releaser"));
}

TEST(ManagedHandle, AssignmentReleasesInTheSameOrder)
{
    Log log;
    FileHandle hFile(new File(log), new Releaser(log));
    hFile = FileHandle(new File(log));
    EXPECT_THAT(log, ElementsAre("file", "releaser"));
    hFile = nullptr;
    EXPECT_THAT(log, ElementsAre("file", "releaser", "file"));
}

TEST(ManagedHandle, HandlesOfRelatedClassesShareBothCounts)
{
    Log log;
    ManagedHandle<DiskFile, TSReferenceCount> hDiskFile(new DiskFile(log), new Releaser(log));
    FileHandle hFile = hDiskFile;
    hDiskFile = nullptr;
    EXPECT_THAT(log, ElementsAre());
    hFile = nullptr;
    EXPECT_THAT(log, ElementsAre("file", "releaser"));
}

TEST(ManagedHandle, AReleaserWithoutAnObjectIsReleasedToo)
{
    Log log;
    {
        const FileHandle hFile(nullptr, new Releaser(log));
        EXPECT_TRUE(hFile.isNull());
    }
    EXPECT_THAT(log, ElementsAre("releaser"));
}

} // namespace Velmora::Test

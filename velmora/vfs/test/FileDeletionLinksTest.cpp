// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Surroundings.h"
#include "velmora/vfs/test/DeletedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <thread>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(FileDeletion, ALinkIsDeletedAndNotWhatItLeadsTo)
{
    makeFile("outside/f");
    fs::create_symlink("outside", "link");
    fs::create_symlink("outside/f", "link-to-file");
    fs::create_symlink("nothing", "link-to-nothing");
    EXPECT_TRUE(remove("link", s_recursivelyWithForce));
    EXPECT_TRUE(remove("link-to-file", s_recursivelyWithForce));
    EXPECT_TRUE(remove("link-to-nothing", s_recursivelyWithForce));
    EXPECT_FALSE(isThere("link"));
    EXPECT_FALSE(isThere("link-to-file"));
    EXPECT_FALSE(isThere("link-to-nothing"));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FileDeletion, ALinkInATreeIsDeletedAndNotWhatItLeadsTo)
{
    makeFile("outside/f");
    fs::create_directory("d");
    fs::create_symlink(path("outside"), "d/link");
    fs::create_symlink("..", "d/up");
    EXPECT_TRUE(remove("d", s_recursivelyWithForce));
    EXPECT_FALSE(isThere("d"));
    EXPECT_TRUE(isThere("outside/f"));
}

TEST_F(FileDeletion, ASlashAtTheEndOfALinkDoesNotLeadThroughIt)
{
    makeFile("outside/f");
    setMode("outside", 0555);
    fs::create_symlink("outside", "link");
    EXPECT_FALSE(remove("link/", s_recursivelyWithForce));
    EXPECT_FALSE(remove("link//", s_recursivelyWithForce));
    EXPECT_TRUE(isThere("link"));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_EQ(0555U, modeOf("outside"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("link/"), unknownError("link/"),
                            reason("delete link/", ENOTDIR), unlinkFailed("link//"),
                            unknownError("link//"), reason("delete link//", ENOTDIR)));
}

TEST_F(FileDeletion, TheWayToWhatIsDeletedMayLeadThroughALink)
{
    makeFile("real/d/f");
    fs::create_symlink("real", "link");
    EXPECT_TRUE(remove("link/d", s_recursively));
    EXPECT_FALSE(isThere("real/d"));
}

TEST_F(FileDeletion, ALinkThatCannotBeDeletedIsNotFollowed)
{
    makeFile("outside/f");
    setMode("outside", 0555);
    chown("outside", 65534, 65534);
    fs::create_symlink("outside", "link");
    fs::create_symlink("nothing", "link-to-nothing");
    const auto work = [&]
    {
        EXPECT_FALSE(remove("link", s_recursivelyWithForce));
        EXPECT_FALSE(remove("link-to-nothing", s_recursivelyWithForce));
    };
    if (!doAsNobody(work))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_TRUE(isThere("link"));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_EQ(0555U, modeOf("outside"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("link"), unknownError("link"),
                            reason("delete link", EACCES), unlinkFailed("link-to-nothing"),
                            unknownError("link-to-nothing"),
                            reason("delete link-to-nothing", EACCES)));
}

namespace
{

/// Simulates another process that moves "d/e" away and puts a link to "outside" in its place, just
/// before a call.
void putLinkBefore(const std::string& in_strCall, const std::string& in_strName)
{
    beforeCalls(
        [strCall = in_strCall, strName = in_strName, bDone = false](
            const std::string& in_strThisCall, const std::string& in_strThisName) mutable
        {
            if (bDone || in_strThisCall != strCall || in_strThisName != strName)
                return;
            bDone = true;
            fs::rename("d/e", "moved");
            fs::create_directory_symlink(fs::absolute("outside"), "d/e");
        });
}

} // namespace

TEST_F(FileDeletion, ALinkInPlaceOfADirectoryIsNotOpened)
{
    makeFile("outside/f");
    makeFile("d/e/f");
    putLinkBefore("openat", "e");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_TRUE(isThere("moved/f"));
    expectLast(cannotOpen("d/e"), reason("open directory d/e", ENOTDIR));
}

TEST_F(FileDeletion, AnotherDirectoryInPlaceOfTheOneThatWasSeenIsNotDeleted)
{
    makeFile("other/f");
    makeFile("d/e/f");
    beforeCalls(
        [](const std::string& in_strCall, const std::string& in_strName)
        {
            if (in_strCall != "openat" || in_strName != "e")
                return;
            fs::rename("d/e", "moved");
            fs::rename("other", "d/e");
        });
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("d/e/f"));
    EXPECT_TRUE(isThere("moved/f"));
    expectLast(cannotOpen("d/e"), reason("open directory d/e", ESTALE));
}

TEST_F(FileDeletion, LeavesNoDescriptorOpenHoweverItEnds)
{
    fs::create_directories("other");
    makeFile("d/e/f");
    makeFile("g/h/f");
    setMode("g/h", 0555);
    beforeCalls(
        [](const std::string& in_strCall, const std::string& in_strName)
        {
            if (in_strCall != "openat" || in_strName != "e")
                return;
            fs::rename("d/e", "moved");
            fs::rename("other", "d/e");
        });
    const std::size_t uiBefore = countDescriptors();
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_FALSE(remove("g", s_recursively));
    EXPECT_TRUE(remove("moved", s_recursively));
    EXPECT_EQ(uiBefore, countDescriptors());
}

TEST_F(FileDeletion, ALinkInPlaceOfADirectoryThatIsOpenIsNotFollowed)
{
    makeFile("outside/f");
    makeFile("d/e/f");
    putLinkBefore("unlink", "f");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_FALSE(isThere("moved/f"));
    expectLast(cannotRemove("d/e"), reason("delete d/e", ENOTDIR));
}

TEST_F(FileDeletion, ALinkInPlaceOfADirectoryOnTheWayIsNotFollowed)
{
    makeFile("outside/g/f");
    makeFile("d/e/g/f");
    putLinkBefore("openat", "g");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside/g/f"));
    EXPECT_FALSE(isThere("moved/g"));
    expectLast(cannotRemove("d/e"), reason("delete d/e", ENOTDIR));
}

TEST_F(FileDeletion, ALinkInPlaceOfAnEmptiedDirectoryIsNotFollowed)
{
    fs::create_directory("outside");
    makeFile("d/e/f");
    putLinkBefore("rmdir", "e");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside"));
    EXPECT_TRUE(isThere("d/e"));
    expectLast(cannotRemove("d/e"), reason("delete d/e", ENOTDIR));
}

TEST_F(FileDeletion, TheModeOfWhatALinkLeadsToIsNotSet)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root moves a directory that it may not write";
    makeFile("outside/f");
    makeFile("d/e/f");
    setMode("d/e", 0555);
    putLinkBefore("chmod", "e");
    EXPECT_FALSE(remove("d", s_recursivelyWithForce));
    EXPECT_EQ(0755U, modeOf("outside"));
    EXPECT_TRUE(isThere("outside/f"));
    expectLast(cannotSetMode("d/e"), reason("change the mode of d/e", EOPNOTSUPP));
}

TEST_F(FileDeletion, ALinkThatComesAndGoesAllTheTimeIsNeverFollowed)
{
    constexpr int iNumRounds = 100;
    constexpr int iNumFiles = 20;
    makeFile("outside/0");
    const CapturedLog log(FATAL_LOG_LEVEL);
    for (int iRound = 0; iRound < iNumRounds; ++iRound)
    {
        for (int iFile = 0; iFile < iNumFiles; ++iFile)
            makeFile("d/e/" + std::to_string(iFile));
        fs::create_symlink("../outside", "d/link");
        std::atomic<bool> bBegun = false;
        std::atomic<bool> bEnd = false;
        std::thread swaps(
            [&]
            {
                for (; !bEnd; bBegun = true)
                    renameat2(AT_FDCWD, "d/link", AT_FDCWD, "d/e", RENAME_EXCHANGE);
            });
        while (!bBegun)
            std::this_thread::yield();
        remove("d/e", s_recursivelyWithForce);
        remove("d", s_recursivelyWithForce);
        bEnd = true;
        swaps.join();
        fs::remove_all("d");
        ASSERT_TRUE(isThere("outside/0")) << "round " << iRound;
    }
}

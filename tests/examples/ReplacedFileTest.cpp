// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/ReplacedFile.h"

#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace Velmora::Test
{

namespace
{

using GatewayExample::ReplacedFile;

} // namespace

TEST(ReplacedFile, HasTheLastContentInTheEnd)
{
    const TemporaryDirectory directory;
    {
        ReplacedFile file(directory.file("made/metrics"));
        for (int i = 0; i <= 1000; ++i)
            file.replace("content " + std::to_string(i));
    }
    EXPECT_EQ("content 1000", directory.read("made/metrics"));
    // Nothing else is left.
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(directory.path() / "made"), {}));
}

TEST(ReplacedFile, ShowsAReaderAWholeContentAtAnyTime)
{
    const TemporaryDirectory directory;
    ASSERT_EQ("", ReplacedFile::replaceNow(directory.file("metrics"), std::string(100'000, 'a')));
    std::atomic<bool> bEnd = false;
    std::thread writer(
        [&]
        {
            ReplacedFile file(directory.file("metrics"));
            for (char c = 'a'; !bEnd; c = c == 'z' ? 'a' : static_cast<char>(c + 1))
                file.replace(std::string(100'000, c));
        });
    for (int i = 0; i < 200; ++i)
    {
        const std::string strContent = directory.read("metrics");
        EXPECT_EQ(std::string(100'000, strContent.empty() ? '?' : strContent[0]), strContent);
    }
    bEnd = true;
    writer.join();
}

TEST(ReplacedFile, KeepsItsContentOnAFullDiskAndSaysWhyUntilThereIsRoom)
{
    const TemporaryDirectory directory;
    const SmallDisk disk(directory.path());
    VELMORA_NEEDS_DISK(disk);
    const std::string strPath = directory.file("metrics");
    ReplacedFile file(strPath);
    file.replace("old");
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(strPath); }));
    disk.fill();
    file.replace(std::string(100'000, 'x'));
    ASSERT_TRUE(waitUntil([&] { return !file.failure().empty(); }));
    EXPECT_EQ("cannot write " + strPath + ": No space left on device", file.failure());
    EXPECT_EQ("old", (std::ostringstream() << std::ifstream(strPath).rdbuf()).str());
    EXPECT_FALSE(std::filesystem::exists(strPath + ".new"));
    disk.makeRoom();
    file.replace("new");
    EXPECT_TRUE(waitUntil([&] { return file.failure().empty(); }));
}

TEST(ReplacedFile, DoesNotWriteThroughASymbolicLink)
{
    const TemporaryDirectory directory;
    std::ofstream(directory.file("victim")) << "mine";
    std::filesystem::create_symlink(directory.file("victim"), directory.file("metrics.new"));
    EXPECT_EQ("cannot write " + directory.file("metrics") + ": Too many levels of symbolic links",
              ReplacedFile::replaceNow(directory.file("metrics"), "content"));
    EXPECT_EQ("mine", directory.read("victim"));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsStream.h"

#include "tests/support/DescriptorLimit.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/test/Codecvts.h"
#include "velmora/vfs/test/MemoryFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using std::ios_base;
using testing::ElementsAre;

namespace
{

using Input = basic_vfsistream<char>;
using Output = basic_vfsostream<char>;

TSHandle<VirtualFileSystem> disk() { return TSHandle<VirtualFileSystem>(new DiskFileSystem); }

std::size_t numOpenDescriptors()
{
    std::size_t uiCount = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++uiCount;
    return uiCount;
}

TEST(VfsStream, TextGoesToADiskAndBack)
{
    const TemporaryDirectory directory;
    const auto hDisk = disk();
    Output output(hDisk, directory.file("file").c_str(), ios_base::out);
    output << "line " << 1 << '\n' << "line " << 2 << '\n';
    output.close();
    EXPECT_TRUE(output.good());
    EXPECT_EQ(directory.read("file"), "line 1\nline 2\n");

    Input input(hDisk, directory.file("file").c_str(), ios_base::in);
    std::string strWord;
    int iNumber = 0;
    EXPECT_TRUE(input >> strWord >> iNumber);
    EXPECT_EQ(strWord, "line");
    EXPECT_EQ(iNumber, 1);
    std::string strRest;
    std::getline(input, strRest, '\0');
    EXPECT_EQ(strRest, "\nline 2\n");
    EXPECT_TRUE(input.eof());
    EXPECT_FALSE(input.fail());
}

TEST(VfsStream, WithoutANameItIsClosed)
{
    const MemoryFiles files;
    Input input(files.handle());
    Output output(files.handle());
    EXPECT_TRUE(input.good());
    EXPECT_TRUE(output.good());
    EXPECT_FALSE(input.is_open());
    EXPECT_FALSE(output.is_open());
    EXPECT_EQ(input.getVirtualFileSystem(), files.handle());
    EXPECT_EQ(output.getVirtualFileSystem(), files.handle());
    input.close();
    output.close();
    EXPECT_EQ(input.rdstate(), ios_base::failbit);
    EXPECT_EQ(output.rdstate(), ios_base::failbit);
}

TEST(VfsStream, InAndOutAreAddedToTheMode)
{
    const MemoryFiles files;
    EXPECT_TRUE(Input(files.handle(), "file", ios_base::binary).is_open());
    EXPECT_TRUE(Output(files.handle(), "file", ios_base::app).is_open());
    EXPECT_TRUE(Input(files.handle(), "file", 0, 0600).is_open());
    EXPECT_TRUE(Output(files.handle(), "file", 0, 0600).is_open());
    EXPECT_THAT(files->noted("open"), ElementsAre("open file 0 0", "open file 1089 438",
                                                  "open file 0 0", "open file 577 384"));
}

TEST(VfsStream, AMissingFileSetsFailbitAndLeavesNoFile)
{
    const TemporaryDirectory directory;
    Input input(disk(), directory.file("missing").c_str(), ios_base::in);
    EXPECT_EQ(input.rdstate(), ios_base::failbit);
    EXPECT_EQ(input.getFile(), nullptr);
    EXPECT_FALSE(input.is_open());
}

TEST(VfsStream, InWithAppFails)
{
    const MemoryFiles files;
    EXPECT_EQ(Input(files.handle(), "file", ios_base::in | ios_base::app).rdstate(),
              ios_base::failbit);
    EXPECT_EQ(Output(files.handle(), "file", ios_base::in | ios_base::app).rdstate(),
              ios_base::failbit);
}

TEST(VfsStream, ADescriptorSetsFailbit)
{
    const MemoryFiles files;
    Input input(files.handle(), 0, ios_base::in);
    Output output(files.handle(), 1, ios_base::out);
    EXPECT_EQ(input.rdstate(), ios_base::failbit);
    EXPECT_EQ(output.rdstate(), ios_base::failbit);
    EXPECT_FALSE(input.is_open());
    EXPECT_FALSE(output.is_open());
}

TEST(VfsStream, OpeningAnOpenStreamFailsAndLeavesItOpen)
{
    const MemoryFiles files;
    Input input(files.handle(), "file", ios_base::in);
    input.open("file", ios_base::in);
    EXPECT_EQ(input.rdstate(), ios_base::failbit);
    EXPECT_TRUE(input.is_open());
    input.clear();
    EXPECT_EQ(input.get(), '0');
}

TEST(VfsStream, OpeningClearsTheStateOfAnEarlierFailure)
{
    const MemoryFiles files;
    Input input(files.handle(), "missing", ios_base::in);
    input.open("file", ios_base::in);
    EXPECT_TRUE(input.good());
    EXPECT_EQ(input.get(), '0');
}

TEST(VfsStream, SeekgNeedsBinary)
{
    const MemoryFiles files("0123456789abcdef");
    Input text(files.handle(), "file", ios_base::in);
    text.seekg(10);
    EXPECT_EQ(text.rdstate(), ios_base::failbit);
    Input binary(files.handle(), "file", ios_base::in | ios_base::binary);
    binary.seekg(10);
    EXPECT_TRUE(binary.good());
    EXPECT_EQ(binary.get(), 'a');
    EXPECT_EQ(binary.tellg(), 11);
}

TEST(VfsStream, ASeekPastTheBeginningFailsAndLeavesThePosition)
{
    const MemoryFiles files;
    Input input(files.handle(), "file", ios_base::in | ios_base::binary);
    EXPECT_EQ(input.get(), '0');
    input.seekg(-20, ios_base::end);
    EXPECT_EQ(input.rdstate(), ios_base::failbit);
    input.clear();
    EXPECT_EQ(input.tellg(), 1);
    EXPECT_EQ(input.get(), '1');
}

TEST(VfsStream, TellpGivesWhatWasWritten)
{
    const MemoryFiles files("");
    Output output(files.handle(), "file", ios_base::out | ios_base::binary);
    output << "abc";
    EXPECT_EQ(output.tellp(), 3);
    output.seekp(-1, ios_base::cur) << 'x';
    output.close();
    EXPECT_EQ(files.content(), "abx");
}

TEST(VfsStream, CharactersAreUngotAfterTheEnd)
{
    const MemoryFiles files("ab");
    Input input(files.handle(), "file", ios_base::in);
    EXPECT_EQ(input.get(), 'a');
    EXPECT_EQ(input.get(), 'b');
    EXPECT_EQ(input.get(), EOF);
    input.clear();
    input.unget();
    EXPECT_EQ(input.get(), 'b');
}

TEST(VfsStream, AShortWriteSetsBadbit)
{
    const MemoryFiles files("");
    files->m_uiMostAtOnce = 100;
    Output output(files.handle(), "file", ios_base::out);
    output.write(std::string(8192, 'x').data(), 8192);
    EXPECT_EQ(output.rdstate(), ios_base::badbit);
    EXPECT_EQ(files->noted("write").size(), 1U);
    output.clear();
    output.flush();
    EXPECT_EQ(output.rdstate(), ios_base::badbit);
    EXPECT_EQ(files->noted("write").size(), 1U);
}

TEST(VfsStream, AFailedReadIsTheEndOfTheFile)
{
    const MemoryFiles files;
    Input input(files.handle(), "file", ios_base::in);
    files->m_fault = faultOf("read", -1, EIO);
    EXPECT_EQ(input.get(), EOF);
    EXPECT_EQ(input.rdstate(), ios_base::eofbit | ios_base::failbit);
}

TEST(VfsStream, AFailedCloseSetsFailbit)
{
    const MemoryFiles files;
    Input input(files.handle(), "file", ios_base::in);
    Output output(files.handle(), "file", ios_base::out);
    files->m_fault = faultOf("close", -1, EIO);
    input.close();
    output.close();
    EXPECT_EQ(input.rdstate(), ios_base::failbit);
    EXPECT_EQ(output.rdstate(), ios_base::failbit);
}

TEST(VfsStream, AFileSystemThatThrowsSetsBadbit)
{
    const MemoryFiles files;
    Input input(files.handle(), "file", ios_base::in);
    Output output(files.handle(), "other", ios_base::out);
    output << "abc";
    files->m_fault = [](const std::string&) -> std::optional<long>
    { throw std::runtime_error("file system"); };
    EXPECT_EQ(input.get(), EOF);
    EXPECT_TRUE(input.bad());
    output.flush();
    EXPECT_EQ(output.rdstate(), ios_base::badbit);

    Input throwing(files.handle());
    EXPECT_THROW(throwing.open("file", ios_base::in), std::runtime_error);
    EXPECT_THROW(Input(files.handle(), "file", ios_base::in), std::runtime_error);
    files->m_fault = nullptr;
    EXPECT_EQ(files->m_iOpenFiles, 2);
}

TEST(VfsStream, AnExceptionPassesThroughWhereTheProgramAsksForIt)
{
    const MemoryFiles files;
    Input input(files.handle(), "file", ios_base::in);
    input.exceptions(ios_base::badbit);
    files->m_fault = [](const std::string&) -> std::optional<long>
    { throw std::runtime_error("file system"); };
    EXPECT_THROW(input.get(), std::runtime_error);
    EXPECT_TRUE(input.bad());
    files->m_fault = nullptr;
}

TEST(VfsStream, ALocaleOfTheStreamConvertsItsFile)
{
    const MemoryFiles files("");
    Output output(files.handle());
    output.imbue(VariableWidthCodecvt::locale());
    output.open("file", ios_base::out);
    output << "\xE9";
    output.close();
    EXPECT_EQ(files.content(), "\xC3\xA9");
    Input input(files.handle(), "file", ios_base::in);
    input.imbue(VariableWidthCodecvt::locale());
    EXPECT_EQ(input.get(), 0xE9);
}

TEST(VfsStream, TheFileSystemLivesAsLongAsTheStream)
{
    const int iBefore = MemoryFileSystem::s_iDestroyed;
    {
        auto pInput = [] { return std::make_unique<Input>(MemoryFiles().handle(), "file", 0); }();
        EXPECT_EQ(MemoryFileSystem::s_iDestroyed, iBefore);
        EXPECT_EQ(pInput->get(), '0');
    }
    EXPECT_EQ(MemoryFileSystem::s_iDestroyed, iBefore + 1);
}

TEST(VfsStream, CannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<Input> && !std::is_copy_constructible_v<Output>);
    static_assert(!std::is_copy_assignable_v<Input> && !std::is_copy_assignable_v<Output>);
    const MemoryFiles files;
    const Input input(files.handle());
    static_assert(std::is_same_v<decltype(input.rdbuf()), VfsFileBuf<char>*>);
    EXPECT_EQ(static_cast<const std::ios&>(input).rdbuf(), input.rdbuf());
}

TEST(VfsStream, ANewFileHasThePermissionThatTheMaskLeaves)
{
    const TemporaryDirectory directory;
    const mode_t former = umask(022);
    const auto hDisk = disk();
    const auto modeOf = [&](const char* in_szName)
    {
        struct stat status = {};
        EXPECT_EQ(stat(directory.file(in_szName).c_str(), &status), 0);
        return status.st_mode & 0777;
    };
    EXPECT_TRUE(Output(hDisk, directory.file("usual").c_str(), ios_base::out).is_open());
    EXPECT_TRUE(Output(hDisk, directory.file("private").c_str(), ios_base::out, 0600).is_open());
    EXPECT_EQ(modeOf("usual"), 0644U);
    EXPECT_EQ(modeOf("private"), 0600U);
    umask(former);
}

TEST(VfsStream, AFullDiskSetsBadbitOnceAndWritesNothingTwice)
{
    const TemporaryDirectory directory;
    const SmallDisk small(directory.path());
    VELMORA_NEEDS_DISK(small);
    const auto hDisk = disk();
    const std::size_t uiBefore = numOpenDescriptors();
    {
        Output output(hDisk, directory.file("file").c_str(), ios_base::out);
        output << "kept" << std::flush;
        EXPECT_TRUE(output.good());
        small.fill();
        output << std::string(5000, 'x');
        EXPECT_EQ(output.rdstate(), ios_base::badbit);
        small.makeRoom();
        output.clear();
        output.close();
        EXPECT_TRUE(output.good());
    }
    EXPECT_EQ(numOpenDescriptors(), uiBefore);
    // The part that fits into the file's page was written, once.
    EXPECT_EQ(directory.read("file"), "kept" + std::string(4092, 'x'));
}

TEST(VfsStream, WithoutDescriptorsAStreamFailsToOpen)
{
    const TemporaryDirectory directory;
    std::ofstream(directory.file("file")) << "abc";
    const auto hDisk = disk();
    EXPECT_TRUE(Input(hDisk, directory.file("file").c_str(), ios_base::in).is_open());
    Input input(hDisk);
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        input.open(directory.file("file").c_str(), ios_base::in);
        EXPECT_EQ(input.rdstate(), ios_base::failbit);
        EXPECT_EQ(errno, EMFILE);
    }
    input.open(directory.file("file").c_str(), ios_base::in);
    EXPECT_EQ(input.get(), 'a');
}

TEST(VfsStream, AFileThatIsCutWhileItIsReadEnds)
{
    const TemporaryDirectory directory;
    std::ofstream(directory.file("file")) << std::string(10000, 'x');
    Input input(disk(), directory.file("file").c_str(), ios_base::in);
    EXPECT_EQ(input.get(), 'x');
    std::filesystem::resize_file(directory.file("file"), 10);
    std::string strText(10000, '\0');
    input.read(strText.data(), 10000);
    EXPECT_EQ(input.gcount(), 4095);
    EXPECT_EQ(input.rdstate(), ios_base::eofbit | ios_base::failbit);
}

TEST(VfsStream, NoDescriptorIsLost)
{
    const TemporaryDirectory directory;
    const auto hDisk = disk();
    const std::size_t uiBefore = numOpenDescriptors();
    for (int iRound = 0; iRound != 10; ++iRound)
    {
        Output output(hDisk, directory.file("file").c_str(), ios_base::out);
        output << "abc";
        output.close();
        output.open(directory.file("file").c_str(), ios_base::app);
        output.open(directory.file("other").c_str(), ios_base::out);
        Input input(hDisk, directory.file("file").c_str(), ios_base::in);
        EXPECT_EQ(input.get(), 'a');
    }
    EXPECT_EQ(numOpenDescriptors(), uiBefore);
}

TEST(VfsStream, ThreadsShareAFileSystem)
{
    const TemporaryDirectory directory;
    const auto hDisk = disk();
    std::vector<std::thread> threads;
    // The paths are absolute, which threads may use concurrently. All streams are opened and closed
    // on this thread.
    std::vector<std::unique_ptr<Output>> outputs;
    for (int iThread = 0; iThread != 4; ++iThread)
        outputs.push_back(std::make_unique<Output>(
            hDisk, directory.file(std::to_string(iThread)).c_str(), ios_base::out));
    for (int iThread = 0; iThread != 4; ++iThread)
        threads.emplace_back(
            [&output = *outputs[static_cast<std::size_t>(iThread)], iThread]
            {
                for (int iLine = 0; iLine != 1000; ++iLine)
                    output << iThread << ' ' << iLine << '\n';
                output.flush();
            });
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& pOutput : outputs)
        EXPECT_TRUE(pOutput->good());
    outputs.clear();
    EXPECT_EQ(directory.read("3").substr(0, 8), "3 0\n3 1\n");
    EXPECT_EQ(directory.read("3").size(), directory.read("0").size());
}

} // namespace

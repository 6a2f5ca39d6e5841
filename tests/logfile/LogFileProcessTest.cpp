// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/BackgroundProcess.h"
#include "tests/support/Files.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/Lines.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

const std::string s_strHelper = "logfile-logs";

/// Returns the lines that a helper has buffered until it ended in that way, and its end.
std::vector<std::string> linesAfter(const std::string& in_strEnd, HelperResult& out_result)
{
    const TemporaryDirectory directory;
    out_result = runHelper(s_strHelper, {directory.file("log"), in_strEnd});
    return linesOf(directory.read("log"));
}

std::vector<std::string> linesAfterSuccess(const std::string& in_strEnd)
{
    HelperResult result;
    std::vector<std::string> lines = linesAfter(in_strEnd, result);
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    EXPECT_EQ("", result.strErrors);
    return lines;
}

/// A process that logs on two threads while logrotate renames its file.
class RotatedLog
{
  public:
    /// With `in_bAsks`, logrotate sends SIGHUP after it has renamed the file.
    RotatedLog(const std::string& in_strKind, bool in_bAsks)
        : m_process({s_strHelper, m_directory.file("log"), "threads", in_strKind},
                    m_directory.file("output"))
    {
        EXPECT_TRUE(waitUntil([this] { return std::filesystem::exists(m_directory.file("log")); }));
        const std::string pid = std::to_string(m_process.pid());
        m_directory.write(
            "rotate",
            m_directory.file("log") + " {\n  rotate 1000\n  nocreate\n" +
                (in_bAsks ? "  postrotate\n    kill -HUP " + pid + "\n  endscript\n" : "") + "}\n");
    }

    [[nodiscard]] std::string file(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    void rotate()
    {
        EXPECT_TRUE(waitUntil([this] { return std::filesystem::exists(m_directory.file("log")); }));
        const HelperResult result =
            runHelper(VELMORA_LOGROTATE, {"--force", "--state", file("state"), file("rotate")});
        EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    }

    /// Ends the process, and expects each of its lines once in the files.
    void expectEachLineOnce(int in_iLeastFiles)
    {
        m_process.signal(SIGTERM);
        EXPECT_EQ(0, m_process.waitForEnd()) << m_directory.read("output");
        std::map<std::string, int> found;
        int iFiles = 0;
        std::size_t uiFound = 0;
        for (const std::string& strName : namesIn(m_directory.path()))
        {
            if (!strName.starts_with("log"))
                continue;
            ++iFiles;
            for (const std::string& strLine : linesOf(m_directory.read(strName)))
            {
                ++found[strLine];
                ++uiFound;
            }
        }
        EXPECT_GE(iFiles, in_iLeastFiles);
        std::vector<std::string> output = linesOf(m_directory.read("output"));
        std::erase_if(output, [](const std::string& in_strLine)
                      { return in_strLine.starts_with("reopened"); });
        ASSERT_EQ(3U, output.size()) << m_directory.read("output");
        int iLogged = 0;
        for (int iThread = 0; iThread != 2; ++iThread)
        {
            const int iLines = std::stoi(output[static_cast<std::size_t>(iThread)]);
            iLogged += iLines;
            for (int iLine = 0; iLine != iLines; ++iLine)
                ASSERT_EQ(1, found[std::to_string(iThread) + ' ' + std::to_string(iLine)])
                    << iThread << ' ' << iLine;
        }
        EXPECT_GT(iLogged, 0);
        EXPECT_EQ(uiFound, static_cast<std::size_t>(iLogged));
        // What is still buffered when the counts are printed is written at the end.
        EXPECT_THAT(output[2], testing::EndsWith(" 0 lost"));
    }

    [[nodiscard]] std::string output() const { return m_directory.read("output"); }

  private:
    TemporaryDirectory m_directory;
    BackgroundProcess m_process;
};

class RotatedLogOfEachKind : public testing::TestWithParam<const char*>
{
};
INSTANTIATE_TEST_SUITE_P(, RotatedLogOfEachKind, testing::Values("immediate", "buffered"),
                         [](const auto& in_info) { return std::string(in_info.param); });

} // namespace

TEST(LogFileProcess, WritesItsBufferWhenMainReturns)
{
    EXPECT_THAT(linesAfterSuccess("return"), ElementsAre("first", "second"));
}

TEST(LogFileProcess, WritesItsBufferAtExit)
{
    EXPECT_THAT(linesAfterSuccess("exit"), ElementsAre("first", "second"));
}

TEST(LogFileProcess, WritesItsBufferAtTheExitThatFollowsASignal)
{
    EXPECT_THAT(linesAfterSuccess("signal"), ElementsAre("first", "second"));
}

TEST(LogFileProcess, WritesItsBufferWhenAnAssertionAborts)
{
    HelperResult result;
    const std::vector<std::string> lines = linesAfter("assertion", result);
    EXPECT_EQ(SIGABRT, result.iSignal);
    EXPECT_THAT(lines,
                ElementsAre("first", "second", StartsWith("Assertion failed (false)"), "aborting"));
}

TEST(LogFileProcess, WritesTheLineOfAStaticDestructor)
{
    EXPECT_THAT(linesAfterSuccess("static"),
                ElementsAre("first", "second", "of a static destructor"));
}

TEST(LogFileProcess, WritesItsBufferOnceIfAChildExits)
{
    EXPECT_THAT(linesAfterSuccess("fork"),
                ElementsAre("of the child", "first", "second", "after the child"));
}

TEST_P(RotatedLogOfEachKind, LosesAndDoublesNoLineWhileLogrotateMovesTheFile)
{
    RotatedLog log(GetParam(), false);
    for (int i = 0; i != 3; ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        log.rotate();
    }
    log.expectEachLineOnce(3);
}

TEST_P(RotatedLogOfEachKind, LosesAndDoublesNoLineWhileLogrotateAsksForNewFiles)
{
    RotatedLog log(GetParam(), true);
    for (int i = 0; i != 20; ++i)
        log.rotate();
    log.expectEachLineOnce(21);
    EXPECT_THAT(linesOf(log.output()), Contains("reopened 1"));
}

} // namespace Velmora::Test

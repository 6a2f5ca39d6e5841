// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/CallLogging.h"
#include "tests/support/Files.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/logging/CallFileName.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Arguments = std::vector<std::string>;

/// A directory of files of calls, and the command.
class CallFile : public testing::Test
{
  protected:
    /// Makes the file of a call, below a directory of the calls' directory, with a time in seconds
    /// since 1970, with the end of an earlier call's name and of a compressed file. Returns its
    /// path.
    std::string make(const std::string& in_strCallId, const std::string& in_strBelow = "",
                     long in_lTime = 1'700'000'000, const std::string& in_strEnd = "",
                     const std::string& in_strCompressed = "")
    {
        const std::string strName =
            CallFileName("", ".log" + in_strEnd).nameOf(in_strCallId) + in_strCompressed;
        const std::string strPath = m_directory.write(
            in_strBelow.empty() ? strName : in_strBelow + '/' + strName, "line\n");
        setTime(strPath, in_lTime);
        return strPath;
    }

    static void setTime(const std::string& in_strPath, long in_lTime)
    {
        const std::timespec times[] = {{in_lTime, 0}, {in_lTime, 0}};
        ASSERT_EQ(0, utimensat(AT_FDCWD, in_strPath.c_str(), times, 0));
    }

    [[nodiscard]] HelperResult run(Arguments in_arguments) const
    {
        in_arguments.insert(in_arguments.begin(), {"--directory", calls()});
        return runHelper(VELMORA_HELPER_KESWARDIN_CALL_FILE, in_arguments, {{"TZ", "UTC"}});
    }

    /// Runs the command, expects that it finds everything, and returns the lines of its output.
    [[nodiscard]] std::vector<std::string> found(const Arguments& in_arguments) const
    {
        const HelperResult result = run(in_arguments);
        EXPECT_EQ(0, result.iExitCode);
        EXPECT_EQ("", result.strErrors);
        return linesOf(result.strOutput);
    }

    [[nodiscard]] std::string calls() const { return m_directory.path().string(); }
    [[nodiscard]] const TemporaryDirectory& directory() const { return m_directory; }

  private:
    TemporaryDirectory m_directory;
};

/// Ids that callers may send to do harm: outside of the directory, in a terminal, in a table.
const std::vector<std::string>& hostileIds()
{
    static const std::vector<std::string> s_ids{"",
                                                ".",
                                                "..",
                                                "../x",
                                                "/etc/passwd",
                                                "-rf",
                                                "a b\tc",
                                                "\x1b]0;owned\a\x1b[2J",
                                                "two\nlines",
                                                "%..%2Fx",
                                                "100%",
                                                "bad\xff\xc0utf8",
                                                "turned\u202egol",
                                                "back\\slash",
                                                "$(reboot)",
                                                "\"quoted\"",
                                                "2026",
                                                "x.log",
                                                "x.gz",
                                                std::string(300, 'l'),
                                                std::string(1000, '/')};
    return s_ids;
}

bool isSafeForTerminal(const std::string& in_strText)
{
    for (const char c : in_strText)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == 0x7f)
            return false;
    return in_strText.find("\u202e") == std::string::npos &&
           in_strText.find('\xff') == std::string::npos;
}

} // namespace

TEST_F(CallFile, IsNamedByItsCallId)
{
    const std::string strPath = make("1-25556@127.0.0.1");
    make("2-25556@127.0.0.1");
    EXPECT_THAT(found({"1-25556@127.0.0.1"}), ElementsAre(strPath));
}

TEST_F(CallFile, OfEachCallIsNamedInTheOrderOfTheCommandLine)
{
    const std::string strFirst = make("1");
    const std::string strSecond = make("2");
    EXPECT_THAT(found({"2", "1"}), ElementsAre(strSecond, strFirst));
}

TEST_F(CallFile, OfEachHostileIdIsFoundAndReadBack)
{
    for (const std::string& strId : hostileIds())
    {
        const std::string strPath = make(strId);
        const HelperResult result = run({"-0", "--", strId});
        EXPECT_EQ(0, result.iExitCode) << strId;
        EXPECT_EQ(strPath + '\0', result.strOutput + std::string(result.strOutput.empty(), '\0'));
    }
    EXPECT_EQ(hostileIds().size(), found({"--list"}).size());
}

TEST_F(CallFile, OfAHostileIdIsWrittenWithoutControlBytes)
{
    for (const std::string& strId : hostileIds())
        make(strId);
    for (const Arguments& arguments : {Arguments{"--list"}, Arguments{"--list", "--json"}})
        EXPECT_TRUE(isSafeForTerminal(run(arguments).strOutput));
    for (const std::string& strId : hostileIds())
    {
        EXPECT_TRUE(isSafeForTerminal(run({"--", strId}).strOutput)) << strId;
        EXPECT_TRUE(isSafeForTerminal(run({"--", strId + "\x1b[2J"}).strErrors)) << strId;
        EXPECT_TRUE(isSafeForTerminal(run({"--directory", strId + "\x1b", "--list"}).strErrors));
    }
}

TEST_F(CallFile, IsFoundByAnIdInTheFormOfTheLog)
{
    const std::string strPath = make("a\x1b"
                                     "b");
    EXPECT_THAT(found({"a\\x1b"
                       "b"}),
                ElementsAre(strPath));
}

TEST_F(CallFile, IsFoundInTheDirectoriesOfTheHours)
{
    const std::string strOld = make("x", "2025/12December/31/23", 1'700'000'000);
    const std::string strNew = make("x", "2026/11November/21/17", 1'700'000'001);
    make("y", "2026/11November/21/17");
    EXPECT_THAT(found({"x"}), ElementsAre(strNew, strOld));
}

TEST_F(CallFile, OfALongIdIsFoundInADirectoryOfAnHour)
{
    const std::string strPath = make(std::string(700, 'x'), "2026/03Maerz/07/09");
    EXPECT_THAT(found({std::string(700, 'x')}), ElementsAre(strPath));
    EXPECT_THAT(found({"--like", "xxx"}), ElementsAre(HasSubstr(strPath)));
}

TEST_F(CallFile, IsFoundAlthoughItIsCompressed)
{
    const std::string strPath = make("x", "", 1'700'000'000, "", ".gz");
    EXPECT_THAT(found({"x"}), ElementsAre(strPath));
    EXPECT_THAT(found({"--list", "--json"}), ElementsAre(HasSubstr("\"compressed\":true")));
}

TEST_F(CallFile, OfAnEarlierCallIsNamedOnRequest)
{
    const std::string strLast = make("x", "", 1'700'000'009);
    const std::string strEarlier = make("x", "", 1'700'000'005, ".2023-11-14T221325Z");
    const std::string strEarliest = make("x", "", 1'700'000'004, ".2023-11-14T221325Z-2", ".gz");
    make("x.log.2023-11-14T221325Z");
    EXPECT_THAT(found({"x"}), ElementsAre(strLast));
    EXPECT_THAT(found({"--earlier", "x"}), ElementsAre(strLast, strEarlier, strEarliest));
    EXPECT_THAT(found({"--like", "x", "--json"}),
                testing::UnorderedElementsAre(
                    AllOf(HasSubstr("\"call_id\":\"x\""), HasSubstr("\"earlier\":false")),
                    AllOf(HasSubstr("\"call_id\":\"x\""), HasSubstr("\"earlier\":true")),
                    AllOf(HasSubstr("\"call_id\":\"x\""), HasSubstr("\"earlier\":true")),
                    AllOf(HasSubstr("\"call_id\":\"x.log.2023-11-14T221325Z\""),
                          HasSubstr("\"earlier\":false"))));
}

TEST_F(CallFile, OfAnEarlierCallWithALongIdIsFoundWhereItsNameIsCut)
{
    // The name of the last file is 255 bytes long, so that of an earlier one needs a directory.
    const std::string strId(251, 'x');
    const std::string strLast = make(strId, "", 1'700'000'009);
    const std::string strEarlier =
        make(strId, "2026/11November/21/17", 1'700'000'005, ".2023-11-14T221325Z");
    const std::string strEarliest = make(strId, "", 1'700'000'004, ".2023-11-14T221324Z-12");
    EXPECT_THAT(found({"--earlier", strId}), ElementsAre(strLast, strEarlier, strEarliest));
    EXPECT_EQ(3, found({"--like", strId}).size());
}

TEST_F(CallFile, OfAnotherEndIsNotThatOfAnEarlierCall)
{
    make("x");
    for (const std::string strEnd :
         {".2023-11-14T221325", ".2023-11-14T221325Z-", ".2023-11-14T221325Z-x", ".20231114", "~"})
        directory().write("x.log" + strEnd, "");
    EXPECT_EQ(1, found({"--earlier", "x"}).size());
    EXPECT_EQ(1, found({"--list"}).size());
}

TEST_F(CallFile, OfAnEarlierCallIsFoundWithoutALaterOne)
{
    const std::string strPath = make("x", "", 1'700'000'005, ".2023-11-14T221325Z");
    EXPECT_EQ(1, run({"x"}).iExitCode);
    EXPECT_THAT(found({"--earlier", "x"}), ElementsAre(strPath));
}

TEST_F(CallFile, ThatIsMissingIsReported)
{
    make("x");
    const HelperResult result = run({"x", "y"});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_EQ(directory().file("x.log") + '\n', result.strOutput);
    EXPECT_EQ("keswardin-call-file: call y has no file in " + calls() +
                  "; --like searches for a part of an id\n",
              result.strErrors);
}

TEST_F(CallFile, IsListedByAPartOfItsIdTheNewestFirst)
{
    const std::string strOld = make("first@host/x", "", 1'700'000'000);
    const std::string strNew = make("new@host", "2026/11November/21/17", 1'700'000'060);
    make("new@other");
    EXPECT_THAT(found({"--like", "@host"}),
                ElementsAre("2023-11-14 22:14:20\t5\tnew@host\t" + strNew,
                            "2023-11-14 22:13:20\t5\tfirst@host/x\t" + strOld));
    EXPECT_THAT(found({"--like", "host/"}), ElementsAre(HasSubstr("first@host/x")));
    EXPECT_EQ(1, run({"--like", "nobody"}).iExitCode);
}

TEST_F(CallFile, IsWrittenAsAnObjectOfJson)
{
    const std::string strPath = make("quote\"\n");
    EXPECT_THAT(found({"--json", "quote\"\n"}),
                ElementsAre(R"({"call_id":"quote\"\n","path":")" + calls() +
                            R"(/%quote\"%0A.log","changed":"2023-11-14T22:13:20Z","bytes":5,)"
                            R"("earlier":false,"compressed":false})"));
}

TEST_F(CallFile, HasThePrefixAndSuffixOfTheConfiguration)
{
    const std::string strPath = directory().write("call-x.txt", "line\n");
    make("x");
    EXPECT_THAT(found({"--prefix", "call-", "--suffix", ".txt", "x"}), ElementsAre(strPath));
    EXPECT_THAT(found({"--prefix", "call-", "--suffix", ".txt", "--list"}),
                ElementsAre(HasSubstr("\tx\t" + strPath)));
}

TEST_F(CallFile, BehindALinkIsNotFound)
{
    const TemporaryDirectory other;
    other.write("x.log", "secret\n");
    other.write("11November/21/17/x.log", "secret\n");
    other.write('%' + std::string(253, 'l') + "%/%" + std::string(47, 'l') + ".log", "secret\n");
    namespace fs = std::filesystem;
    fs::create_symlink(other.file("x.log"), directory().file("x.log"));
    fs::create_directory_symlink(other.path(), directory().file("2026"));
    fs::create_directory_symlink(other.path(), directory().file("inner"));
    fs::create_directory_symlink(other.path() / ('%' + std::string(253, 'l') + '%'),
                                 directory().file('%' + std::string(253, 'l') + '%'));
    EXPECT_EQ(1, run({"x"}).iExitCode);
    EXPECT_EQ(1, run({std::string(300, 'l')}).iExitCode);
    EXPECT_EQ(1, run({"--earlier", "x"}).iExitCode);
    const HelperResult listed = run({"--list"});
    EXPECT_EQ(1, listed.iExitCode);
    EXPECT_EQ("", listed.strOutput);
    EXPECT_EQ("", listed.strErrors);
}

TEST_F(CallFile, IsFoundWhereTheDirectoryItselfIsALink)
{
    make("x");
    const TemporaryDirectory other;
    const std::string strLink = other.file("calls");
    std::filesystem::create_directory_symlink(calls(), strLink);
    EXPECT_THAT(found({"--directory", strLink, "x"}), ElementsAre(strLink + "/x.log"));
}

TEST_F(CallFile, IsARegularFile)
{
    ASSERT_EQ(0, mkfifo(directory().file("x.log").c_str(), 0600));
    std::filesystem::create_directory(directory().file("y.log"));
    EXPECT_EQ(1, run({"x"}).iExitCode);
    EXPECT_EQ(1, run({"y"}).iExitCode);
    EXPECT_EQ(1, run({"--list"}).iExitCode);
}

TEST_F(CallFile, IsFoundWithoutReadingTheDirectoriesOfFiles)
{
    const std::string strPath = make("x", "2026/11November/21/17");
    make("x");
    const std::string strTrace = directory().file("trace");
    const HelperResult result = runHelper(VELMORA_STRACE,
                                          {"-f", "-y", "-e", "trace=getdents64", "-o", strTrace,
                                           VELMORA_HELPER_KESWARDIN_CALL_FILE, "-d", calls(), "x"},
                                          // LeakSanitizer cannot work beside strace.
                                          {{"ASAN_OPTIONS", "detect_leaks=0"}});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    const std::string strRead = directory().read("trace");
    EXPECT_THAT(strRead, HasSubstr("/2026>"));
    EXPECT_THAT(strRead, HasSubstr("/21>"));
    EXPECT_THAT(strRead, Not(HasSubstr("/17>")));
    EXPECT_THAT(strRead, Not(HasSubstr(calls() + ">")));
}

TEST_F(CallFile, ThatTheLibraryHasWrittenIsFound)
{
    makeParticipant("keswardin.test");
    ASSERT_TRUE(configureCalls(calls(), "keswardin.infra.CallLogger.outputFileSuffix=.log\n"));
    for (const std::string strId : {"plain@host", "../up", "\x1b[2J"})
    {
        CallLogger logger("keswardin.test");
        logger.callStart(strId.c_str());
        VELMORA_LOG(logger, ERROR_LOG_LEVEL, "a line of " << strId.size());
        logger.callEnd();
        const HelperResult result = run({"-0", strId});
        ASSERT_EQ(0, result.iExitCode) << result.strErrors;
        EXPECT_THAT(readFile(result.strOutput.substr(0, result.strOutput.size() - 1)),
                    HasSubstr("a line of " + std::to_string(strId.size())));
    }
}

TEST_F(CallFile, IsNotSearchedForByAWrongCommandLine)
{
    make("x");
    for (const Arguments& arguments :
         {Arguments{}, Arguments{"--no-such-option", "x"}, Arguments{"--like"},
          Arguments{"--list", "x"}, Arguments{"--list", "--like", "x"},
          Arguments{"--prefix", "../", "x"}, Arguments{"--directory", "/no/such", "x"}})
    {
        const HelperResult result = run(arguments);
        EXPECT_EQ(2, result.iExitCode);
        EXPECT_EQ("", result.strOutput);
        EXPECT_THAT(result.strErrors, testing::StartsWith("keswardin-call-file: "));
    }
}

TEST_F(CallFile, CannotBeNamedOnAFullDisk)
{
    make("x");
    const HelperResult result = runHelper("/bin/sh", {"-c", "exec \"$0\" -d \"$1\" x > /dev/full",
                                                      VELMORA_HELPER_KESWARDIN_CALL_FILE, calls()});
    EXPECT_EQ(2, result.iExitCode);
    EXPECT_EQ("keswardin-call-file: cannot write the output: No space left on device\n",
              result.strErrors);
}

TEST_F(CallFile, HasAManualAndACompletionForEachOption)
{
    const std::string strHelp = run({"--help"}).strOutput;
    const std::string strFolder = VELMORA_SOURCE_DIRECTORY "/tools/call-file/";
    const std::string strManual = readFile(strFolder + "keswardin-call-file.1");
    const std::string strCompletion = readFile(strFolder + "completion.bash");
    int iOptions = 0;
    for (const std::string& strLine : linesOf(strHelp))
        if (const std::size_t uiLong = strLine.find(", --"); uiLong != std::string::npos)
        {
            const std::string strName =
                strLine.substr(uiLong + 4, strLine.find(' ', uiLong + 4) - uiLong - 4);
            EXPECT_THAT(strManual, HasSubstr("\\-\\-" + strName));
            EXPECT_THAT(strCompletion, testing::ContainsRegex("--" + strName + "[ ']"));
            ++iOptions;
        }
    EXPECT_EQ(9, iOptions);
}

} // namespace Velmora::Test

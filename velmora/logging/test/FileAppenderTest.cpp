// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileAppender.h"

#include "velmora/Sanitizers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/Lines.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/layout.h>
#include <log4cplus/spi/filter.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using log4cplus::helpers::Properties;
using log4cplus::spi::InternalLoggingEvent;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

/// How long a moved file may go unnoticed, and somewhat more.
constexpr std::chrono::milliseconds s_untilNoticed(1100);

InternalLoggingEvent eventOf(const std::string& in_strMessage, int in_iLevel = INFO_LOG_LEVEL,
                             log4cplus::helpers::Time in_time = log4cplus::helpers::now())
{
    return {"test", in_iLevel, "", {}, in_strMessage, "1", "1", in_time, "File.cpp", 7};
}

log4cplus::helpers::Time localTime(int in_iYear, int in_iMonth, int in_iDay, int in_iHour)
{
    std::tm time = {};
    time.tm_year = in_iYear - 1900;
    time.tm_mon = in_iMonth - 1;
    time.tm_mday = in_iDay;
    time.tm_hour = in_iHour;
    time.tm_isdst = -1;
    return log4cplus::helpers::from_time_t(std::mktime(&time));
}

/// Returns how many system calls of the process have written.
std::uint64_t countWrites()
{
    std::ifstream io("/proc/self/io");
    std::uint64_t uiCalls = 0;
    for (std::string strKey; io >> strKey;)
        if (strKey == "syscw:")
            io >> uiCalls;
    return uiCalls;
}

/// Returns the descriptors of the process that refer to a path.
std::vector<int> descriptorsOf(const std::string& in_strPath)
{
    std::vector<int> found;
    for (int iDescriptor = 0; iDescriptor != 256; ++iDescriptor)
    {
        std::error_code error;
        const auto target =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(iDescriptor), error);
        if (!error && target == in_strPath)
            found.push_back(iDescriptor);
    }
    return found;
}

/// A layout that calls a function for each line.
class CallbackLayout : public log4cplus::Layout
{
  public:
    using Function =
        std::function<void(log4cplus::tostream& out_stream, const InternalLoggingEvent& in_event)>;
    explicit CallbackLayout(Function in_function) : m_function(std::move(in_function)) {}
    void formatAndAppend(log4cplus::tostream& out_stream,
                         const InternalLoggingEvent& in_event) override
    {
        m_function(out_stream, in_event);
    }

  private:
    Function m_function;
};

/// An appender to the file "log" in a directory of its own, with the message in each line.
class AppenderToFile : public testing::Test
{
  protected:
    AppenderToFile()
    {
        set("File", m_directory.file("log"));
        set("layout", "velmora::PatternLayout");
        set("layout.ConversionPattern", "%m%n");
    }

    void set(const std::string& in_strName, const std::string& in_strValue)
    {
        m_properties.setProperty(in_strName, in_strValue);
    }
    void buffer(const std::string& in_strInterval = "3600")
    {
        set("ImmediateFlush", "false");
        set("FlushInterval", in_strInterval);
    }

    FileAppender& appender()
    {
        if (!m_pAppender)
            open();
        return *m_pAppender;
    }
    void open()
    {
        m_pAppender =
            log4cplus::helpers::SharedObjectPtr<FileAppender>(new FileAppender(m_properties));
    }
    void close() { m_pAppender = log4cplus::helpers::SharedObjectPtr<FileAppender>(); }

    void log(const std::string& in_strMessage, int in_iLevel = INFO_LOG_LEVEL)
    {
        appender().doAppend(eventOf(in_strMessage, in_iLevel));
    }
    void logAt(log4cplus::helpers::Time in_time, const std::string& in_strMessage)
    {
        appender().doAppend(eventOf(in_strMessage, INFO_LOG_LEVEL, in_time));
    }

    [[nodiscard]] std::string read(const std::string& in_strName = "log") const
    {
        return m_directory.read(in_strName);
    }
    [[nodiscard]] std::string file(const std::string& in_strName = "log") const
    {
        return m_directory.file(in_strName);
    }
    [[nodiscard]] std::vector<std::string> names() const { return namesIn(m_directory.path()); }
    void rename(const std::string& in_strFrom, const std::string& in_strTo) const
    {
        std::filesystem::rename(file(in_strFrom), file(in_strTo));
    }

    /// Returns what goes to standard error while the function runs.
    template <class Function>
    static std::string errorsOf(Function in_function)
    {
        testing::internal::CaptureStderr();
        in_function();
        return testing::internal::GetCapturedStderr();
    }
    std::string errorsOfOpening()
    {
        return errorsOf([this] { open(); });
    }

    TemporaryDirectory m_directory;
    Properties m_properties;
    log4cplus::helpers::SharedObjectPtr<FileAppender> m_pAppender;
};

/// Those that write a line at once, or buffer it.
class AppenderOfEachKind : public AppenderToFile, public testing::WithParamInterface<bool>
{
  protected:
    AppenderOfEachKind()
    {
        if (GetParam())
            buffer();
    }
};
INSTANTIATE_TEST_SUITE_P(, AppenderOfEachKind, testing::Bool(),
                         [](const auto& in_info)
                         { return in_info.param ? "Buffered" : "Immediate"; });

} // namespace

TEST_F(AppenderToFile, WritesEachLineWithOneSystemCall)
{
    if (VELMORA_ADDRESS_SANITIZER)
        GTEST_SKIP() << "the sanitizers write, too: that is how they see what memory exists";
    log("warm");
    const std::uint64_t uiBefore = countWrites();
    for (int i = 0; i != 100; ++i)
        log(std::string(3000, 'x'));
    EXPECT_EQ(uiBefore + 100, countWrites());
}

TEST_F(AppenderToFile, WritesManyBufferedLinesWithOneSystemCall)
{
    if (VELMORA_ADDRESS_SANITIZER)
        GTEST_SKIP() << "the sanitizers write, too: that is how they see what memory exists";
    buffer();
    log("warm");
    const std::uint64_t uiBefore = countWrites();
    for (int i = 0; i != 100; ++i)
        log("line");
    close();
    EXPECT_EQ(uiBefore + 1, countWrites());
    EXPECT_THAT(linesOf(read()), SizeIs(101));
}

TEST_F(AppenderToFile, ItsDescriptorAppendsAndIsClosedWhenAProgramIsExecuted)
{
    log("line");
    const std::vector<int> descriptors = descriptorsOf(file());
    ASSERT_THAT(descriptors, SizeIs(1));
    EXPECT_NE(0, fcntl(descriptors[0], F_GETFL) & O_APPEND);
    EXPECT_NE(0, fcntl(descriptors[0], F_GETFD) & FD_CLOEXEC);
    close();
    EXPECT_THAT(descriptorsOf(file()), IsEmpty());
}

TEST_F(AppenderToFile, TakesALayoutOfLog4cplus)
{
    set("layout", "log4cplus::SimpleLayout");
    log("first");
    log("second", WARN_LOG_LEVEL);
    EXPECT_EQ("INFO - first\nWARN - second\n", read());
}

TEST_F(AppenderToFile, UsesALayoutThatIsSetLater)
{
    log("first");
    appender().setLayout(std::make_unique<log4cplus::SimpleLayout>());
    log("second");
    Properties pattern;
    pattern.setProperty("ConversionPattern", "%c %m%n");
    appender().setLayout(std::make_unique<log4cplus::PatternLayout>(pattern));
    log("third");
    EXPECT_EQ("first\nINFO - second\ntest third\n", read());
}

TEST_F(AppenderToFile, ObeysThresholdAndFilters)
{
    set("Threshold", "WARN");
    set("filters.1", "log4cplus::spi::StringMatchFilter");
    set("filters.1.StringToMatch", "secret");
    set("filters.1.AcceptOnMatch", "false");
    log("below");
    log("above", ERROR_LOG_LEVEL);
    log("a secret", ERROR_LOG_LEVEL);
    EXPECT_EQ("above\n", read());
}

TEST_F(AppenderToFile, UsesALockFile)
{
    set("UseLockFile", "true");
    set("LockFile", file("lock"));
    log("line");
    EXPECT_EQ("line\n", read());
    EXPECT_THAT(names(), ElementsAre("lock", "log"));
}

TEST_F(AppenderToFile, KeepsWhatIsInTheFile)
{
    m_directory.write("log", "former\n");
    log("line");
    EXPECT_EQ("former\nline\n", read());
}

TEST_F(AppenderToFile, EmptiesTheFileIfItDoesNotAppend)
{
    m_directory.write("log", "former\n");
    set("Append", "false");
    log("line");
    EXPECT_EQ("line\n", read());
    // Not when the path is opened again.
    EXPECT_TRUE(Logger::reopenFiles());
    log("next");
    EXPECT_EQ("line\nnext\n", read());
}

TEST_F(AppenderToFile, ALineAllocatesNothing)
{
    log("warm");
    EXPECT_EQ(0, allocationsOfLaterCalls([this, event = eventOf("call a84b4c76e66710 took 1234 ms")]
                                         { appender().doAppend(event); }));
}

TEST_F(AppenderToFile, ABufferedLineAllocatesNothing)
{
    buffer();
    set("BufferSize", "100");
    const InternalLoggingEvent event = eventOf("call a84b4c76e66710 took 1234 ms");
    for (int i = 0; i != 10; ++i)
        appender().doAppend(event);
    EXPECT_EQ(0, allocationsOfLaterCalls([&] { appender().doAppend(event); }));
}

// Buffering.

TEST_F(AppenderToFile, BuffersUntilTheBufferIsFull)
{
    buffer();
    set("BufferSize", "20");
    log("123456789");
    EXPECT_EQ("", read());
    log("123456789");
    EXPECT_EQ("123456789\n123456789\n", read());
    log("third");
    EXPECT_EQ("123456789\n123456789\n", read());
}

TEST_F(AppenderToFile, BuffersUntilALineOfTheFlushLevel)
{
    buffer();
    log("first");
    EXPECT_EQ("", read());
    log("second", WARN_LOG_LEVEL);
    EXPECT_EQ("first\nsecond\n", read());
}

TEST_F(AppenderToFile, TakesTheFlushLevelFromItsProperty)
{
    buffer();
    set("FlushLevel", "FATAL");
    log("first", ERROR_LOG_LEVEL);
    EXPECT_EQ("", read());
    log("second", FATAL_LOG_LEVEL);
    EXPECT_EQ("first\nsecond\n", read());
}

TEST_F(AppenderToFile, BuffersUntilTheFirstLineAfterTheFlushInterval)
{
    buffer("1");
    log("first");
    log("second");
    EXPECT_EQ("", read());
    std::this_thread::sleep_for(s_untilNoticed);
    EXPECT_EQ("", read());
    log("third");
    EXPECT_EQ("first\nsecond\nthird\n", read());
}

TEST_F(AppenderToFile, WritesTheBufferWhenItIsClosed)
{
    buffer();
    log("first");
    appender().close();
    EXPECT_EQ("first\n", read());
}

TEST_F(AppenderToFile, ABufferedLineIsCountedWhenItIsWritten)
{
    buffer();
    const std::uint64_t uiBefore = Logger::getLineCount();
    log("first");
    EXPECT_EQ(0, appender().getLineCount());
    log("second", ERROR_LOG_LEVEL);
    EXPECT_EQ(2, appender().getLineCount());
    log("third");
    close();
    EXPECT_EQ(uiBefore + 3, Logger::getLineCount());
}

TEST_F(AppenderToFile, ALineLongerThanTheBufferIsWrittenWhole)
{
    buffer();
    set("layout.MaxLength", "0");
    set("BufferSize", "1KB");
    log("short");
    log(std::string(100'000, 'x'));
    EXPECT_EQ("short\n" + std::string(100'000, 'x') + "\n", read());
}

// Several writers.

TEST_F(AppenderToFile, ProcessesShareAFileWithoutTearingALine)
{
    set("layout.MaxLength", "0");
    constexpr int iProcesses = 4;
    constexpr int iLines = 300;
    std::vector<pid_t> children;
    for (int iProcess = 0; iProcess != iProcesses; ++iProcess)
    {
        const pid_t pid = forkChild();
        if (pid == 0)
        {
            for (int iLine = 0; iLine != iLines; ++iLine)
                log(std::string(5000, static_cast<char>('a' + iProcess)));
            _exit(0);
        }
        children.push_back(pid);
    }
    for (const pid_t pid : children)
        EXPECT_EQ(0, waitForChild(pid));
    const std::vector<std::string> lines = linesOf(read());
    EXPECT_THAT(lines, SizeIs(iProcesses * iLines));
    for (const std::string& strLine : lines)
        ASSERT_EQ(std::string(5000, strLine[0]), strLine);
}

TEST_P(AppenderOfEachKind, ThreadsLogWholeLines)
{
    appender();
    onThreads(4,
              [this](int in_iThread)
              {
                  for (int i = 0; i != 200; ++i)
                      log(std::string(50, static_cast<char>('a' + in_iThread)));
              });
    close();
    const std::vector<std::string> lines = linesOf(read());
    EXPECT_THAT(lines, SizeIs(800));
    for (const std::string& strLine : lines)
        ASSERT_EQ(std::string(50, strLine[0]), strLine);
}

TEST_P(AppenderOfEachKind, NothingIsLostOrDoubledWhileThreadsLogAndFilesAreReopened)
{
    appender();
    const auto logNumbered = [this](int in_iThread)
    {
        for (int i = 0; i != 2000; ++i)
            log(std::to_string(in_iThread) + ' ' + std::to_string(i));
    };
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread != 2; ++iThread)
        threads.emplace_back(logNumbered, iThread);
    int iFiles = 0;
    for (; iFiles != 50; ++iFiles)
    {
        rename("log", "old." + std::to_string(iFiles));
        EXPECT_TRUE(Logger::reopenFiles());
    }
    for (std::thread& thread : threads)
        thread.join();
    close();

    std::set<std::string> lines;
    std::size_t uiLines = 0;
    for (const std::string& strName : names())
        for (const std::string& strLine : linesOf(read(strName)))
        {
            lines.insert(strLine);
            ++uiLines;
        }
    EXPECT_EQ(4000, uiLines);
    EXPECT_THAT(lines, SizeIs(4000));
}

TEST_F(AppenderToFile, IsReopenedWhileItIsDestroyed)
{
    const RepeatingThreads reopening(2, [] { Logger::reopenFiles(); });
    for (int i = 0; i != 200; ++i)
    {
        open();
        log("line");
        close();
    }
    EXPECT_THAT(linesOf(read()), SizeIs(200));
}

// Rolling over.

TEST_P(AppenderOfEachKind, RollsOverBeforeTheFileIsLargerThanItsLimit)
{
    set("MaxFileSize", "30");
    set("MaxBackupIndex", "3");
    for (int i = 0; i != 5; ++i)
        log("line " + std::to_string(i) + " 12345");
    close();
    EXPECT_THAT(names(), ElementsAre("log", "log.1", "log.2"));
    EXPECT_EQ("line 4 12345\n", read());
    EXPECT_EQ("line 2 12345\nline 3 12345\n", read("log.1"));
    EXPECT_EQ("line 0 12345\nline 1 12345\n", read("log.2"));
}

TEST_F(AppenderToFile, RemovesTheOldestBackup)
{
    set("MaxFileSize", "1");
    for (const char* const szLine : {"one", "two", "three", "four"})
        log(szLine);
    EXPECT_THAT(names(), ElementsAre("log", "log.1"));
    EXPECT_EQ("four\n", read());
    EXPECT_EQ("three\n", read("log.1"));
}

TEST_F(AppenderToFile, FillsTheFirstNumberThatIsFree)
{
    for (const char* const szName : {"log.1", "log.3"})
        m_directory.write(szName, szName);
    m_directory.write("log.4.gz", "log.4.gz");
    set("MaxFileSize", "1");
    set("MaxBackupIndex", "9");
    log("first");
    log("second");
    EXPECT_THAT(names(), ElementsAre("log", "log.1", "log.2", "log.3", "log.4.gz"));
    EXPECT_EQ("first\n", read("log.1"));
    EXPECT_EQ("log.1", read("log.2"));
    EXPECT_EQ("log.3", read("log.3"));
    log("third");
    EXPECT_THAT(names(), ElementsAre("log", "log.1", "log.2", "log.3", "log.4", "log.5.gz"));
}

TEST_F(AppenderToFile, CountsWhatWasInTheFileBefore)
{
    m_directory.write("log", "former\n");
    set("MaxFileSize", "10");
    log("line");
    EXPECT_EQ("former\n", read("log.1"));
    EXPECT_EQ("line\n", read());
}

TEST_F(AppenderToFile, RollsOverByRenaming)
{
    set("MaxFileSize", "1");
    log("first");
    const auto uiInode = [this](const char* in_szName)
    {
        struct stat status = {};
        stat(file(in_szName).c_str(), &status);
        return status.st_ino;
    };
    const ino_t uiFirst = uiInode("log");
    log("second");
    EXPECT_EQ(uiFirst, uiInode("log.1"));
    EXPECT_NE(uiFirst, uiInode("log"));
}

TEST_F(AppenderToFile, RollsOverWithTheFirstLineOfADay)
{
    set("Schedule", "DAILY");
    const auto evening = log4cplus::helpers::now() - std::chrono::hours(1);
    const auto nextDay = evening + std::chrono::hours(30);
    logAt(evening, "evening");
    logAt(nextDay, "next day");
    logAt(nextDay + std::chrono::milliseconds(1), "and later");
    std::array<char, 16> date{};
    const std::time_t seconds = log4cplus::helpers::to_time_t(log4cplus::helpers::now());
    std::strftime(date.data(), date.size(), "%Y-%m-%d", std::localtime(&seconds));
    EXPECT_THAT(names(), ElementsAre("log", StartsWith("log." + std::string(date.data()))));
    EXPECT_EQ("next day\nand later\n", read());
}

TEST_F(AppenderToFile, RollsOverWhatAnEarlierDayHasLeft)
{
    m_directory.write("log", "left\n");
    const auto day = localTime(2026, 11, 21, 15);
    const timespec time{log4cplus::helpers::to_time_t(day), 0};
    const timespec times[] = {time, time};
    ASSERT_EQ(0, utimensat(AT_FDCWD, file().c_str(), times, 0));
    set("Schedule", "DAILY");
    logAt(localTime(2026, 11, 23, 8), "line");
    EXPECT_THAT(names(), ElementsAre("log", "log.2026-11-21"));
    EXPECT_EQ("left\n", read("log.2026-11-21"));
    EXPECT_EQ("line\n", read());
}

TEST_F(AppenderToFile, NumbersTheBackupsOfADay)
{
    m_directory.write("log", "");
    set("Schedule", "DAILY");
    set("MaxFileSize", "1");
    set("MaxBackupIndex", "2");
    logAt(localTime(2126, 11, 22, 8), "of an earlier period");
    for (const char* const szLine : {"one", "two", "three", "four"})
        logAt(localTime(2126, 11, 23, 8), szLine);
    EXPECT_EQ("four\n", read());
    EXPECT_EQ("three\n", read("log.2126-11-23"));
    EXPECT_EQ("two\n", read("log.2126-11-23.1"));
    EXPECT_EQ("one\n", read("log.2126-11-23.2"));
}

TEST_F(AppenderToFile, ALineThatHasWaitedDoesNotRollBack)
{
    set("Schedule", "DAILY");
    logAt(localTime(2126, 11, 22, 8), "first");
    logAt(localTime(2126, 11, 23, 0), "new day");
    logAt(localTime(2126, 11, 23, 0) - std::chrono::seconds(1), "waited");
    logAt(localTime(2126, 11, 23, 1), "later");
    EXPECT_THAT(names(), ElementsAre("log", "log.2126-11-22"));
    EXPECT_EQ("new day\nwaited\nlater\n", read());
}

TEST_F(AppenderToFile, FollowsAClockThatIsSetBack)
{
    set("Schedule", "DAILY");
    logAt(localTime(2226, 1, 1, 8), "too late");
    logAt(localTime(2126, 11, 22, 8), "set back");
    logAt(localTime(2126, 11, 23, 8), "next day");
    EXPECT_EQ("next day\n", read());
    EXPECT_EQ("too late\nset back\n", read("log.2126-11-22"));
}

TEST_F(AppenderToFile, GoesOnIfItCannotRename)
{
    m_directory.write("log.1/content", "");
    set("MaxFileSize", "1");
    log("first");
    const std::string strErrors = errorsOf(
        [this]
        {
            log("second");
            std::this_thread::sleep_for(s_untilNoticed);
            log("third");
        });
    EXPECT_EQ("log4cplus:ERROR cannot roll over " + file() + ": cannot remove " + file("log.1") +
                  ": Is a directory; the file grows until this is possible. Give the directory and "
                  "the files in it to the user of this process\n",
              strErrors);
    EXPECT_EQ("first\nsecond\nthird\n", read());
    EXPECT_EQ(3, appender().getLineCount());

    std::filesystem::remove_all(file("log.1"));
    std::this_thread::sleep_for(s_untilNoticed);
    log("fourth");
    EXPECT_EQ("fourth\n", read());
    EXPECT_EQ("first\nsecond\nthird\n", read("log.1"));
}

TEST_F(AppenderToFile, DoesNotRenameAFileThatTookThePlaceOfItsOwn)
{
    set("MaxFileSize", "5");
    log("first");
    rename("log", "moved");
    m_directory.write("log", "of another program\n");
    log("second");
    EXPECT_EQ("first\n", read("moved"));
    EXPECT_EQ("of another program\nsecond\n", read());
    EXPECT_THAT(names(), ElementsAre("log", "moved"));
}

TEST_F(AppenderToFile, CompressesWhatRollsOver)
{
    set("MaxFileSize", "1");
    set("MaxBackupIndex", "2");
    set("Compress", "gzip");
    const std::string strLong(8000, 'x');
    log(strLong);
    std::filesystem::permissions(file(), std::filesystem::perms(0604));
    log("second");
    log("third");
    EXPECT_THAT(names(), ElementsAre("log", "log.1.gz", "log.2.gz"));
    EXPECT_EQ("third\n", read());
    const auto unzip = [this](const std::string& in_strName)
    {
        EXPECT_EQ(0, std::system(("gzip -dc " + file(in_strName) + " > " + file("text")).c_str()));
        return read("text");
    };
    EXPECT_EQ("second\n", unzip("log.1.gz"));
    EXPECT_EQ(strLong + "\n", unzip("log.2.gz"));
    EXPECT_EQ(std::filesystem::perms(0604),
              std::filesystem::status(file("log.2.gz")).permissions());
}

TEST_F(AppenderToFile, LeavesAFileAsItIsIfItCannotBeCompressed)
{
    m_directory.write("log.1.gz.part/content", "");
    set("MaxFileSize", "1");
    set("Compress", "gzip");
    const std::string strErrors = errorsOf(
        [this]
        {
            for (const char* const szLine : {"one", "two", "three"})
                log(szLine);
        });
    EXPECT_EQ("log4cplus:ERROR cannot compress " + file("log.1") +
                  ": Is a directory; it stays as it is\n",
              strErrors);
    EXPECT_EQ("two\n", read("log.1"));
    EXPECT_EQ("three\n", read());
}

// The path and the file.

TEST_P(AppenderOfEachKind, ReopensThePath)
{
    log("first");
    rename("log", "old");
    EXPECT_TRUE(Logger::reopenFiles());
    log("second");
    close();
    EXPECT_EQ("first\n", read("old"));
    EXPECT_EQ("second\n", read());
}

TEST_P(AppenderOfEachKind, KeepsTheOldFileIfThePathCannotBeOpened)
{
    const CapturedLog captured;
    log("first");
    rename("log", "old");
    std::filesystem::create_directory(file());
    EXPECT_FALSE(Logger::reopenFiles());
    EXPECT_THAT(captured.lines(),
                ElementsAre(errorLine("keswardin.infra.FileAppender",
                                      "cannot open " + file() +
                                          ": Is a directory. Name a file in it; lines still go to "
                                          "the file that was open before")));
    log("second");
    close();
    EXPECT_EQ("first\nsecond\n", read("old"));
}

TEST_F(AppenderToFile, ReopensNothingAfterItWasClosed)
{
    log("first");
    appender().close();
    std::filesystem::remove(file());
    EXPECT_TRUE(Logger::reopenFiles());
    EXPECT_THAT(names(), IsEmpty());
    std::filesystem::create_directory(file());
    EXPECT_TRUE(Logger::reopenFiles());
}

TEST_F(AppenderToFile, ReportsThatLinesAreLostIfNoFileIsOpen)
{
    const CapturedLog captured;
    std::filesystem::create_directory(file());
    errorsOfOpening();
    EXPECT_FALSE(Logger::reopenFiles());
    EXPECT_THAT(captured.lines(),
                ElementsAre(errorLine("keswardin.infra.FileAppender",
                                      "cannot open " + file() +
                                          ": Is a directory. Name a file in it; lines are lost "
                                          "until it can be opened")));
}

TEST_P(AppenderOfEachKind, NoticesThatTheFileWasMoved)
{
    log("first", WARN_LOG_LEVEL);
    rename("log", "old");
    log("second", WARN_LOG_LEVEL);
    std::this_thread::sleep_for(s_untilNoticed);
    log("third", WARN_LOG_LEVEL);
    EXPECT_EQ("first\nsecond\n", read("old"));
    EXPECT_EQ("third\n", read());
}

TEST_F(AppenderToFile, WritesTheBufferToTheNewFileIfTheOldOneWasDeleted)
{
    buffer();
    log("first");
    std::filesystem::remove(file());
    std::this_thread::sleep_for(s_untilNoticed);
    log("second", WARN_LOG_LEVEL);
    EXPECT_EQ("first\nsecond\n", read());
}

TEST_F(AppenderToFile, AsksForThePathAtMostOnceASecond)
{
    log("first");
    // A path that cannot be asked for would be reported.
    rename("log", "old");
    std::filesystem::create_directory(file());
    const std::string strErrors = errorsOf(
        [this]
        {
            for (int i = 0; i != 100; ++i)
                log("line");
        });
    EXPECT_EQ("", strErrors);
}

TEST_F(AppenderToFile, ReportsOnceThatAMovedFileCannotBeOpened)
{
    log("first");
    rename("log", "old");
    std::filesystem::create_directory(file());
    const std::string strErrors = errorsOf(
        [this]
        {
            for (const char* const szLine : {"second", "third"})
            {
                std::this_thread::sleep_for(s_untilNoticed);
                log(szLine);
            }
        });
    EXPECT_EQ("log4cplus:ERROR cannot open " + file() +
                  ": Is a directory. Name a file in it; lines still go to the file that was open "
                  "before\n",
              strErrors);
    EXPECT_EQ("first\nsecond\nthird\n", read("old"));
}

TEST_F(AppenderToFile, DoesNotWriteToAFileThatGotItsDescriptor)
{
    log("first");
    const std::vector<int> descriptors = descriptorsOf(file());
    ASSERT_THAT(descriptors, SizeIs(1));
    // As a program does that closes all descriptors to become a daemon, and opens others.
    const int iOther = ::open(m_directory.write("other", "").c_str(), O_WRONLY);
    ASSERT_EQ(descriptors[0], dup2(iOther, descriptors[0]));
    std::this_thread::sleep_for(s_untilNoticed);
    log("second");
    EXPECT_EQ("", read("other"));
    EXPECT_EQ("first\nsecond\n", read());
    // Nor is the descriptor closed, which belongs to the program.
    close();
    EXPECT_EQ(0, ::close(descriptors[0]));
    ::close(iOther);
}

TEST_F(AppenderToFile, LearnsThatItsFileWasCut)
{
    set("MaxFileSize", "10");
    log("12345678");
    ASSERT_EQ(0, truncate(file().c_str(), 0));
    std::this_thread::sleep_for(s_untilNoticed);
    log("second");
    EXPECT_EQ("second\n", read());
    EXPECT_THAT(names(), ElementsAre("log"));
}

TEST_F(AppenderToFile, WritesToAPipe)
{
    ASSERT_EQ(0, mkfifo(file().c_str(), 0600));
    const int iReader = ::open(file().c_str(), O_RDONLY | O_NONBLOCK);
    set("MaxFileSize", "1");
    set("Schedule", "MINUTELY");
    log("first");
    std::this_thread::sleep_for(s_untilNoticed);
    log("second");
    std::array<char, 64> text{};
    EXPECT_EQ(13, ::read(iReader, text.data(), text.size()));
    EXPECT_STREQ("first\nsecond\n", text.data());
    EXPECT_THAT(names(), ElementsAre("log"));
    ::close(iReader);
}

TEST_F(AppenderToFile, ANewFileHasTheMode0640WhateverTheUmask)
{
    for (const mode_t uiMask : {0, 077})
    {
        const mode_t uiFormer = umask(uiMask);
        open();
        umask(uiFormer);
        EXPECT_EQ(std::filesystem::perms(0640), std::filesystem::status(file()).permissions());
        std::filesystem::remove(file());
    }
}

TEST_F(AppenderToFile, TakesTheModeOfANewFileFromItsProperty)
{
    set("Mode", "0604");
    set("MaxFileSize", "1");
    log("first");
    log("second");
    for (const char* const szName : {"log", "log.1"})
        EXPECT_EQ(std::filesystem::perms(0604),
                  std::filesystem::status(file(szName)).permissions());
}

TEST_F(AppenderToFile, LeavesTheModeOfAnExistingFile)
{
    std::filesystem::permissions(m_directory.write("log", ""), std::filesystem::perms(0606));
    log("line");
    EXPECT_EQ(std::filesystem::perms(0606), std::filesystem::status(file()).permissions());
}

TEST_F(AppenderToFile, MakesDirectoriesIfAskedTo)
{
    set("File", file("one/two/log"));
    set("CreateDirs", "true");
    log("line");
    EXPECT_EQ("line\n", read("one/two/log"));
}

TEST_F(AppenderToFile, OpensItsFileAgainWithoutLoggingToItself)
{
    EXPECT_TRUE(Logger::configure(trieOf("log4cplus.rootLogger=TRACE, FILE\n"
                                         "log4cplus.appender.FILE=velmora::FileAppender\n"
                                         "log4cplus.appender.FILE.CreateDirs=true\n"
                                         "log4cplus.appender.FILE.File=" +
                                         file("log/log") + "\n")));
    std::filesystem::remove_all(file("log"));
    m_directory.write("log", "");
    std::this_thread::sleep_for(s_untilNoticed);
    const Logger logger("test");
    EXPECT_THAT(errorsOf([&] { VELMORA_LOG(logger, INFO_LOG_LEVEL, "first"); }),
                HasSubstr("cannot open " + file("log/log") + ": Not a directory"));
    std::filesystem::remove(file());
    std::this_thread::sleep_for(s_untilNoticed);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "second");
    EXPECT_EQ("INFO - second\n", read("log/log"));
    Logger::configureDefault();
}

TEST_F(AppenderToFile, RefusesASymbolicLinkOfAnotherUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give a link to another user";
    m_directory.write("target", "");
    ASSERT_EQ(0, symlink("target", file().c_str()));
    ASSERT_EQ(0, lchown(file().c_str(), 4711, 4711));
    EXPECT_EQ("log4cplus:ERROR cannot open " + file() + ": " + file() +
                  " is a symbolic link of the user with the number 4711. Only links of root and of "
                  "the user of this process are followed; remove the link or give it to one of "
                  "them; lines are lost until it can be opened\n",
              errorsOfOpening());
    log("line");
    EXPECT_EQ("", read("target"));
    EXPECT_EQ(1, appender().getLossCount());
    ASSERT_EQ(0, lchown(file().c_str(), geteuid(), 0));
    log("next");
    EXPECT_THAT(read("target"), EndsWith("\nnext\n"));
}

// Lines that cannot be written.

TEST_P(AppenderOfEachKind, CountsAndReportsLinesThatAFullDiskHasLost)
{
    const SmallDisk disk(m_directory.path());
    VELMORA_NEEDS_DISK(disk);
    const std::uint64_t uiLines = Logger::getLineCount();
    const std::uint64_t uiLosses = Logger::getLossCount();
    log("first", WARN_LOG_LEVEL);
    disk.fill();
    const std::string strLong(5000, 'x');
    const std::string strErrors = errorsOf(
        [&]
        {
            for (int i = 0; i != 3; ++i)
                log(strLong, WARN_LOG_LEVEL);
        });
    EXPECT_EQ("log4cplus:ERROR cannot write " + file() +
                  ": No space left on device; lines are lost until there is room\n",
              strErrors);
    EXPECT_EQ(uiLosses + 3, Logger::getLossCount());
    EXPECT_EQ(3, appender().getLossCount());
    disk.makeRoom();
    EXPECT_EQ("", errorsOf([&] { log("after", WARN_LOG_LEVEL); }));
    EXPECT_EQ(uiLines + 2, Logger::getLineCount());

    const std::vector<std::string> lines = linesOf(read());
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ("first", lines.front());
    EXPECT_THAT(lines[lines.size() - 2],
                MatchesRegex(
                    "3 line\\(s\\) lost since [0-9]+-[0-9]+-[0-9]+ [0-9:]+\\.[0-9]+ [+-][0-9]+ : " +
                    file() + ": No space left on device"));
    EXPECT_EQ("after", lines.back());

    // The next time, it is reported again.
    disk.fill();
    EXPECT_THAT(errorsOf(
                    [&]
                    {
                        for (int i = 0; i != 3; ++i)
                            log(strLong, WARN_LOG_LEVEL);
                    }),
                HasSubstr("No space left on device"));
}

TEST_F(AppenderToFile, TheReportOfLostLinesIsAnErrorOfItsLogger)
{
    const SmallDisk disk(m_directory.path());
    VELMORA_NEEDS_DISK(disk);
    set("layout.ConversionPattern", "%p %c - %m%n");
    log("first");
    disk.fill();
    for (int i = 0; i != 3; ++i)
        log(std::string(5000, 'x'));
    disk.makeRoom();
    log("after");
    EXPECT_THAT(read(), HasSubstr("\nERROR keswardin.infra.FileAppender - 3 line(s) lost since "));
}

TEST_F(AppenderToFile, CountsTheWholeLinesOfABufferThatIsWrittenInPart)
{
    const SmallDisk disk(m_directory.path());
    VELMORA_NEEDS_DISK(disk);
    buffer();
    set("BufferSize", "1MB");
    set("layout.MaxLength", "0");
    const std::string strLine(9999, 'x');
    for (int i = 0; i != 10; ++i)
        log(strLine);
    EXPECT_THAT(errorsOf([this] { log("flush", WARN_LOG_LEVEL); }),
                HasSubstr("No space left on device"));
    // 64 KiB have room for 6 of them and a part of the next one.
    EXPECT_EQ(6, appender().getLineCount());
    EXPECT_EQ(5, appender().getLossCount());
}

TEST_F(AppenderToFile, ReportsAReadOnlyDisk)
{
    const SmallDisk disk(m_directory.path());
    VELMORA_NEEDS_DISK(disk);
    m_directory.write("log", "");
    if (!disk.makeReadOnly())
        GTEST_SKIP() << "this process may not remount a file system";
    EXPECT_EQ("log4cplus:ERROR cannot open " + file() +
                  ": Read-only file system. Mount the file system for writing, or log to another "
                  "one; lines are lost until it can be opened\n",
              errorsOfOpening());
    log("line");
    EXPECT_EQ(1, appender().getLossCount());
}

TEST_P(AppenderOfEachKind, LosesLinesUntilTheFileCanBeOpened)
{
    set("File", file("missing/log"));
    EXPECT_EQ("log4cplus:ERROR cannot open " + file("missing/log") +
                  ": No such file or directory. Make the directory, or set CreateDirs=true; lines "
                  "are lost until it can be opened\n",
              errorsOfOpening());
    EXPECT_EQ("", errorsOf(
                      [this]
                      {
                          log("first", WARN_LOG_LEVEL);
                          log("second", WARN_LOG_LEVEL);
                      }));
    EXPECT_EQ(2, appender().getLossCount());
    EXPECT_EQ(0, appender().getLineCount());
    std::filesystem::create_directory(file("missing"));
    log("third", WARN_LOG_LEVEL);
    EXPECT_THAT(linesOf(read("missing/log")),
                ElementsAre(MatchesRegex("2 line\\(s\\) lost since .* : " + file("missing/log") +
                                         ": No such file or directory"),
                            "third"));
    EXPECT_EQ(2, appender().getLossCount());
    EXPECT_EQ(1, appender().getLineCount());
}

TEST_F(AppenderToFile, AChildDoesNotReportTheLossesOfItsParent)
{
    set("File", file("missing/log"));
    errorsOfOpening();
    log("lost");
    std::filesystem::create_directory(file("missing"));
    EXPECT_EQ(0, exitCodeOfChild([this] { log("of the child"); }));
    log("of the parent");
    EXPECT_THAT(linesOf(read("missing/log")),
                ElementsAre("of the child", StartsWith("1 line(s) lost since "), "of the parent"));
}

TEST_F(AppenderToFile, ALineThatItsLayoutCannotFormatIsLost)
{
    appender().setLayout(std::make_unique<CallbackLayout>(
        [](log4cplus::tostream& out_stream, const InternalLoggingEvent& in_event)
        {
            if (in_event.getMessage() == "bad")
                throw std::runtime_error("no such line");
            out_stream << in_event.getMessage() << '\n';
        }));
    EXPECT_THROW(log("bad"), std::runtime_error);
    EXPECT_EQ(1, appender().getLossCount());
    log("good");
    EXPECT_THAT(
        linesOf(read()),
        ElementsAre(MatchesRegex("1 line\\(s\\) lost since .* : their text could not be made"),
                    "good"));
}

TEST_F(AppenderToFile, ALayoutMayLogToTheSameAppender)
{
    appender().setLayout(std::make_unique<CallbackLayout>(
        [this](log4cplus::tostream& out_stream, const InternalLoggingEvent& in_event)
        {
            if (in_event.getMessage() == "outer")
                log("inner");
            out_stream << in_event.getMessage() << '\n';
        }));
    log("outer");
    EXPECT_EQ("inner\nouter\n", read());
}

TEST_F(AppenderToFile, NoAllocationThatFailsLosesALineWithoutCountingIt)
{
    buffer();
    set("BufferSize", "100");
    set("MaxFileSize", "200");
    open();
    const InternalLoggingEvent event = eventOf(std::string(60, 'x'));
    int iLines = 0;
    EXPECT_GT(failAtEachAllocation(
                  [&]
                  {
                      ++iLines;
                      try
                      {
                          appender().doAppend(event);
                      }
                      catch (const std::bad_alloc&) // NOLINT(bugprone-empty-catch): it is counted.
                      {
                      }
                  },
                  [this]
                  {
                      // Each time with new memory.
                      close();
                      open();
                  }),
              5);
    close();
    EXPECT_EQ(iLines, Logger::getLineCount() + Logger::getLossCount());
    EXPECT_GT(Logger::getLossCount(), 0);
}

// Properties.

TEST_F(AppenderToFile, NeedsAFile)
{
    m_properties.removeProperty("File");
    EXPECT_EQ("log4cplus:ERROR cannot open a file without a name. Set \"File\" to its path; lines "
              "are lost until it can be opened\n",
              errorsOfOpening());
    log("line");
    EXPECT_EQ(1, appender().getLossCount());
}

struct WrongProperty
{
    const char* szName;
    const char* szValue;
    const char* szExpected;
};

class AppenderWithWrongProperty : public AppenderToFile,
                                  public testing::WithParamInterface<WrongProperty>
{
};
INSTANTIATE_TEST_SUITE_P(
    , AppenderWithWrongProperty,
    testing::Values(
        WrongProperty{"Append", "maybe", "\"true\" or \"false\""},
        WrongProperty{"ImmediateFlush", "", "\"true\" or \"false\""},
        WrongProperty{"CreateDirs", "2x", "\"true\" or \"false\""},
        WrongProperty{"BufferSize", "65MB",
                      "a number of bytes up to 64MB, or one with a unit, such as 500KB or 10MB"},
        WrongProperty{"BufferSize", "MB",
                      "a number of bytes up to 64MB, or one with a unit, such as 500KB or 10MB"},
        WrongProperty{"MaxFileSize", "-1",
                      "a number of bytes, or one with a unit, such as 500KB or 10MB"},
        WrongProperty{"MaxFileSize", "10TB",
                      "a number of bytes, or one with a unit, such as 500KB or 10MB"},
        WrongProperty{"MaxFileSize", "99999999999GB",
                      "a number of bytes, or one with a unit, such as 500KB or 10MB"},
        WrongProperty{"FlushInterval", "-1", "a number of seconds"},
        WrongProperty{"Schedule", "YEARLY",
                      "MONTHLY, WEEKLY, DAILY, TWICE_DAILY, HOURLY or MINUTELY"},
        WrongProperty{"MaxBackupIndex", "0", "a number of files, at least 1"},
        WrongProperty{"MaxBackupIndex", "many", "a number of files, at least 1"},
        WrongProperty{"Compress", "zip", "\"gzip\", or leave it out"},
        WrongProperty{"Mode", "0888", "the permissions of the file in octal, from 0600 to 0777"},
        WrongProperty{"Mode", "4755", "the permissions of the file in octal, from 0600 to 0777"}));

TEST_P(AppenderWithWrongProperty, ReportsItAndUsesTheDefault)
{
    const WrongProperty& property = GetParam();
    set(property.szName, property.szValue);
    EXPECT_EQ("log4cplus:ERROR velmora::FileAppender: \"" + std::string(property.szName) +
                  "\" is \"" + property.szValue + "\"; write " + property.szExpected + "\n",
              errorsOfOpening());
    log("line");
    EXPECT_EQ("line\n", read());
    EXPECT_EQ(std::filesystem::perms(0640), std::filesystem::status(file()).permissions());
}

TEST_F(AppenderToFile, ReportsAWrongFlushLevel)
{
    set("FlushLevel", "LOUD");
    EXPECT_THAT(errorsOfOpening(), HasSubstr("log4cplus:ERROR velmora::FileAppender: "
                                             "\"FlushLevel\" is \"LOUD\"; write a level, such as "
                                             "WARN\n"));
}

TEST_F(AppenderToFile, WarnsOfAPropertyThatItDoesNotHave)
{
    set("MaxFileSise", "10MB");
    EXPECT_THAT(errorsOfOpening(),
                StartsWith("log4cplus:WARN velmora::FileAppender: \"MaxFileSise\" is no property "
                           "of it and has no effect; look for a wrong letter, or remove it. The "
                           "properties are File, Append, "));
}

TEST_F(AppenderToFile, TakesAllOfItsPropertiesWithoutAReport)
{
    for (const auto& [szName, szValue] :
         std::vector<std::pair<const char*, const char*>>{{"Append", "true"},
                                                          {"ImmediateFlush", "0"},
                                                          {"BufferSize", "4096"},
                                                          {"FlushLevel", "ERROR"},
                                                          {"FlushInterval", "5"},
                                                          {"MaxFileSize", "10 mb"},
                                                          {"Schedule", "twice_daily"},
                                                          {"MaxBackupIndex", "7"},
                                                          {"Compress", "gzip"},
                                                          {"Mode", "600"},
                                                          {"CreateDirs", "true"},
                                                          {"Threshold", "DEBUG"},
                                                          {"UseLockFile", "false"}})
        set(szName, szValue);
    EXPECT_EQ("", errorsOfOpening());
    log("line", ERROR_LOG_LEVEL);
    EXPECT_EQ("line\n", read());
}

// As a configuration names it.

namespace
{

std::string configurationOf(const std::string& in_strFile, const std::string& in_strMore = "")
{
    return "log4cplus.rootLogger=DEBUG, FILE\n"
           "log4cplus.appender.FILE=velmora::FileAppender\n"
           "log4cplus.appender.FILE.File=" +
           in_strFile +
           "\n"
           "log4cplus.appender.FILE.layout=velmora::PatternLayout\n"
           "log4cplus.appender.FILE.layout.ConversionPattern=%m%n\n" +
           in_strMore;
}

} // namespace

TEST_F(AppenderToFile, IsNamedInAConfiguration)
{
    EXPECT_EQ(
        "", errorsOf([this] { EXPECT_TRUE(Logger::configure(trieOf(configurationOf(file())))); }));
    const Logger logger("test");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "first " << 1);
    EXPECT_TRUE(Logger::configure(trieOf(configurationOf(file()))));
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "second");
    EXPECT_EQ("first 1\nsecond\n", read());
    Logger::configureDefault();
}

TEST_F(AppenderToFile, TakesTheModeFromAConfigurationWithAndWithoutItsZero)
{
    for (const char* const szMode : {"0600", "0640", "0777", "600", "640", "777"})
    {
        EXPECT_EQ("", errorsOf(
                          [&]
                          {
                              EXPECT_TRUE(Logger::configure(trieOf(configurationOf(
                                  file(), std::string("log4cplus.appender.FILE.Mode=") + szMode))));
                          }));
        EXPECT_EQ(std::filesystem::perms(std::stoi(szMode, nullptr, 8)),
                  std::filesystem::status(file()).permissions());
        EXPECT_EQ("", read());
        std::filesystem::remove(file());
    }
    Logger::configureDefault();
}

TEST_F(AppenderToFile, WhatIsWrongInAConfigurationIsReportedOnceAndHasNoEffect)
{
    EXPECT_EQ("", errorsOf(
                      [this]
                      {
                          EXPECT_TRUE(Logger::configure(
                              trieOf(configurationOf(file(), "log4cplus.appender.FILE.Mod=rw\n"
                                                             "log4cplus.appender.FILE.Mode=rw\n"
                                                             "log4cplus.appender.FILE.layout."
                                                             "MaxLength=long\n"))));
                      }));
    EXPECT_EQ("log4cplus.appender.FILE.Mod = rw has no effect: velmora::FileAppender has no "
              "property \"Mod\"; write log4cplus.appender.FILE.Mode\n"
              "log4cplus.appender.FILE.Mode = rw is not valid; write the permissions of the file "
              "in octal, from 0600 to 0777\n"
              "log4cplus.appender.FILE.layout.MaxLength = long is not valid; write a number of "
              "bytes, or 0 for no limit\n",
              read());
    EXPECT_EQ(std::filesystem::perms(0640), std::filesystem::status(file()).permissions());
    Logger::configureDefault();
}

TEST_F(AppenderToFile, AConfigurationHoldsIfTheFileCannotBeOpened)
{
    std::string strErrors = errorsOf(
        [this] { EXPECT_TRUE(Logger::configure(trieOf(configurationOf(file("missing/log"))))); });
    EXPECT_THAT(strErrors,
                HasSubstr("cannot open " + file("missing/log") + ": No such file or directory"));
    const std::uint64_t uiBefore = Logger::getLossCount();
    VELMORA_LOG(Logger("test"), INFO_LOG_LEVEL, "lost");
    EXPECT_EQ(uiBefore + 1, Logger::getLossCount());
    Logger::configureDefault();
}

TEST_F(AppenderToFile, ANewConfigurationEmptiesTheFileAfterTheFormerOneHasWrittenItsBuffer)
{
    const std::string strEmptied = "log4cplus.appender.FILE.Append=false\n"
                                   "log4cplus.appender.FILE.ImmediateFlush=false\n";
    EXPECT_TRUE(Logger::configure(trieOf(configurationOf(file(), strEmptied))));
    const Logger logger("test");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "former");
    EXPECT_TRUE(Logger::configure(trieOf(configurationOf(file(), strEmptied))));
    VELMORA_LOG(logger, WARN_LOG_LEVEL, "new");
    EXPECT_EQ("new\n", read());
    Logger::configureDefault();
}

TEST_F(AppenderToFile, NothingIsLostWhileThreadsLogAndTheSameFileIsConfiguredAgain)
{
    const std::string strConfiguration =
        configurationOf(file(), "log4cplus.appender.FILE.ImmediateFlush=false\n"
                                "log4cplus.appender.FILE.MaxFileSize=20KB\n"
                                "log4cplus.appender.FILE.MaxBackupIndex=1000\n");
    EXPECT_TRUE(Logger::configure(trieOf(strConfiguration)));
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread != 2; ++iThread)
        threads.emplace_back(
            [iThread]
            {
                const Logger logger("test");
                for (int i = 0; i != 2000; ++i)
                    VELMORA_LOG(logger, INFO_LOG_LEVEL, iThread << ' ' << i);
            });
    for (int i = 0; i != 20; ++i)
        EXPECT_TRUE(Logger::configure(trieOf(strConfiguration)));
    for (std::thread& thread : threads)
        thread.join();
    Logger::configureDefault();
    std::multiset<std::string> lines;
    for (const std::string& strName : names())
        for (const std::string& strLine : linesOf(read(strName)))
            lines.insert(strLine);
    EXPECT_THAT(lines, SizeIs(4000));
    EXPECT_THAT(std::set<std::string>(lines.begin(), lines.end()), SizeIs(4000));
}

} // namespace Velmora::Test

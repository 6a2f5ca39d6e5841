// SPDX-License-Identifier: BSD-2-Clause

// How the file of a call is opened, written and closed. The program defines the functions of the C
// library by which that is done, to count the calls and to make writes fail.

#include "velmora/Sanitizers.h"
#include "velmora/logging/FileCallAppender.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Files.h"
#include "tests/support/Lines.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/spi/loggingevent.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// Decides a write: returns the number of bytes that may be written, or a negated error.
using Decision = std::function<long(std::size_t in_uiSize)>;

/// The writes that this thread has made to descriptors other than standard output and error.
thread_local int s_iWrites = 0;
thread_local Decision* s_pDecision = nullptr;
/// The number of streams of the C library that this thread has opened and not closed.
thread_local int s_iOpenStreams = 0;

template <class Function>
Function* realFunction(Function* /*in_pOwn*/, const char* in_szName)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, in_szName));
}

/// Counts a write, and returns what the decision allows.
long decide(int in_iDescriptor, std::size_t in_uiSize)
{
    if (in_iDescriptor <= STDERR_FILENO)
        return static_cast<long>(in_uiSize);
    ++s_iWrites;
    return s_pDecision == nullptr ? static_cast<long>(in_uiSize) : (*s_pDecision)(in_uiSize);
}

} // namespace

} // namespace Velmora::Test

#define VELMORA_REAL(function) Velmora::Test::realFunction(&(function), #function)

extern "C"
{

    [[gnu::visibility("default")]] ssize_t write(int in_iDescriptor, const void* in_pData,
                                                 std::size_t in_uiSize)
    {
        static auto* const s_pReal = VELMORA_REAL(write);
        const long iAllowed = Velmora::Test::decide(in_iDescriptor, in_uiSize);
        if (iAllowed >= 0)
            return s_pReal(in_iDescriptor, in_pData, static_cast<std::size_t>(iAllowed));
        errno = static_cast<int>(-iAllowed);
        return -1;
    }

    [[gnu::visibility("default")]] ssize_t writev(int in_iDescriptor, const iovec* in_pParts,
                                                  int in_iParts)
    {
        std::string strAll;
        for (int iPart = 0; iPart < in_iParts; ++iPart)
            strAll.append(static_cast<const char*>(in_pParts[iPart].iov_base),
                          in_pParts[iPart].iov_len);
        return write(in_iDescriptor, strAll.data(), strAll.size());
    }

    [[gnu::visibility("default")]] FILE* fopen(const char* in_szPath, const char* in_szMode)
    {
        static auto* const s_pReal = VELMORA_REAL(fopen);
        FILE* const pStream = s_pReal(in_szPath, in_szMode);
        if (pStream != nullptr)
            ++Velmora::Test::s_iOpenStreams;
        return pStream;
    }

    [[gnu::visibility("default")]] FILE* fopen64(const char* in_szPath, const char* in_szMode)
    {
        return fopen(in_szPath, in_szMode);
    }

    [[gnu::visibility("default")]] int fclose(FILE* in_pStream)
    {
        static auto* const s_pReal = VELMORA_REAL(fclose);
        --Velmora::Test::s_iOpenStreams;
        return s_pReal(in_pStream);
    }
}

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/// Opens and closes one file of a call with a text in each line. A failed write makes log4cplus
/// open the file again at the next line.
class StreamOfCall : public testing::Test
{
  protected:
    StreamOfCall()
    {
        m_properties.setProperty("File", m_directory.file("call"));
        m_properties.setProperty("layout", "log4cplus::PatternLayout");
        m_properties.setProperty("layout.ConversionPattern", "%m%n");
        m_properties.setProperty("ReopenDelay", "0");
    }
    ~StreamOfCall() override { s_pDecision = nullptr; }

    void open()
    {
        m_pAppender =
            log4cplus::SharedAppenderPtr(new FileCallAppender(m_properties, std::ios_base::trunc));
    }
    void close() { m_pAppender = log4cplus::SharedAppenderPtr(); }
    void log(const std::string& in_strText)
    {
        m_pAppender->doAppend(
            log4cplus::spi::InternalLoggingEvent("test", INFO_LOG_LEVEL, in_strText, nullptr, -1));
    }

    /// Makes a function decide this thread's writes to files.
    void decideWrites(Decision in_decision)
    {
        m_decision = std::move(in_decision);
        s_pDecision = m_decision ? &m_decision : nullptr;
    }

    /// Makes the next writes return these results, and the later ones succeed.
    void letWrites(std::vector<long> in_results)
    {
        std::reverse(in_results.begin(), in_results.end());
        decideWrites(
            [in_results](std::size_t in_uiSize) mutable
            {
                if (in_results.empty())
                    return static_cast<long>(in_uiSize);
                const long iResult = in_results.back();
                in_results.pop_back();
                return iResult;
            });
    }

    /// Returns the descriptors on which the file is open.
    [[nodiscard]] std::vector<int> descriptors() const
    {
        return descriptorsOpenOn(m_directory.file("call"));
    }

    [[nodiscard]] std::vector<std::string> lines() const
    {
        return linesOf(m_directory.read("call"));
    }

    /// Logs two lines while writes have these results. Expects that both are in the file, once, and
    /// one report.
    void expectBothLinesAfter(const std::vector<long>& in_results)
    {
        open();
        testing::internal::CaptureStderr();
        letWrites(in_results);
        log("first");
        log("second");
        close();
        EXPECT_EQ(report("No space left on device"), testing::internal::GetCapturedStderr());
        EXPECT_THAT(lines(), testing::ElementsAre(testing::StartsWith("Call start : "), "first",
                                                  "second", testing::StartsWith("Call end : ")));
    }

    /// Returns what log4cplus reports when a file cannot be written.
    [[nodiscard]] std::string report(const std::string& in_strReason) const
    {
        const std::string strFile = m_directory.file("call");
        return "log4cplus:ERROR Unable to write file: " + strFile +
               "\nlog4cplus:ERROR cannot write " + strFile + ": " + in_strReason + "\n";
    }

    TemporaryDirectory m_directory;
    CapturedLog m_log;
    log4cplus::helpers::Properties m_properties;
    log4cplus::SharedAppenderPtr m_pAppender;
    Decision m_decision;
};

} // namespace

TEST_F(StreamOfCall, LeavesNoStreamOfTheCLibraryOpen)
{
    open();
    log("text");

    EXPECT_EQ(0, s_iOpenStreams);
    EXPECT_THAT(descriptors(), SizeIs(1));
    close();
    EXPECT_EQ(0, s_iOpenStreams);
    EXPECT_THAT(descriptors(), IsEmpty());
}

TEST_F(StreamOfCall, LeavesNoStreamOfTheCLibraryOpenWhenTheFileIsOpenedAgain)
{
    open();
    testing::internal::CaptureStderr();
    letWrites({-EIO});
    log("first");
    log("second");
    testing::internal::GetCapturedStderr();

    EXPECT_EQ(0, s_iOpenStreams);
    ASSERT_THAT(descriptors(), SizeIs(1));
    EXPECT_NE(0, fcntl(descriptors().front(), F_GETFD) & FD_CLOEXEC);
    EXPECT_NE(0, fcntl(descriptors().front(), F_GETFL) & O_APPEND);
}

TEST_F(StreamOfCall, HasADescriptorThatIsNotInheritedAndFlagsOfAFileStream)
{
    open();
    const std::ofstream peer(m_directory.file("peer"));

    ASSERT_THAT(descriptors(), SizeIs(1));
    EXPECT_EQ(FD_CLOEXEC, fcntl(descriptors().front(), F_GETFD));
    EXPECT_EQ(fcntl(descriptorsOpenOn(m_directory.file("peer")).front(), F_GETFL),
              fcntl(descriptors().front(), F_GETFL));
    struct stat status = {};
    struct stat statusOfPeer = {};
    ASSERT_EQ(0, stat(m_directory.file("call").c_str(), &status));
    ASSERT_EQ(0, stat(m_directory.file("peer").c_str(), &statusOfPeer));
    EXPECT_EQ(statusOfPeer.st_mode, status.st_mode);
}

TEST_F(StreamOfCall, BeginsWithAnEmptyFile)
{
    m_directory.write("call", "of an earlier call\n");
    open();
    close();

    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, WritesEachLineByOneCall)
{
    open();
    EXPECT_EQ(1, s_iWrites);
    log("first");
    log("second");
    EXPECT_EQ(3, s_iWrites);
    close();
    EXPECT_EQ(4, s_iWrites);
}

TEST_F(StreamOfCall, WritesBufferedLinesByOneCallWhenItIsClosed)
{
    m_properties.setProperty("ImmediateFlush", "false");
    open();
    for (int iLine = 0; iLine < 10; ++iLine)
        log("line");
    EXPECT_EQ(0, s_iWrites);
    close();

    EXPECT_EQ(1, s_iWrites);
    EXPECT_THAT(lines(), SizeIs(12));
}

TEST_F(StreamOfCall, KeepsTheOrderOfBufferedLinesAndOfOneThatIsLongerThanTheBuffer)
{
    const std::string strLong(3 * BUFSIZ, 'l');
    m_properties.setProperty("ImmediateFlush", "false");
    open();
    log("before");
    log(strLong);
    EXPECT_EQ(1, s_iWrites);
    log("behind");
    close();

    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), "before", strLong, "behind",
                                     StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, WritesTheBufferWhenItIsFull)
{
    const std::string strLine(99, 'l');
    m_properties.setProperty("ImmediateFlush", "false");
    open();
    while (s_iWrites == 0)
        log(strLine);

    EXPECT_GT(m_directory.read("call").size(), BUFSIZ - 100);
    close();
    EXPECT_EQ(2, s_iWrites);
    for (const std::string& strFound : lines())
        EXPECT_THAT(strFound, testing::AnyOf(strLine, StartsWith("Call ")));
}

TEST_F(StreamOfCall, HasABufferOfTheSizeThatTheConfigurationSets)
{
    m_properties.setProperty("ImmediateFlush", "false");
    m_properties.setProperty("BufferSize", "64");
    open();
    std::size_t uiMost = 0;
    decideWrites(
        [&uiMost](std::size_t in_uiSize)
        {
            uiMost = std::max(uiMost, in_uiSize);
            return static_cast<long>(in_uiSize);
        });
    for (int iLine = 0; iLine < 100; ++iLine)
        log("0123456789");
    close();

    EXPECT_LE(uiMost, 64U + 10U);
    EXPECT_GT(s_iWrites, 10);
    EXPECT_THAT(lines(), SizeIs(102));
    for (const std::string& strLine : lines())
        EXPECT_THAT(strLine, testing::AnyOf("0123456789", StartsWith("Call ")));
}

TEST_F(StreamOfCall, GoesOnAfterAnInterruptedAndAShortWrite)
{
    open();
    testing::internal::CaptureStderr();
    letWrites({-EINTR, 3, -EINTR, 1});
    log("a line in pieces");
    log("next");
    letWrites({2, 3});
    log(std::string(2 * BUFSIZ, 'l'));
    close();

    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), "a line in pieces", "next",
                                     std::string(2 * BUFSIZ, 'l'), StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, WritesALineThatFailedWhenTheFileIsOpenedAgain)
{
    expectBothLinesAfter({-ENOSPC});
}

TEST_F(StreamOfCall, RepeatsNothingOfALineThatWasWrittenInPart)
{
    expectBothLinesAfter({2, -ENOSPC});
}

TEST_F(StreamOfCall, LosesOnlyTheLineThatFailsTwice)
{
    open();
    const std::uint64_t ulBefore = FileCallAppender::getFailureCount();
    testing::internal::CaptureStderr();
    letWrites({-ENOSPC, -ENOSPC});
    log("first");
    log("second");
    close();

    EXPECT_EQ(ulBefore + 1, FileCallAppender::getFailureCount());
    EXPECT_EQ(report("No space left on device"), testing::internal::GetCapturedStderr());
    EXPECT_THAT(lines(),
                ElementsAre(StartsWith("Call start : "), "second", StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, IsOpenedAgainByTheDescriptorThatItHadIfNoOtherIsLeft)
{
#if VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "the sanitizer looks at memory through pipes of its own";
#endif
    testing::internal::CaptureStderr();
    open();
    // The number that the stream of the C library had is below that of the file and must be taken.
    const int iTaken = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        letWrites({-EIO});
        log("first");
        log("second");
    }
    ::close(iTaken);
    close();

    EXPECT_EQ(report("Input/output error"), testing::internal::GetCapturedStderr());
    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), "first", "second",
                                     StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, IsNotOpenedAgainBeforeTheReopenDelayIsOver)
{
    m_properties.setProperty("ReopenDelay", "3600");
    open();
    testing::internal::CaptureStderr();
    letWrites({-EIO});
    log("first");
    log("second");
    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : ")));
    close();

    EXPECT_EQ(report("Input/output error"), testing::internal::GetCapturedStderr());
    // What is in the buffer is written when the file is closed.
    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), "first"));
}

TEST_F(StreamOfCall, ReportsBufferedLinesThatCannotBeWrittenAtTheEnd)
{
    m_properties.setProperty("ImmediateFlush", "false");
    open();
    log("line");
    testing::internal::CaptureStderr();
    letWrites({-EDQUOT});
    close();

    EXPECT_EQ(report("Disk quota exceeded"), testing::internal::GetCapturedStderr());
    EXPECT_THAT(descriptors(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StreamOfCall, GoesOnAtTheEndOfAFileThatIsLockedForEachLine)
{
    m_properties.setProperty("UseLockFile", "true");
    open();
    log("first");
    std::ofstream(m_directory.file("call"), std::ios_base::app) << "of another process\n";
    log("second");
    close();

    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), "first", "of another process",
                                     "second", StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, WritesThroughTheCLibraryWithoutADescriptorOfItsOwn)
{
#if VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "the sanitizer looks at memory through pipes of its own";
#endif
    // The lowest free descriptor, which the C library gets.
    const int iLast = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(iLast);
    {
        const DescriptorLimit limit(static_cast<rlim_t>(iLast) + 1);
        ASSERT_TRUE(limit.isSet());
        open();
    }
    log("text");
    EXPECT_EQ(1, s_iOpenStreams);
    close();

    EXPECT_EQ(0, s_iOpenStreams);
    EXPECT_THAT(lines(),
                ElementsAre(StartsWith("Call start : "), "text", StartsWith("Call end : ")));
}

TEST_F(StreamOfCall, WritesThroughTheCLibraryWithoutMemoryForTheBuffer)
{
    // Each allocation fails once. Where the object can be made without it, the file is used.
    int iThroughLibrary = 0;
    testing::internal::CaptureStderr();
    const auto make = [&]
    {
        try
        {
            log4cplus::SharedAppenderPtr pAppender(
                new FileCallAppender(m_properties, std::ios_base::trunc));
            AllocationFailure::end();
            iThroughLibrary += s_iOpenStreams;
            m_pAppender = pAppender;
            pAppender = log4cplus::SharedAppenderPtr();
            log("text");
            close();
            EXPECT_THAT(lines(), testing::Contains("text"));
        }
        catch (const std::exception&)
        {
            AllocationFailure::end();
        }
        EXPECT_EQ(0, s_iOpenStreams);
        EXPECT_THAT(descriptors(), IsEmpty());
    };
    failAtEachAllocation(make, [] {}, {AllocationFailure::Lasts::ONCE});
    testing::internal::GetCapturedStderr();

    EXPECT_EQ(1, iThroughLibrary);
}

TEST_F(StreamOfCall, IsCompleteAndClosedOnceAnotherOwnerHasClosedIt)
{
    m_properties.setProperty("ImmediateFlush", "false");
    open();
    log("text");
    m_pAppender->close();

    EXPECT_THAT(lines(), ElementsAre(StartsWith("Call start : "), "text"));
    EXPECT_THAT(descriptors(), IsEmpty());
    testing::internal::CaptureStderr();
    log("late");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("Attempted to append to closed appender"));
    EXPECT_THAT(lines(), SizeIs(2));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGate.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/HierarchyLocks.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>

namespace Velmora::Test
{

namespace
{

constexpr const char* s_szOld = "old";
constexpr const char* s_szNew = "new";

/// Returns a configuration with one appender and its file, both of the given name.
ParameterTrie configurationOf(const TemporaryDirectory& in_directory, const std::string& in_strName)
{
    return trieOf("log4cplus.rootLogger=INFO, " + in_strName + "\n" +
                  "log4cplus.logger.some.child=DEBUG\n" + "log4cplus.appender." + in_strName +
                  "=log4cplus::FileAppender\n" + "log4cplus.appender." + in_strName +
                  ".Append=true\n" + "log4cplus.appender." + in_strName +
                  ".layout=log4cplus::SimpleLayout\n" + "log4cplus.appender." + in_strName +
                  ".File=" + in_directory.file(in_strName) + "\n");
}

/// Returns how often a text contains another one.
int countOf(const std::string& in_strText, const std::string& in_strPart)
{
    int iCount = 0;
    for (std::size_t uiPlace = in_strText.find(in_strPart); uiPlace != std::string::npos;
         uiPlace = in_strText.find(in_strPart, uiPlace + 1))
        ++iCount;
    return iCount;
}

/// Returns whether no thread has left a list of appenders locked.
bool areAllListsFree()
{
    bool bFree = false;
    // On another thread, since the mutexes are recursive.
    std::thread(
        [&bFree]
        {
            HierarchyLocks locks(log4cplus::Logger::getDefaultHierarchy());
            bFree = locks.lockAll(HierarchyLocks::Clock::time_point());
        })
        .join();
    return bFree;
}

} // namespace

TEST(LoggerConfigurationMemory, AWholeConfigurationIsInEffectAfterEachFailure)
{
    const TemporaryDirectory directory;
    const ParameterTrie oldTrie = configurationOf(directory, s_szOld);
    const ParameterTrie newTrie = configurationOf(directory, s_szNew);
    // The first configuration fills tables that stay; their allocations are not to fail here.
    ASSERT_TRUE(Logger::configure(newTrie));
    ASSERT_TRUE(Logger::configure(oldTrie));

    // log4cplus ends the process if an appender is destroyed while allocations fail. So the test
    // keeps the appenders alive until there is memory again.
    const auto appendersInEffect = [] { return log4cplus::Logger::getRoot().getAllAppenders(); };
    log4cplus::SharedAppenderPtrList kept = appendersInEffect();
    bool bConfigured = false;
    int iRound = 0;
    std::string strErrors;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const int iFailures = failAtEachAllocation(
        [&]
        {
            std::ostringstream errors;
            EXPECT_NO_THROW(bConfigured = Logger::configure(newTrie, errors));
            AllocationFailure::end();
            strErrors = errors.str();
        },
        [&]
        {
            const std::string strLine = "line " + std::to_string(++iRound) + " of rounds";
            VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, strLine);
            VELMORA_LOG(Logger("some.child"), DEBUG_LOG_LEVEL, strLine << " of child");
            const std::string strLogged = directory.read(s_szOld) + directory.read(s_szNew) +
                                          testing::internal::GetCapturedStdout();
            testing::internal::CaptureStdout();
            EXPECT_EQ(2, countOf(strLogged, strLine)) << "failure " << iRound << strErrors;
            EXPECT_TRUE(bConfigured || !strErrors.empty() || AllocationFailure::hasFailed());
            EXPECT_TRUE(areAllListsFree()) << "failure " << iRound;
            EXPECT_TRUE(Logger::configure(oldTrie));
            kept = appendersInEffect();
        },
        {AllocationFailure::Lasts::ONCE});
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(bConfigured);
    EXPECT_LT(50, iFailures);
    Logger::configureDefault();
}

TEST(LoggerConfigurationMemory, ARefusalIsReportedAndLeavesNoListLockedAfterAnyFailure)
{
    for (const char* const szParent : {"keswardin", "keswardin.infra"})
        log4cplus::Logger::getInstance(szParent);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const int iFailures = failAtEachAllocation(
        []
        {
            const ProcessGate::Pass pass;
            EXPECT_FALSE(Logger::configureDefault());
        },
        []
        {
            const std::string strOutput =
                testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
            testing::internal::CaptureStderr();
            testing::internal::CaptureStdout();
            EXPECT_THAT(strOutput, testing::HasSubstr("failed to configure Logger, "));
            EXPECT_TRUE(areAllListsFree());
        });
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_LT(2, iFailures);
}

} // namespace Velmora::Test

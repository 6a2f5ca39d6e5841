#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace Velmora::Test
{

namespace
{

constexpr const char* s_szOld = "old";
constexpr const char* s_szNew = "new";

/// A configuration with a file of that name, which has a line for each line of the log.
ParameterTrie configurationOf(const TemporaryDirectory& in_directory, const std::string& in_strName)
{
    return trieOf("log4cplus.rootLogger=INFO, " + in_strName + "\n" +
                  "log4cplus.logger.some.child=DEBUG\n" + "log4cplus.appender." + in_strName +
                  "=log4cplus::FileAppender\n" + "log4cplus.appender." + in_strName +
                  ".Append=true\n" + "log4cplus.appender." + in_strName +
                  ".layout=log4cplus::SimpleLayout\n" + "log4cplus.appender." + in_strName +
                  ".File=" + in_directory.file(in_strName) + "\n");
}

/// How often a text stands in another.
int countOf(const std::string& in_strText, const std::string& in_strPart)
{
    int iCount = 0;
    for (std::size_t uiPlace = in_strText.find(in_strPart); uiPlace != std::string::npos;
         uiPlace = in_strText.find(in_strPart, uiPlace + 1))
        ++iCount;
    return iCount;
}

} // namespace

TEST(LoggerConfigurationMemory, AWholeConfigurationIsInForceAfterEachFailure)
{
    const TemporaryDirectory directory;
    const ParameterTrie oldTrie = configurationOf(directory, s_szOld);
    const ParameterTrie newTrie = configurationOf(directory, s_szNew);
    // Tables that fill themselves at their first use.
    ASSERT_TRUE(Logger::configure(newTrie));
    ASSERT_TRUE(Logger::configure(oldTrie));

    // log4cplus ends the process where an appender is destroyed without memory.
    const auto appendersInForce = [] { return log4cplus::Logger::getRoot().getAllAppenders(); };
    log4cplus::SharedAppenderPtrList kept = appendersInForce();
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
            EXPECT_TRUE(Logger::configure(oldTrie));
            kept = appendersInForce();
        },
        {AllocationFailure::Lasts::ONCE});
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(bConfigured);
    EXPECT_LT(50, iFailures);
    Logger::configureDefault();
}

} // namespace Velmora::Test

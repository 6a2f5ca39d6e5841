#include "velmora/logging/CallLogger.h"

#include "velmora/config/GlobalConfig.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* s_szName = "test.call.Leg";
constexpr const char* s_szNoCallId = "LoggingIdLogger::???CallId???";
constexpr const char* s_szEvent = "keswardin.infra.CallLogger.Appender";

/// A call id longer than any string that needs no memory of its own.
constexpr const char* s_szId = "a84b4c76e66710-9f3c1d2e5b7a@gateway.example.org";

/// Files of calls in a directory, of the loggers "test.call" and below.
class CallLogging : public testing::Test
{
  protected:
    CallLogging()
    {
        makeParticipant("test.call");
        configure();
        m_log.clear();
    }

    void configure(const std::string& in_strMore = "")
    {
        EXPECT_TRUE(
            configureCalls(m_directory.path().string(),
                           "keswardin.infra.CallLogger.outputFileSuffix=.log\n" + in_strMore));
    }

    /// The lines of a call's file without the first and the last one, which it must have.
    [[nodiscard]] std::vector<std::string> linesIn(const std::string& in_strFile) const
    {
        std::vector<std::string> lines = linesOf(m_directory.read(in_strFile));
        if (lines.size() < 2 || !isTimeLine(lines.front(), "start") ||
            !isTimeLine(lines.back(), "end"))
        {
            ADD_FAILURE() << in_strFile << ": " << testing::PrintToString(lines);
            return {};
        }
        return {lines.begin() + 1, lines.end() - 1};
    }

    static bool isTimeLine(const std::string& in_strLine, const std::string& in_strWhat)
    {
        // As in "Sat Nov 21 17:07:26 2026".
        return testing::internal::RE::FullMatch(
            in_strLine,
            testing::internal::RE("INFO " + std::string(s_szEvent) + ": Call " + in_strWhat +
                                  " : [A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] "
                                  "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] "
                                  "[0-9][0-9][0-9][0-9]"));
    }

    [[nodiscard]] std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_directory.path()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    static std::size_t numCall() { return CallDataRegistry::getInstance()->getCurrentNumCall(); }

    TemporaryDirectory m_directory;
    CapturedLog m_log;
};

/// A whole call with one line.
void haveCall(const char* in_szCallId)
{
    CallLogger logger(s_szName);
    logger.callStart(in_szCallId);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
}

} // namespace

TEST_F(CallLogging, LinesOfACallGoToItsFileWithoutTheCallIdAndToTheMainLogWithIt)
{
    CallLogger logger(s_szName);
    logger.addLoggingId("leg=1");
    logger.callStart(s_szId);
    logger.addLoggingId("codec=0");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");
    logger.callEnd();

    EXPECT_THAT(linesIn(std::string(s_szId) + ".log"),
                ElementsAre("INFO test.call.Leg: leg=1 codec=0 hello"));
    EXPECT_THAT(
        m_log.linesOf(s_szName),
        ElementsAre(infoLine(s_szName, "leg=1 call-id=" + std::string(s_szId) + " codec=0 hello")));
}

TEST_F(CallLogging, ACallLogsItsLine)
{
    haveCall("abc");

    EXPECT_THAT(linesIn("abc.log"), ElementsAre("INFO test.call.Leg: line"));
}

} // namespace Velmora::Test

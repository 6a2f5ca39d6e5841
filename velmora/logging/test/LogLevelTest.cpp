// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogLevel.h"

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

#include <type_traits>

namespace
{

using Velmora::LogLevel;
using Velmora::parseLogLevelString;

TEST(LogLevel, HasFixedNumbers)
{
    EXPECT_EQ(static_cast<int>(Velmora::FATAL_LOG_LEVEL), 50000);
    EXPECT_EQ(static_cast<int>(Velmora::ERROR_LOG_LEVEL), 40000);
    EXPECT_EQ(static_cast<int>(Velmora::WARN_LOG_LEVEL), 30000);
    EXPECT_EQ(static_cast<int>(Velmora::INFO_LOG_LEVEL), 20000);
    EXPECT_EQ(static_cast<int>(Velmora::DEBUG_LOG_LEVEL), 10000);
    EXPECT_EQ(static_cast<int>(Velmora::TRACE_LOG_LEVEL), 0);
    EXPECT_EQ(static_cast<int>(Velmora::NOT_SET_LOG_LEVEL), -1);
}

TEST(LogLevel, HasTheNumbersOfLog4cplus)
{
    EXPECT_EQ(static_cast<int>(Velmora::FATAL_LOG_LEVEL), log4cplus::FATAL_LOG_LEVEL);
    EXPECT_EQ(static_cast<int>(Velmora::ERROR_LOG_LEVEL), log4cplus::ERROR_LOG_LEVEL);
    EXPECT_EQ(static_cast<int>(Velmora::WARN_LOG_LEVEL), log4cplus::WARN_LOG_LEVEL);
    EXPECT_EQ(static_cast<int>(Velmora::INFO_LOG_LEVEL), log4cplus::INFO_LOG_LEVEL);
    EXPECT_EQ(static_cast<int>(Velmora::DEBUG_LOG_LEVEL), log4cplus::DEBUG_LOG_LEVEL);
    EXPECT_EQ(static_cast<int>(Velmora::TRACE_LOG_LEVEL), log4cplus::TRACE_LOG_LEVEL);
    EXPECT_EQ(static_cast<int>(Velmora::NOT_SET_LOG_LEVEL), log4cplus::NOT_SET_LOG_LEVEL);
}

TEST(LogLevel, IsAnInt) { EXPECT_TRUE((std::is_same_v<std::underlying_type_t<LogLevel>, int>)); }

TEST(ParseLogLevelString, KnowsEachName)
{
    EXPECT_EQ(parseLogLevelString("FATAL_LOG_LEVEL"), 50000);
    EXPECT_EQ(parseLogLevelString("ERROR_LOG_LEVEL"), 40000);
    EXPECT_EQ(parseLogLevelString("WARN_LOG_LEVEL"), 30000);
    EXPECT_EQ(parseLogLevelString("INFO_LOG_LEVEL"), 20000);
    EXPECT_EQ(parseLogLevelString("DEBUG_LOG_LEVEL"), 10000);
    EXPECT_EQ(parseLogLevelString("TRACE_LOG_LEVEL"), 0);
}

TEST(ParseLogLevelString, TakesNoRegardToCase)
{
    EXPECT_EQ(parseLogLevelString("debug_log_level"), 10000);
    EXPECT_EQ(parseLogLevelString("Warn_Log_Level"), 30000);
}

TEST(ParseLogLevelString, GivesNotSetForAnyOtherText)
{
    EXPECT_EQ(parseLogLevelString(""), -1);
    EXPECT_EQ(parseLogLevelString("DEBUG"), -1);
    EXPECT_EQ(parseLogLevelString("DEBUG_LOG_LEVEL "), -1);
    EXPECT_EQ(parseLogLevelString(" DEBUG_LOG_LEVEL"), -1);
    EXPECT_EQ(parseLogLevelString("DEBUG_LOG_LEVELS"), -1);
    EXPECT_EQ(parseLogLevelString("DEBUG_LOG_LEVE"), -1);
    EXPECT_EQ(parseLogLevelString("10000"), -1);
    EXPECT_EQ(parseLogLevelString("NOT_SET_LOG_LEVEL"), -1);
}

TEST(ParseLogLevelString, HasNoNameForEverythingOffOrOn)
{
    EXPECT_EQ(parseLogLevelString("OFF_LOG_LEVEL"), -1);
    EXPECT_EQ(parseLogLevelString("ALL_LOG_LEVEL"), -1);
}

TEST(ParseLogLevelString, GivesNotSetForANullPointer)
{
    EXPECT_EQ(parseLogLevelString(nullptr), -1);
}

} // namespace

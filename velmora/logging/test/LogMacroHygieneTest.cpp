// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Assertion.h"
#include "velmora/application/DynCastAssert.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

VELMORA_FILE_SCOPE_LOGGER("test.Hygiene")

// Code that uses the library's macros and has names of its own for everything that they mention.
namespace HostileNamespace
{

// Namespaces and types with the names that the macros use.
namespace Velmora
{
class Hostile
{
};
} // namespace Velmora
namespace std
{
class string
{
};
class ostream
{
};
} // namespace std
namespace log4cplus
{
class Logger
{
};
} // namespace log4cplus
namespace Hostile
{
class Nothing
{
};
} // namespace Hostile

class Logger
{
};
class CachedLLLogger
{
};
class LoggingIdLogger
{
};
class AceCleanupLogger
{
};
class LogText
{
};
class TraceScope
{
};
class Assertion
{
};
class LogLevel
{
};
class DynCastAssertNoT
{
};

enum
{
    TRACE_LOG_LEVEL,
    DEBUG_LOG_LEVEL,
    INFO_LOG_LEVEL,
    WARN_LOG_LEVEL,
    ERROR_LOG_LEVEL,
    FATAL_LOG_LEVEL,
    NOT_SET_LOG_LEVEL
};

void fileScopeLogger(int) {}
void liveFileScopeLogger(int) {}
void fileScopeLoggerName(int) {}
void getLogger(int) {}
void isEnabledFor(int) {}
void forcedLog(int) {}
void dynCastAssert(int) {}
void assert_i(int) {}
int bringUpLibrary;

int logInHostileNamespace()
{
    const int iLine = __LINE__;
    VELMORA_FILE_TRACE_SCOPE(scope);
    VELMORA_FILE_LOG_DEBUG("debug " << 1);
    VELMORA_FILE_LOG_INFO("info " << 2);
    VELMORA_FILE_LOG_WARN("warn " << 3);
    VELMORA_FILE_LOG_ERROR("error " << 4);
    VELMORA_FILE_LOG_FATAL("fatal " << 5);
    VELMORA_LOG(*::fileScopeLogger(), ::Velmora::INFO_LOG_LEVEL, "general " << 6);
    VELMORA_FILE_ASSERT(false);
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    VELMORA_PLAIN_ASSERT(false);
    return iLine;
}

template <class LoggerClass>
class HostileObject : public ::Velmora::ObjectWithLogger<LoggerClass>
{
  public:
    HostileObject() : ::Velmora::ObjectWithLogger<LoggerClass>("test.HostileObject") {}

    int logInHostileClass() const
    {
        const int iLine = __LINE__;
        VELMORA_TRACE_SCOPE(scope);
        VELMORA_LOG_DEBUG("debug " << 1);
        VELMORA_LOG_INFO("info " << 2);
        VELMORA_LOG_WARN("warn " << 3);
        VELMORA_LOG_ERROR("error " << 4);
        VELMORA_LOG_FATAL("fatal " << 5);
        VELMORA_ASSERT(false);
        VELMORA_ASSERT_TEXT(false, "0");
        return iLine;
    }

    // Members with the names that the macros use.
    class Velmora
    {
    };
    class LogText
    {
    };
    class TraceScope
    {
    };
    class Assertion
    {
    };
    class std
    {
    };
    static void fileScopeLogger(int) {}
    static void liveFileScopeLogger(int) {}
    static void assert_i(int) {}
    static constexpr int INFO_LOG_LEVEL = 1;
    int logger = 0;
    int level = 0;
    int stream = 0;
    int text = 0;
};

} // namespace HostileNamespace

namespace
{

int logAmongHostileVariables()
{
    // A macro that does not qualify a name would use one of these variables.
    const int Velmora = 1;
    const int std = 2;
    const int log4cplus = 3;
    const int Logger = 4;
    const int CachedLLLogger = 5;
    const int AceCleanupLogger = 6;
    const int LogText = 7;
    const int TraceScope = 8;
    const int Assertion = 9;
    const int LogLevel = 10;
    const int TRACE_LOG_LEVEL = 11;
    const int DEBUG_LOG_LEVEL = 12;
    const int INFO_LOG_LEVEL = 13;
    const int WARN_LOG_LEVEL = 14;
    const int ERROR_LOG_LEVEL = 15;
    const int FATAL_LOG_LEVEL = 16;
    const int NOT_SET_LOG_LEVEL = 17;
    const int logger = 18;
    const int stream = 19;
    const int text = 20;
    const int level = 21;
    const int message = 22;
    const int variable = 23;
    const int textVariable = 24;
    const int name = 25;
    const int condition = 26;
    const int fileScopeLogger = 27;
    const int liveFileScopeLogger = 28;
    const int fileScopeLoggerName = 29;
    const int getLogger = 30;
    const int velmoraLogger = 31;
    const int velmoraText = 32;
    const int velmoraTraceScope = 33;
    const int isEnabledFor = 34;
    const int forcedLog = 35;
    const int assert_i = 36;
    const int dynCastAssert = 37;

    const int iLine = __LINE__;
    VELMORA_FILE_TRACE_SCOPE(scope);
    VELMORA_FILE_LOG_DEBUG("debug " << logger + level);
    VELMORA_FILE_LOG_INFO("info " << text + stream);
    VELMORA_FILE_LOG_WARN("warn " << variable + textVariable);
    VELMORA_FILE_LOG_ERROR("error " << name + message);
    VELMORA_FILE_LOG_FATAL("fatal " << condition + fileScopeLogger);
    VELMORA_LOG(*::fileScopeLogger(), ::Velmora::INFO_LOG_LEVEL, "general " << getLogger);
    VELMORA_FILE_ASSERT(false);
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    VELMORA_PLAIN_ASSERT(false);

    static_cast<void>(Velmora + std + log4cplus + Logger + CachedLLLogger + AceCleanupLogger +
                      LogText + TraceScope + Assertion + LogLevel + TRACE_LOG_LEVEL +
                      DEBUG_LOG_LEVEL + INFO_LOG_LEVEL + WARN_LOG_LEVEL + ERROR_LOG_LEVEL +
                      FATAL_LOG_LEVEL + NOT_SET_LOG_LEVEL + liveFileScopeLogger +
                      fileScopeLoggerName + velmoraLogger + velmoraText + velmoraTraceScope +
                      isEnabledFor + forcedLog + assert_i + dynCastAssert);
    return iLine;
}

class HostileBase
{
  public:
    virtual ~HostileBase() = default;
};

class HostileDerived : public HostileBase
{
};

HostileDerived* castAmongHostileVariables(HostileBase* in_pBase)
{
    const int Velmora = 1;
    const int dynCastAssert = 2;
    static_cast<void>(Velmora + dynCastAssert);

    return VELMORA_DYN_CAST_ASSERT(HostileDerived, in_pBase);
}

using testing::ElementsAre;
using Velmora::Test::CapturedLog;
using Velmora::Test::debugLine;
using Velmora::Test::errorLine;
using Velmora::Test::fatalLine;
using Velmora::Test::infoLine;
using Velmora::Test::traceLine;
using Velmora::Test::warnLine;

std::string assertionText(const std::string& in_strText, int in_iLine)
{
    return "Assertion failed (" + in_strText +
           ") file=velmora/logging/test/LogMacroHygieneTest.cpp line=" + std::to_string(in_iLine);
}

TEST(LogMacroHygiene, MacrosWorkInANamespaceThatHasTheirNamesForItself)
{
    const CapturedLog log(Velmora::TRACE_LOG_LEVEL);

    const int iLine = HostileNamespace::logInHostileNamespace();

    EXPECT_THAT(
        log.lines(),
        ElementsAre(traceLine("test.Hygiene", "entering scope"),
                    debugLine("test.Hygiene", "debug 1"), infoLine("test.Hygiene", "info 2"),
                    warnLine("test.Hygiene", "warn 3"), errorLine("test.Hygiene", "error 4"),
                    fatalLine("test.Hygiene", "fatal 5"), infoLine("test.Hygiene", "general 6"),
                    errorLine("test.Hygiene", assertionText("false", iLine + 8)),
                    errorLine("test.Hygiene", assertionText("0", iLine + 9)),
                    errorLine("keswardin.infra.Assertion", assertionText("false", iLine + 10)),
                    traceLine("test.Hygiene", "exiting scope")));
}

TEST(LogMacroHygiene, MacrosWorkInAClassThatHasTheirNamesForItself)
{
    const CapturedLog log(Velmora::TRACE_LOG_LEVEL);

    const int iLine = HostileNamespace::HostileObject<Velmora::Logger>().logInHostileClass();

    constexpr const char* szLogger = "test.HostileObject";
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(szLogger, "entering scope"), debugLine(szLogger, "debug 1"),
                            infoLine(szLogger, "info 2"), warnLine(szLogger, "warn 3"),
                            errorLine(szLogger, "error 4"), fatalLine(szLogger, "fatal 5"),
                            errorLine(szLogger, assertionText("false", iLine + 7)),
                            errorLine(szLogger, assertionText("0", iLine + 8)),
                            traceLine(szLogger, "exiting scope")));
}

TEST(LogMacroHygiene, MacrosWorkInSuchAClassWithIdentifiersInItsLines)
{
    const CapturedLog log(Velmora::TRACE_LOG_LEVEL);
    HostileNamespace::HostileObject<Velmora::LoggingIdLogger> object;
    object.getLogger().addLoggingId("leg=1");

    const int iLine = object.logInHostileClass();

    constexpr const char* szLogger = "test.HostileObject";
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(szLogger, "leg=1 entering scope"),
                            debugLine(szLogger, "leg=1 debug 1"),
                            infoLine(szLogger, "leg=1 info 2"), warnLine(szLogger, "leg=1 warn 3"),
                            errorLine(szLogger, "leg=1 error 4"),
                            fatalLine(szLogger, "leg=1 fatal 5"),
                            errorLine(szLogger, assertionText("false", iLine + 7)),
                            errorLine(szLogger, assertionText("0", iLine + 8)),
                            traceLine(szLogger, "leg=1 exiting scope")));
}

TEST(LogMacroHygiene, MacrosWorkAmongVariablesWithTheirNames)
{
    const CapturedLog log(Velmora::TRACE_LOG_LEVEL);

    const int iLine = logAmongHostileVariables();

    EXPECT_THAT(
        log.lines(),
        ElementsAre(traceLine("test.Hygiene", "entering scope"),
                    debugLine("test.Hygiene", "debug 39"), infoLine("test.Hygiene", "info 39"),
                    warnLine("test.Hygiene", "warn 47"), errorLine("test.Hygiene", "error 47"),
                    fatalLine("test.Hygiene", "fatal 53"), infoLine("test.Hygiene", "general 30"),
                    errorLine("test.Hygiene", assertionText("false", iLine + 8)),
                    errorLine("test.Hygiene", assertionText("0", iLine + 9)),
                    errorLine("keswardin.infra.Assertion", assertionText("false", iLine + 10)),
                    traceLine("test.Hygiene", "exiting scope")));
}

TEST(LogMacroHygiene, CheckedDowncastWorksAmongVariablesWithItsNames)
{
    HostileDerived object;

    EXPECT_EQ(castAmongHostileVariables(&object), &object);
}

} // namespace

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Assertion.h"

#include "velmora/application/AssertionSeam.h"
#include "velmora/application/Debug.h"
#include "velmora/application/SourcePlace.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/WithoutThrowing.h"

#include <atomic>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Assertion)

namespace Velmora
{

namespace
{

std::atomic<AssertionSeam::UnitTestRecord*> s_pUnitTestRecord{nullptr};
std::atomic<AssertionSeam::BoolParameters*> s_pBoolParameters{nullptr};
std::atomic<bool> s_bAbortOnAssert{false};

/// True while an assertion on this thread queries the unit test record or the configuration. An
/// assertion that fails inside such a query does not query them again.
thread_local bool s_bAskingSeam = false;

class AskingSeamScope
{
  public:
    AskingSeamScope() { s_bAskingSeam = true; }
    ~AskingSeamScope() { s_bAskingSeam = false; }
    AskingSeamScope(const AskingSeamScope&) = delete;
    AskingSeamScope& operator=(const AskingSeamScope&) = delete;
};

std::string shortMessage(const char* in_szExpression)
{
    return std::string("Assertion failed (") + in_szExpression + ")";
}

std::string longMessage(const char* in_szExpression, const char* in_szFile, int in_iLine)
{
    return shortMessage(in_szExpression) + textOfSourcePlace(in_szFile, in_iLine);
}

void tellUnitTest(const char* in_szExpression, const char* in_szFile, int in_iLine)
{
    AssertionSeam::UnitTestRecord* const pRecord = AssertionSeam::getUnitTestRecord();
    if (pRecord == nullptr)
        return;
    pRecord->make();
    if (pRecord->isRunning())
        pRecord->recordFailedCheck(shortMessage(in_szExpression), in_szFile, in_iLine);
}

bool isAbortAskedFor()
{
    AssertionSeam::BoolParameters* const pParameters = AssertionSeam::getBoolParameters();
    bool bAbort = false;
    if (pParameters != nullptr &&
        pParameters->getBoolParameter(s_szINFRA_ABORTONASSERT_PARAM, bAbort))
        return bAbort;
    return AssertionSeam::isAbortOnAssertPublished();
}

void logFailure(const Logger* in_pLogger, LogLevel in_level, const std::string& in_strText,
                const char* in_szFile, int in_iLine)
{
    if (in_pLogger == nullptr)
        in_pLogger = liveFileScopeLogger();
    if (in_pLogger != nullptr)
        in_pLogger->log(static_cast<int>(in_level), in_strText, in_szFile, in_iLine);
    else
        // The exit list has deleted the logger of this file. A new one of the same name reaches the
        // same appenders.
        Logger(fileScopeLoggerName())
            .log(static_cast<int>(in_level), in_strText, in_szFile, in_iLine);
}

} // namespace

void AssertionSeam::setUnitTestRecord(UnitTestRecord* in_pRecord)
{
    s_pUnitTestRecord.store(in_pRecord, std::memory_order_release);
}

AssertionSeam::UnitTestRecord* AssertionSeam::getUnitTestRecord()
{
    return s_pUnitTestRecord.load(std::memory_order_acquire);
}

void AssertionSeam::setBoolParameters(BoolParameters* in_pParameters)
{
    s_pBoolParameters.store(in_pParameters, std::memory_order_release);
}

AssertionSeam::BoolParameters* AssertionSeam::getBoolParameters()
{
    return s_pBoolParameters.load(std::memory_order_acquire);
}

void AssertionSeam::publishAbortOnAssert(bool in_bAbort)
{
    s_bAbortOnAssert.store(in_bAbort, std::memory_order_release);
}

bool AssertionSeam::isAbortOnAssertPublished()
{
    return s_bAbortOnAssert.load(std::memory_order_acquire);
}

void Assertion::assert_i(bool in_bCondition, const char* in_szExpression, const Logger* in_pLogger,
                         const char* in_szFile, int in_iLine)
{
    if (in_bCondition)
        return;

    bool bAbort = AssertionSeam::isAbortOnAssertPublished();
    // Assertions are used in destructors, so no exception may leave. An exception in one step must
    // not prevent the abort either.
    const auto attempt = [](auto in_step)
    { withoutThrowing(liveFileScopeLogger(), "exception while an assertion fails", in_step); };

    // The test record comes first, so that a test run counts the failure even if the process then
    // aborts. The parameter is read before the line is logged, since it decides the level of the
    // line.
    if (!s_bAskingSeam)
    {
        const AskingSeamScope asking;
        attempt([&] { tellUnitTest(in_szExpression, in_szFile, in_iLine); });
        attempt([&] { bAbort = isAbortAskedFor(); });
    }

    attempt(
        [&]
        {
            logFailure(in_pLogger, bAbort ? FATAL_LOG_LEVEL : ERROR_LOG_LEVEL,
                       longMessage(in_szExpression, in_szFile, in_iLine), in_szFile, in_iLine);
        });
    if (bAbort)
        Velmora::abort();
}

bool Assertion::setAbortOnAssert(bool in_bAbort)
{
    AssertionSeam::BoolParameters* const pParameters = AssertionSeam::getBoolParameters();
    return pParameters != nullptr &&
           pParameters->setBoolParameter(s_szINFRA_ABORTONASSERT_PARAM, in_bAbort);
}

} // namespace Velmora

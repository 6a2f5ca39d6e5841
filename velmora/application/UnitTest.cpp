// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/UnitTest.h"

#include "velmora/application/AssertionSeam.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/OnDemandSingleton.h"
#include "velmora/application/ProcessGate.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"

#include <ace/Object_Manager.h>

#include <algorithm>
#include <cstddef>
#include <ios>
#include <locale>
#include <new>
#include <ostream>
#include <sstream>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(UnitTest)

namespace Velmora
{

namespace
{

using Guard = GatedGuard<GatedMutex>;

OncePerProcess<UnitTestSingleton>& aliveInProcess()
{
    static OncePerProcess<UnitTestSingleton> s_place("UnitTestSingleton");
    return s_place;
}

/// Records failed assertions.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): static, never destroyed.
class RecordOfAssertions final : public AssertionSeam::UnitTestRecord
{
  public:
    /// Makes the singleton, unless the thread is within an operation of the library, such as a
    /// line, whose locks others may await while they hold those that are needed here; or the exit
    /// list runs, which would not delete it any more. Without memory, the next failed assertion
    /// tries again.
    void make() override
    try
    {
        if (!ProcessGate::isInside() && !ACE_Object_Manager::shutting_down())
            UnitTestSingleton::getInstance();
    }
    catch (const std::bad_alloc&)
    {
    }

    bool isRunning() override { return UnitTestSingleton::s_bRunningUnitTest; }

    void recordFailedCheck(const std::string& in_strText, const char* in_szFile,
                           int in_iLine) override
    {
        if (UnitTestSingleton* const pAlive = aliveInProcess().get())
            pAlive->check(false, in_strText.c_str(), in_szFile, in_iLine);
    }
};

constinit RecordOfAssertions s_recordOfAssertions;

[[maybe_unused]] const bool s_bRecordsAssertions =
    (AssertionSeam::setUnitTestRecord(&s_recordOfAssertions), true);

const char* textOrEmpty(const char* in_szText) { return in_szText != nullptr ? in_szText : ""; }

std::string textOfLine(int in_iLine) { return in_iLine < 1 ? "?" : std::to_string(in_iLine); }

std::string textOfFailure(std::size_t in_uiFailed, std::size_t in_uiChecks)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(2);
    text << std::fixed << "UNIT TEST RESULTS : FAILED : numFailedCheck=" << in_uiFailed << '/'
         << in_uiChecks << " ("
         << static_cast<double>(in_uiFailed) * 100 / static_cast<double>(in_uiChecks) << "%)";
    return text.str();
}

} // namespace

struct UnitTestSingleton::Check
{
    bool bOutcome;
    std::string strText;
    std::string strFile;
    int iLine;
};

std::atomic<bool> UnitTestSingleton::s_bRunningUnitTest{false};

UnitTestSingleton* UnitTestSingleton::getInstance()
{
    return OnDemandSingleton<UnitTestSingleton>::getInstance();
}

UnitTestSingleton::UnitTestSingleton() : m_pMutex(std::make_unique<GatedMutex>())
{
    aliveInProcess().fill(this);
}

UnitTestSingleton::~UnitTestSingleton()
{
    // No assertion must reach the object while it is destroyed, so the seam is reset first.
    s_bRunningUnitTest = false;
    AssertionSeam::setUnitTestRecord(nullptr);
    aliveInProcess().clear(this);
    if (m_bRegistered)
        AlarmRegistry::getInstance().removeObserver(this);
}

void UnitTestSingleton::setUnitTestRunning()
{
    const Guard guard(*m_pMutex);
    s_bRunningUnitTest = true;
}

bool UnitTestSingleton::configure(bool in_bObserveAlarms)
{
    bool bRegister = false;
    {
        const Guard guard(*m_pMutex);
        m_bObservingAlarms = in_bObserveAlarms;
        bRegister = m_bObservingAlarms && !m_bRegistered;
        m_bRegistered = m_bRegistered || bRegister;
    }
    // The registry calls `newAlarmState` while it holds its own mutex. So its mutex must be taken
    // before the one of this object, and not inside it.
    if (bRegister)
        AlarmRegistry::getInstance().addObserver(this);
    return true;
}

bool UnitTestSingleton::check(bool in_bOutcome, const char* in_szText, const char* in_szFile,
                              int in_iLine)
{
    // The texts are copied before the mutex is taken, so that it is held briefly.
    auto pCheck = std::make_unique<Check>(
        Check{in_bOutcome, textOrEmpty(in_szText), textOrEmpty(in_szFile), in_iLine});
    const Guard guard(*m_pMutex);
    m_checks.push_back(std::move(pCheck));
    return in_bOutcome;
}

void UnitTestSingleton::error(const char* in_szText, const char* in_szFile, int in_iLine)
{
    check(false, in_szText, in_szFile, in_iLine);
}

void UnitTestSingleton::fail(const char* in_szText, const char* in_szFile, int in_iLine)
{
    error(in_szText, in_szFile, in_iLine);
    throw UnitTestException();
}

void UnitTestSingleton::require(bool in_bOutcome, const char* in_szText, const char* in_szFile,
                                int in_iLine)
{
    if (!check(in_bOutcome, in_szText, in_szFile, in_iLine))
        throw UnitTestException();
}

bool UnitTestSingleton::logTestResults()
{
    // Logged without the mutex, as an appender may record a check, or an assertion may fail in it.
    std::vector<Check> failed;
    std::size_t uiChecks = 0;
    {
        const Guard guard(*m_pMutex);
        uiChecks = m_checks.size();
        for (const std::unique_ptr<Check>& pCheck : m_checks)
            if (!pCheck->bOutcome)
                failed.push_back(*pCheck);
    }
    for (const Check& check : failed)
        VELMORA_FILE_LOG_ERROR("Unit Test Check Failed : " << check.strText
                                                           << ", file=" << check.strFile
                                                           << ", line=" << textOfLine(check.iLine));
    if (!failed.empty())
        fileScopeLogger()->log(ERROR_LOG_LEVEL, textOfFailure(failed.size(), uiChecks), nullptr,
                               -1);
    else if (uiChecks == 0)
        VELMORA_FILE_LOG_WARN("UNIT TEST RESULTS : no checks performed !");
    else
        VELMORA_FILE_LOG_INFO("UNIT TEST RESULTS : PASSED : numCheck=" << uiChecks);
    return failed.empty();
}

void UnitTestSingleton::newAlarmState(const Alarm& in_alarm)
{
    if (!s_bRunningUnitTest || in_alarm.getState() != Alarm::ALARM_ON)
        return;
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "Alarm raised : " << in_alarm;
    check(false, text.str().c_str(), "", -1);
}

UnitTestSingleton::UnitTestException::~UnitTestException() = default;

std::ostream& UnitTestSingleton::UnitTestException::write(std::ostream& out_stream) const
{
    return out_stream << "UnitTestException";
}

UnitTestApplication::UnitTestApplication(const Logger& in_logger, const char* in_szName)
    : ApplicationImpl(in_logger, in_szName)
{
    UnitTestSingleton::getInstance()->setUnitTestRunning();
    getLogger().setLogLevel(INFO_LOG_LEVEL);
}

UnitTestApplication::~UnitTestApplication() = default;

bool UnitTestApplication::configureLoggerDefault()
{
    if (!ApplicationImpl::configureLoggerDefault())
        return false;
    Logger().setLogLevel(INFO_LOG_LEVEL);
    return true;
}

} // namespace Velmora

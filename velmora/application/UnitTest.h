#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/application/OutputStreamable.h"

#include <ace/Thread_Mutex.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Velmora
{

template <class T>
class OnDemandSingleton;

/// Records the outcome of each check of a program that tests code of the library: its own checks,
/// each failed assertion, and each alarm that is raised. At its end the program logs the results:
///
///     UnitTestSingleton& test = *UnitTestSingleton::getInstance();
///     test.configure(true);
///     test.check(sum(2, 2) == 4, "sum(2, 2) == 4", __FILE__, __LINE__);
///     return test.logTestResults() ? 0 : 1;
///
/// There is one object in the process, made when it is first asked for. Assertions and alarms count
/// from `setUnitTestRunning` on, which a `UnitTestApplication` calls.
///
/// Logs on "keswardin.infra.UnitTest".
///
/// Thread-safety: all operations may be called on any thread. The mutex guards the records only;
/// nothing is logged and no foreign code runs under it.
/// Ownership: the exit list's. Once that has deleted it, it must not be asked for; a failed
/// assertion is no longer recorded then.
class VELMORA_API UnitTestSingleton : public AlarmRegistry::Observer
{
  public:
    class UnitTestException;

    /// The name in the singleton registry.
    static constexpr const char* s_szSingletonName = "UnitTestSingleton";

    /// Whether a unit test runs.
    static std::atomic<bool> s_bRunningUnitTest;

    static UnitTestSingleton* getInstance();

    ~UnitTestSingleton() override;

    /// From now on failed assertions are recorded, and alarms if `configure` says so. Nothing but
    /// the end of the object turns that off.
    void setUnitTestRunning();

    /// With true, observes the alarm registry from now on. That is not undone: false only says that
    /// the object need not observe, and alarms are still recorded. May be called under no lock that
    /// is taken under the mutex of the alarm registry. Gives true.
    bool configure(bool in_bObserveAlarms);

    /// Records a check and gives its outcome. A null text or file is an empty one.
    bool check(bool in_bOutcome, const char* in_szText, const char* in_szFile, int in_iLine);

    /// Records a failed check.
    void error(const char* in_szText, const char* in_szFile, int in_iLine);

    /// Records a failed check, and throws a `UnitTestException`.
    [[noreturn]] void fail(const char* in_szText, const char* in_szFile, int in_iLine);

    /// Records a check, and throws a `UnitTestException` if it has failed.
    void require(bool in_bOutcome, const char* in_szText, const char* in_szFile, int in_iLine);

    /// Logs an error for each failed check, in their order, and a line with the numbers. Gives
    /// whether none has failed; no check at all is a warning.
    bool logTestResults();

    /// Records a failed check if the alarm is on while a unit test runs.
    void newAlarmState(const Alarm& in_alarm) override;

  private:
    friend class OnDemandSingleton<UnitTestSingleton>;

    struct Check;

    UnitTestSingleton();

    std::unique_ptr<ACE_Thread_Mutex> m_pMutex;
    std::vector<std::unique_ptr<Check>> m_checks;
    bool m_bObservingAlarms = false;
    /// Whether the alarm registry has the object among its observers.
    bool m_bRegistered = false;
};

/// What ends a test whose remaining checks make no sense.
class VELMORA_API UnitTestSingleton::UnitTestException : public virtual OutputStreamable
{
  public:
    UnitTestException() = default;
    UnitTestException(const UnitTestException&) = default;
    UnitTestException& operator=(const UnitTestException&) = default;
    ~UnitTestException() override;

    /// Writes "UnitTestException".
    std::ostream& write(std::ostream& out_stream) const override;
};

/// The frame of a program that tests code of the library: with it a unit test runs. Its logger, and
/// all of the library's by default, logs from INFO on.
///
///     class TrunkTest : public Velmora::UnitTestApplication
///     {
///       public:
///         TrunkTest() : UnitTestApplication(Velmora::Logger("keswardin.gateway"), "trunkTest") {}
///         void run() override;
///     };
///
/// Thread-safety, failure: as `ApplicationImpl`.
class VELMORA_API UnitTestApplication : public ApplicationImpl
{
  public:
    UnitTestApplication(const Logger& in_logger, const char* in_szName);
    ~UnitTestApplication() override;

  protected:
    using ApplicationImpl::configureLoggerDefault;
    [[nodiscard]] bool configureLoggerDefault() override;
};

} // namespace Velmora

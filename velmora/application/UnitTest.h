// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/application/OutputStreamable.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Velmora
{

template <class T>
class OnDemandSingleton;

/// Records the results of a program that tests code of the library: its own checks, each failed
/// assertion, and each alarm that goes on. At its end the program logs the results:
///
///     UnitTestSingleton& test = *UnitTestSingleton::getInstance();
///     test.configure(true);
///     test.check(sum(2, 2) == 4, "sum(2, 2) == 4", __FILE__, __LINE__);
///     return test.logTestResults() ? 0 : 1;
///
/// The process has one object, which is created when it is first requested. Assertions and alarms
/// are recorded after `setUnitTestRunning`, which a `UnitTestApplication` calls.
///
/// Logs on "keswardin.infra.UnitTest".
///
/// Thread-safety: all operations may be called on any thread. The mutex guards the records only.
/// Nothing is logged and no foreign code runs under it.
/// Ownership: the exit list owns the object. `getInstance` must not be called after the list has
/// deleted it. A failed assertion is no longer recorded then.
class VELMORA_API UnitTestSingleton : public AlarmRegistry::Observer
{
  public:
    class UnitTestException;

    /// The name in the singleton registry.
    static constexpr const char* s_szSingletonName = "UnitTestSingleton";

    /// Whether a unit test is running.
    static std::atomic<bool> s_bRunningUnitTest;

    static UnitTestSingleton* getInstance();

    ~UnitTestSingleton() override;

    /// Starts recording failed assertions, and alarms if `configure` requests them. Recording ends
    /// only when the object is destroyed.
    void setUnitTestRunning();

    /// Registers the object as an observer of the alarm registry, if the argument is true. That is
    /// not undone: after a later call with false, alarms are still recorded. Must not be called
    /// under a lock that other code takes under the mutex of the alarm registry. Returns true.
    bool configure(bool in_bObserveAlarms);

    /// Records a check and returns its outcome. A null text or file counts as empty.
    bool check(bool in_bOutcome, const char* in_szText, const char* in_szFile, int in_iLine);

    /// Records a failed check.
    void error(const char* in_szText, const char* in_szFile, int in_iLine);

    /// Records a failed check and throws a `UnitTestException`.
    [[noreturn]] void fail(const char* in_szText, const char* in_szFile, int in_iLine);

    /// Records a check and throws a `UnitTestException` if it failed.
    void require(bool in_bOutcome, const char* in_szText, const char* in_szFile, int in_iLine);

    /// Logs an error for each failed check, in the order of the checks, and a line with the totals.
    /// Returns whether no check failed. Logs a warning if there was no check at all.
    bool logTestResults();

    /// Records a failed check if the alarm is on and a unit test is running.
    void newAlarmState(const Alarm& in_alarm) override;

  private:
    friend class OnDemandSingleton<UnitTestSingleton>;

    struct Check;

    UnitTestSingleton();

    /// Guards the members below. Nothing is logged and no foreign code runs while it is held.
    std::unique_ptr<GatedMutex> m_pMutex;
    std::vector<std::unique_ptr<Check>> m_checks VELMORA_GUARDED_BY(*m_pMutex);
    bool m_bObservingAlarms VELMORA_GUARDED_BY(*m_pMutex) = false;
    /// Whether the alarm registry has the object as an observer.
    bool m_bRegistered VELMORA_GUARDED_BY(*m_pMutex) = false;
};

/// The exception that ends a test when its remaining checks make no sense.
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

/// The base class of a program that tests code of the library. A unit test is running from its
/// construction on. The level of its own logger is INFO, and by default so is the level of all
/// loggers of the library.
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

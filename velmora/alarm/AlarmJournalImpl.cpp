// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmJournalImpl.h"

#include "velmora/alarm/AlarmJournalText.h"
#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/alarm/PyRedirectAlarm.h"
#include "velmora/alarm/SystemOutOfServiceAlarm.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LogText.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/system/WholeText.h"

#include <array>
#include <atomic>
#include <chrono>
#include <exception>
#include <optional>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AdminAlarm)

namespace Velmora
{

namespace
{

/// The journal that logs the changes of alarms that log nothing, if there is one.
std::atomic<const AlarmRegistry::Observer*> s_pLogging{nullptr};

/// The text of an alarm. Is empty, and not valid, if the alarm throws.
class TextOfAlarm
{
  public:
    explicit TextOfAlarm(const Alarm& in_alarm)
    {
        try
        {
            writeWhole(m_text.stream(), [&in_alarm](std::ostream& out_stream)
                       { in_alarm.writeDescription(out_stream); });
            m_bValid = true;
        }
        catch (...) // NOLINT(bugprone-empty-catch): the last text is kept.
        {
        }
    }

    [[nodiscard]] bool isValid() const { return m_bValid; }
    [[nodiscard]] const std::string& text() const { return m_text.text(); }

  private:
    LogText m_text;
    bool m_bValid = false;
};

/// Logs a line about a change that is already in the journal.
template <class Function>
void logWithoutThrowing(Function in_log) noexcept
{
    withoutThrowing(::liveFileScopeLogger(), "a line of the journal of alarms is lost", in_log);
}

/// Calls a function that uses an alarm. Returns whether it ended without an exception, and logs
/// one.
template <class Function>
bool useWithoutThrowing(const char* in_szUse, const std::string& in_strId,
                        const char* in_szConsequence, Function in_use) noexcept
{
    bool bUsed = false;
    logWithoutThrowing(
        [&]
        {
            try
            {
                in_use();
                bUsed = true;
            }
            catch (const std::exception& exception)
            {
                VELMORA_FILE_LOG_ERROR("cannot " << in_szUse << " alarm [" << in_strId << "] : "
                                                 << exception.what() << " ; " << in_szConsequence);
            }
        });
    return bUsed;
}

template <class Function>
bool readWithoutThrowing(const std::string& in_strId, Function in_read) noexcept
{
    return useWithoutThrowing("read", in_strId,
                              "the journal lacks its last change until the next poll can read it",
                              in_read);
}

std::string inSeconds(std::chrono::milliseconds in_time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(in_time);
    return seconds == in_time ? std::to_string(seconds.count()) + " s"
                              : std::to_string(in_time.count()) + " ms";
}

/// Returns the alarm that a script's object owns, or else the alarm that is in the registry.
const Alarm& alarmItself(const Alarm& in_alarm)
{
    const auto* const pRedirect = dynamic_cast<const PyRedirectAlarm*>(&in_alarm);
    return pRedirect == nullptr ? in_alarm : pRedirect->target();
}

struct AlarmOfLibrary
{
    const char* szId;
    const char* szCause;
    const char* szAction;
};

constexpr std::array<AlarmOfLibrary, 3> s_alarmsOfLibrary{
    {{"system.configuration.error",
      "The program could not start, as its configuration cannot be read or is invalid.",
      "Read the ERROR lines of the log before the alarm: they name the file and the parameter. "
      "Correct the configuration and start the program again."},
     {"system.overload",
      "At least one source of overload is on: the alarm that is logged before this one.",
      "Find the source among the alarms that are on. Reduce its load, or raise its threshold."},
     {"system.out-of-service", "The program is stopped, starting or stopping.",
      "None, if that is intended. Otherwise find in the log what keeps the program from "
      "serving."}}};

} // namespace

/// Observes one alarm. Watches a record until the alarm is removed from the registry, or until
/// another alarm is added with its id.
class AlarmJournal::Impl::Watch final : public Alarm::Observer
{
  public:
    Watch(Impl& inout_impl, const std::string& in_strId, Alarm& inout_registered)
        : m_impl(inout_impl), m_strId(in_strId), m_registered(inout_registered),
          m_alarm(alarmItself(inout_registered)),
          m_bOutOfService(dynamic_cast<const SystemOutOfServiceAlarm*>(&m_alarm) != nullptr)
    {
    }

    void begin() { m_registered.addObserver(LimitedObjPtr<Alarm::Observer>(this)); }

    /// Some alarms live on after that, such as those that a script owns.
    void end() noexcept
    {
        useWithoutThrowing(
            "stop observing", m_strId, "if it outlives the journal, the process may crash",
            [this] { m_registered.removeObserver(LimitedObjPtr<Alarm::Observer>(this)); });
    }

    void newAlarmState(const Alarm&, Alarm::State) override
    {
        readWithoutThrowing(m_strId, [this] { m_impl.observe(*this); });
    }

    void bind(AlarmRecords::Record& in_record)
    {
        m_pRecord = &in_record;
        m_ulAdded = in_record.ulAdded;
    }

    void unbind() { m_pRecord = nullptr; }

    /// Returns the record, or null if it is that of another alarm.
    [[nodiscard]] AlarmRecords::Record* record() const
    {
        return m_pRecord != nullptr && m_pRecord->ulAdded == m_ulAdded ? m_pRecord : nullptr;
    }

    /// The state in the record.
    [[nodiscard]] State state() const { return m_state.load(std::memory_order_relaxed); }
    void setState(State in_state) { m_state.store(in_state, std::memory_order_relaxed); }

    [[nodiscard]] const Alarm& alarm() const { return m_alarm; }
    [[nodiscard]] bool isOutOfService() const { return m_bOutOfService; }

  private:
    Impl& m_impl;
    const std::string m_strId;
    /// The alarm as the registry has it.
    Alarm& m_registered;
    const Alarm& m_alarm;
    const bool m_bOutOfService;
    // Guarded by the mutex of the journal.
    AlarmRecords::Record* m_pRecord = nullptr;
    std::uint64_t m_ulAdded = 0;
    /// Is also read without the mutex.
    std::atomic<State> m_state{State::off};
};

AlarmJournal::Impl::Impl(const Options& in_options, const Clocks& in_clocks)
    : m_options(in_options), m_clocks(in_clocks), m_records(in_options)
{
    for (const auto& [szId, szCause, szAction] : s_alarmsOfLibrary)
        m_records.addDescription({szId, Alarm::ERROR_SEVERITY, szCause, szAction});
}

void AlarmJournal::Impl::begin()
{
    AlarmRegistryImpl* const pRegistry = AlarmRegistryImpl::ifAlive();
    if (pRegistry == nullptr)
        return;
    const AlarmRegistryImpl::Lock lock(*pRegistry);
    pRegistry->addObserver(this);
    pRegistry->addTableObserver(*this);
}

AlarmJournal::Impl::~Impl()
{
    const AlarmRegistry::Observer* pThis = this;
    s_pLogging.compare_exchange_strong(pThis, nullptr);
    // Once the registry has been deleted, it has removed all alarms.
    AlarmRegistryImpl* const pRegistry = AlarmRegistryImpl::ifAlive();
    if (pRegistry == nullptr)
        return;
    // With this lock, no alarm changes through its handle, and none is added or removed.
    const AlarmRegistryImpl::Lock lock(*pRegistry);
    pRegistry->removeTableObserver(*this);
    pRegistry->removeObserver(this);
    for (const auto& [pAlarm, pWatch] : m_watches)
        pWatch->end();
}

AlarmRecords::Moment AlarmJournal::Impl::now() const
{
    return {m_clocks.wall ? m_clocks.wall() : std::chrono::system_clock::now(),
            m_clocks.monotonic ? m_clocks.monotonic() : std::chrono::steady_clock::now()};
}

AlarmJournal::Impl::Watch* AlarmJournal::Impl::watchOf(const Alarm& in_alarm) const
{
    const auto found = m_watches.find(&in_alarm);
    return found == m_watches.end() ? nullptr : found->second.get();
}

void AlarmJournal::Impl::newAlarmState(const Alarm& in_alarm)
{
    if (Watch* const pWatch = watchOf(in_alarm))
        pWatch->newAlarmState(in_alarm, Alarm::ALARM_ON);
}

void AlarmJournal::Impl::alarmIsThere(const std::string& in_strId, Alarm& inout_alarm) noexcept
{
    if (Watch* const pWatch = watchOf(inout_alarm))
        pWatch->newAlarmState(inout_alarm, Alarm::ALARM_ON);
    else if (!readWithoutThrowing(in_strId, [&] { adopt(in_strId, inout_alarm); }))
        alarmGoes(inout_alarm);
}

void AlarmJournal::Impl::adopt(const std::string& in_strId, Alarm& inout_alarm)
{
    auto pNew = std::make_unique<Watch>(*this, in_strId, inout_alarm);
    Watch& watch = *pNew;
    const TextOfAlarm text(watch.alarm());
    const Alarm::Severity severity = watch.alarm().getSeverity();
    const AlarmRecords::Moment moment = now();
    m_watches.emplace(&inout_alarm, std::move(pNew));
    {
        const Guard guard(m_mutex);
        AlarmRecords::Record& record = m_records.add(in_strId, moment);
        AlarmRecords::describe(record, text.text(), severity);
        watch.bind(record);
    }
    // Before the state is read, so that no change is missed.
    watch.begin();
    observe(watch);
}

void AlarmJournal::Impl::alarmGoes(Alarm& inout_alarm) noexcept
{
    const AlarmRecords::Moment moment = now();
    const auto found = m_watches.find(&inout_alarm);
    if (found == m_watches.end())
        return;
    const std::unique_ptr<Watch> pWatch = std::move(found->second);
    m_watches.erase(found);
    AlarmRecords::Outcome outcome;
    {
        const Guard guard(m_mutex);
        if (AlarmRecords::Record* const pRecord = pWatch->record())
            outcome = m_records.remove(*pRecord, moment);
        pWatch->unbind();
    }
    pWatch->end();
    report(outcome);
}

void AlarmJournal::Impl::observe(Watch& inout_watch)
{
    const Alarm& alarm = inout_watch.alarm();
    const bool bOn = alarm.getState() == Alarm::ALARM_ON;
    const State onState = inout_watch.isOutOfService() ? State::outOfService : State::on;
    const State state = bOn ? onState : State::off;
    // Each change through a handle is seen twice.
    if (state == inout_watch.state())
        return;
    std::optional<TextOfAlarm> text;
    Alarm::Severity severity = Alarm::ERROR_SEVERITY;
    if (bOn)
    {
        severity = alarm.getSeverity();
        text.emplace(alarm);
    }
    const AlarmRecords::Moment moment = now();
    AlarmRecords::Outcome outcome;
    {
        const Guard guard(m_mutex);
        AlarmRecords::Record* const pRecord = inout_watch.record();
        if (pRecord == nullptr || pRecord->state == state)
            return;
        if (text.has_value())
            AlarmRecords::describe(*pRecord, text->isValid() ? text->text() : pRecord->strText,
                                   severity);
        outcome = m_records.change(*pRecord, state, moment);
        inout_watch.setState(state);
    }
    if (outcome.bAnnounced && inout_watch.isOutOfService() && isLogging())
        logWithoutThrowing(
            [&]
            {
                const LogLevel level = bOn ? static_cast<LogLevel>(severity) : INFO_LOG_LEVEL;
                VELMORA_FILE_LOG(level, alarm);
            });
    report(outcome);
}

bool AlarmJournal::Impl::isLogging() const
{
    const AlarmRegistry::Observer* pFirst = nullptr;
    return s_pLogging.compare_exchange_strong(pFirst, this) || pFirst == this;
}

void AlarmJournal::Impl::report(const AlarmRecords::Outcome& in_outcome) const noexcept
{
    if (in_outcome.shelf != AlarmRecords::Outcome::Shelf::unchanged) [[unlikely]]
        logWithoutThrowing([&] { logShelving(in_outcome); });
}

void AlarmJournal::Impl::logShelving(const AlarmRecords::Outcome& in_outcome) const
{
    using Shelf = AlarmRecords::Outcome::Shelf;
    const auto unshelved = [&in_outcome](const std::string& in_strReason)
    {
        VELMORA_FILE_LOG_INFO("alarm [" << *in_outcome.pId << "] is no longer shelved, as "
                                        << in_strReason << " : it is "
                                        << AlarmJournalText::nameOf(in_outcome.state)
                                        << " and has changed " << in_outcome.ulShelvedChanges
                                        << " time(s) while it was shelved");
    };
    switch (in_outcome.shelf)
    {
    case Shelf::flaps:
        VELMORA_FILE_LOG_WARN("alarm ["
                              << *in_outcome.pId << "] is shelved, as it has changed more than "
                              << m_options.uiFlapChanges << " time(s) within "
                              << inSeconds(m_options.flapTime)
                              << " : its changes are counted, but not announced until it has "
                                 "not changed for "
                              << inSeconds(m_options.calmTime)
                              << ". Find out what makes it flap, or change the thresholds "
                                 "of what sets it");
        return;
    case Shelf::shelvedByOperator:
        VELMORA_FILE_LOG_WARN("alarm ["
                              << *in_outcome.pId
                              << "] is shelved, as an operator has requested : its changes are "
                                 "counted, but not announced. Unshelve it when its cause "
                                 "is repaired");
        return;
    case Shelf::unshelvedByOperator:
        return unshelved("an operator has requested");
    case Shelf::calm:
        return unshelved("it has not changed for " + inSeconds(m_options.calmTime));
    case Shelf::removed:
        return unshelved("it is no longer in the registry");
    case Shelf::unchanged:
        return;
    }
}

bool AlarmJournal::Impl::shelve(const std::string& in_strId)
{
    AlarmRecords::Outcome outcome;
    {
        const Guard guard(m_mutex);
        outcome = m_records.shelve(in_strId);
    }
    report(outcome);
    return outcome.pId != nullptr;
}

bool AlarmJournal::Impl::unshelve(const std::string& in_strId)
{
    AlarmRecords::Outcome outcome;
    {
        const Guard guard(m_mutex);
        outcome = m_records.unshelve(in_strId);
    }
    report(outcome);
    return outcome.pId != nullptr;
}

std::uint64_t AlarmJournal::Impl::poll()
{
    if (AlarmRegistryImpl* const pRegistry = AlarmRegistryImpl::ifAlive())
        pRegistry->reportAlarms(*this);
    const AlarmRecords::Moment moment = now();
    std::vector<AlarmRecords::Outcome> outcomes;
    {
        const Guard guard(m_mutex);
        outcomes = m_records.unshelveCalm(moment);
    }
    for (const AlarmRecords::Outcome& outcome : outcomes)
        report(outcome);
    return changeCount();
}

void AlarmJournal::Impl::describe(const Description& in_description)
{
    const Guard guard(m_mutex);
    m_records.addDescription(in_description);
}

std::uint64_t AlarmJournal::Impl::changeCount() const
{
    const Guard guard(m_mutex);
    return m_records.changeCount();
}

std::vector<AlarmJournal::Entry> AlarmJournal::Impl::alarms(bool in_bOnlyActive) const
{
    const AlarmRecords::Moment moment = now();
    const Guard guard(m_mutex);
    return m_records.alarms(moment, in_bOnlyActive);
}

std::vector<AlarmJournal::Change> AlarmJournal::Impl::history() const
{
    const Guard guard(m_mutex);
    return m_records.history();
}

std::vector<AlarmJournal::Change> AlarmJournal::Impl::history(const std::string& in_strId) const
{
    const Guard guard(m_mutex);
    return m_records.history(in_strId);
}

std::vector<AlarmJournal::Description> AlarmJournal::Impl::inventory() const
{
    const Guard guard(m_mutex);
    return m_records.inventory();
}

AlarmJournal::Summary AlarmJournal::Impl::summary() const
{
    const Guard guard(m_mutex);
    return m_records.summary();
}

AlarmJournal::Content AlarmJournal::Impl::content() const
{
    const AlarmRecords::Moment moment = now();
    const Guard guard(m_mutex);
    return {moment.wall,         m_records.changeCount(),
            m_records.summary(), m_records.alarms(moment, false),
            m_records.history(), m_records.inventory()};
}

} // namespace Velmora

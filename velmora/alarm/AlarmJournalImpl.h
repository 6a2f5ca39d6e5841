// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmJournal.h"
#include "velmora/alarm/AlarmRecords.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/AlarmTableObserver.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace Velmora
{

/// Observes the alarms of the registry for a journal. The mutex of the journal is taken after that
/// of the registry, and no other lock is taken under it.
///
/// Thread-safety, ownership: as for `AlarmJournal`.
class AlarmJournal::Impl final : public AlarmRegistry::Observer, public AlarmTableObserver
{
  public:
    Impl(const Options& in_options, const Clocks& in_clocks);
    ~Impl() override;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    /// Begins to observe. Failure: throws `std::bad_alloc`; the object may only be destroyed then.
    void begin();

    void newAlarmState(const Alarm& in_alarm) override;
    void alarmIsThere(const std::string& in_strId, Alarm& inout_alarm) noexcept override;
    void alarmGoes(Alarm& inout_alarm) noexcept override;

    void describe(const Description& in_description);
    bool shelve(const std::string& in_strId);
    bool unshelve(const std::string& in_strId);
    std::uint64_t poll();
    [[nodiscard]] std::uint64_t changeCount() const;
    [[nodiscard]] std::vector<Entry> alarms(bool in_bOnlyActive) const;
    [[nodiscard]] std::vector<Change> history() const;
    [[nodiscard]] std::vector<Change> history(const std::string& in_strId) const;
    [[nodiscard]] std::vector<Description> inventory() const;
    [[nodiscard]] Summary summary() const;
    [[nodiscard]] Content content() const;

  private:
    class Watch;
    using Guard = GatedGuard<GatedMutex>;
    using Watches = std::unordered_map<const Alarm*, std::unique_ptr<Watch>>;

    [[nodiscard]] AlarmRecords::Moment now() const;
    [[nodiscard]] Watch* watchOf(const Alarm& in_alarm) const;

    /// Begins to watch an alarm that is new in the registry.
    void adopt(const std::string& in_strId, Alarm& inout_alarm);
    /// Reads the state of an alarm, and stores it if it has changed.
    void observe(Watch& inout_watch);
    /// Returns whether this journal logs the changes of alarms that log nothing.
    [[nodiscard]] bool isLogging() const;
    /// Logs what has been shelved or unshelved.
    void report(const AlarmRecords::Outcome& in_outcome) const noexcept;
    void logShelving(const AlarmRecords::Outcome& in_outcome) const;

    const Options m_options;
    const Clocks m_clocks;

    /// By the alarms as the registry has them. The mutex of the registry guards them.
    Watches m_watches;

    /// Guards the records, and those of the watches. No foreign code runs while it is held.
    mutable GatedMutex m_mutex;
    AlarmRecords m_records VELMORA_GUARDED_BY(m_mutex);
};

} // namespace Velmora

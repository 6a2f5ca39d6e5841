// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmJournalTypes.h"
#include "velmora/alarm/LastItems.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

/// The content of an `AlarmJournal`: its alarms, their changes and what is shelved.
///
/// Thread-safety: none; the owner guards it. Runs no foreign code.
class AlarmRecords
{
  public:
    using State = AlarmJournalTypes::State;
    using Shelving = AlarmJournalTypes::Shelving;

    struct Moment
    {
        AlarmJournalTypes::WallTime wall;
        AlarmJournalTypes::MonotonicTime monotonic;
    };

    /// The id of an alarm, which its changes share with it.
    using Id = std::shared_ptr<const std::string>;

    struct Record
    {
        Id pId;
        Alarm::Severity severity = Alarm::ERROR_SEVERITY;
        std::string strText;
        State state = State::off;
        Moment since;
        std::uint64_t ulTimesOn = 0;
        std::uint64_t ulChanges = 0;

        Shelving shelving = Shelving::no;
        /// `ulChanges` when the alarm was shelved.
        std::uint64_t ulChangesWhenShelved = 0;
        /// `ulChanges` when the search for flapping began.
        std::uint64_t ulChangesWhenCalm = 0;

        struct Change
        {
            State state;
            Moment time;
        };
        LastItems<Change> changes;
        /// How many times the alarm has been added.
        std::uint64_t ulAdded = 0;
        /// The place in `m_present` or `m_removed`.
        std::list<Record*>::iterator place;
    };

    /// What a change of a record has led to, for the log.
    struct Outcome
    {
        enum class Shelf
        {
            unchanged,
            shelvedByOperator,
            /// Shelved, as it flaps.
            flaps,
            unshelvedByOperator,
            /// Unshelved, as it has not changed for the calm time.
            calm,
            /// Unshelved, as the registry has removed it.
            removed
        };

        /// Null if the record has not changed.
        Id pId;
        State state = State::off;
        Shelf shelf = Shelf::unchanged;
        /// The changes while the alarm was shelved.
        std::uint64_t ulShelvedChanges = 0;
        /// Whether the change is announced.
        bool bAnnounced = false;
    };

    explicit AlarmRecords(const AlarmJournalTypes::Options& in_options);

    /// Returns the record of an alarm that was added, off until `change`. Continues the one with
    /// that id, whose alarm counts as removed. Failure: throws `std::bad_alloc`, without a change.
    Record& add(const std::string& in_strId, const Moment& in_now);

    /// Stores the text and the severity of an alarm. Keeps the old text if there is no memory.
    static void describe(Record& inout_record, std::string_view in_text,
                         Alarm::Severity in_severity) noexcept;

    /// Stores a new state.
    Outcome change(Record& inout_record, State in_state, const Moment& in_now) noexcept;

    /// Stores that the registry has removed the alarm. Deletes the records that were removed first
    /// if there are too many.
    Outcome remove(Record& inout_record, const Moment& in_now) noexcept;

    /// Shelves or unshelves an alarm. If that changes nothing, the id of the outcome is null.
    Outcome shelve(const std::string& in_strId);
    Outcome unshelve(const std::string& in_strId);
    /// Unshelves the alarms that have calmed down.
    std::vector<Outcome> unshelveCalm(const Moment& in_now);

    void addDescription(const AlarmJournalTypes::Description& in_description);

    [[nodiscard]] std::uint64_t changeCount() const { return m_ulAnnounced; }
    [[nodiscard]] std::vector<AlarmJournalTypes::Entry> alarms(const Moment& in_now,
                                                               bool in_bOnlyActive) const;
    [[nodiscard]] std::vector<AlarmJournalTypes::Change> history() const;
    [[nodiscard]] std::vector<AlarmJournalTypes::Change> history(const std::string& in_strId) const;
    [[nodiscard]] std::vector<AlarmJournalTypes::Description> inventory() const;
    [[nodiscard]] AlarmJournalTypes::Summary summary() const;

    [[nodiscard]] static bool isActive(State in_state)
    {
        return in_state == State::on || in_state == State::outOfService;
    }

  private:
    struct ChangeOfAny
    {
        Id pId;
        Record::Change change;
    };

    void enter(Record& inout_record, State in_state, const Moment& in_now) noexcept;
    /// Moves a record to the removed ones.
    void leave(Record& inout_record, const Moment& in_now) noexcept;
    [[nodiscard]] bool flaps(const Record& in_record) const;
    [[nodiscard]] bool isCalm(const Record& in_record, const Moment& in_now) const;
    /// Also begins the search for flapping again.
    void setShelving(Record& inout_record, Shelving in_shelving) noexcept;
    static Outcome outcomeOf(const Record& in_record, Outcome::Shelf in_shelf);
    /// Deletes the records of removed alarms that are too many.
    void deleteOldest() noexcept;

    AlarmJournalTypes::Options m_options;
    std::map<std::string, Record, std::less<>> m_records;
    /// All records are in one of these lists, so that a removal needs no memory.
    std::list<Record*> m_present;
    /// The one that was removed first is the first.
    std::list<Record*> m_removed;
    LastItems<ChangeOfAny> m_history;
    std::map<std::string, AlarmJournalTypes::Description, std::less<>> m_descriptions;
    std::uint64_t m_ulChanges = 0;
    std::uint64_t m_ulAnnounced = 0;
    /// The number of alarms that are shelved as they flap.
    std::size_t m_uiFlapping = 0;
};

} // namespace Velmora

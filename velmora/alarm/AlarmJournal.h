// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/AlarmJournalTypes.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Velmora
{

/// Keeps what an operator asks about the alarms of the process: which are on and since when, how
/// often each has changed, what its last changes were, and what to do about it. The terms are those
/// of RFC 8632.
///
///     Velmora::AlarmJournal journal;
///     journal.describe({"gateway.trunk", Velmora::Alarm::WARN_SEVERITY, "a trunk has no carrier",
///                       "check the cable and the far end"});
///     std::uint64_t ulWritten = 0;
///     while (bRuns)                        // the loop of the program
///     {
///         if (const std::uint64_t ulChanges = journal.poll(); ulChanges != ulWritten)
///         {
///             journal.writeJson(file);
///             ulWritten = ulChanges;
///         }
///         ...
///     }
///
/// A journal calls no function of the program when an alarm changes. Such a function would run
/// with the registry's mutex held, in the middle of any operation of the program: it could not
/// write a file or wait for a lock without holding up all alarms. A descriptor that becomes
/// readable would be shared with the children of a fork. So the program compares `changeCount`, or
/// the result of `poll`, in its own loop.
///
/// What is in it: all alarms of the `AlarmRegistry`, those that it has when the journal is made
/// and those that are added later.
/// - The journal observes each alarm, so it also sees changes that the registry does not pass on:
///   those of an aggregate, of a masked alarm, of an alarm that is called directly, and of an
///   alarm that a script changes.
/// - It observes the registry, so that it sees a change through the handle of an alarm whose class
///   calls no observers.
/// - `poll` reads all states, and sees what such an alarm does by itself.
/// - The state is what `getState` of the alarm returns. If an observer that was added to the alarm
///   before the journal undoes a change at once, the journal does not see that change.
/// - An alarm that is on when it comes in has gone on at that time, as far as the journal knows.
/// - An alarm that the registry removes gets the state `removed`. If it was on, that is a change.
///   It keeps its counts and changes, and continues them if an alarm with its id is added again.
///
/// Shelving: the changes of a shelved alarm are counted, and are in its own history. They are not
/// announced: they are not in the history of all alarms and do not advance `changeCount`. The
/// alarm's own lines on "admin.alarm" are not affected. An alarm is shelved
/// - by an operator (`shelve`), until `unshelve`;
/// - by itself, when it has changed more than `Options::uiFlapChanges` times within
///   `Options::flapTime`. It is unshelved when it has not changed for `Options::calmTime`: by
///   `poll` or by its next change, whichever comes first.
///
/// Log: all lines go to "admin.alarm". They are a WARN when an alarm is shelved, an INFO when it
/// is unshelved, and a line for each announced change of a `SystemOutOfServiceAlarm`, which logs
/// nothing itself. The latter has the form of the lines of other alarms. If a process has several
/// journals, only the first logs it.
///
/// Memory: `Options` bounds it, with 24 bytes for each change of an alarm that is kept. A change
/// allocates nothing unless the text of the alarm has become longer.
///
/// Thread-safety: all operations may be called on any thread, also by observers, alarms and
/// appenders. Readers return copies. The constructor, the destructor and `poll` wait for the
/// registry's mutex. The others wait only for a mutex of the journal, under which no foreign code
/// runs. An alarm that is called directly, not through its handle, must not be called while
/// another thread makes, polls or destroys a journal, adds the alarm or removes it: the journal
/// uses the alarm then, with the registry's mutex held.
/// Ownership: a journal may be destroyed before or after the registry, with alarms on. It must not
/// be destroyed by an observer of an alarm. It observes an alarm that a script owns as long as the
/// registry has it.
/// Failure: the constructor throws `std::bad_alloc`, and so do readers. If there is no memory for
/// an alarm that is added, an ERROR is logged and the next `poll` tries again. If an alarm cannot
/// write its text, the last one is kept.
/// Forks: the child has a copy, which sees the alarms of the child.
class VELMORA_API AlarmJournal : public AlarmJournalTypes
{
  public:
    /// Begins with the alarms of the registry and the default options.
    AlarmJournal();
    explicit AlarmJournal(const Options& in_options, const Clocks& in_clocks = Clocks());
    ~AlarmJournal();
    AlarmJournal(const AlarmJournal&) = delete;
    AlarmJournal& operator=(const AlarmJournal&) = delete;

    /// Adds a description to the inventory, or replaces the one with that id. The journal comes
    /// with those of the library's own alarms: "system.configuration.error", "system.overload" and
    /// "system.out-of-service".
    void describe(const Description& in_description);

    /// Returns the alarms that are on or out of service, by their ids.
    [[nodiscard]] std::vector<Entry> activeAlarms() const;
    /// Returns all alarms, by their ids.
    [[nodiscard]] std::vector<Entry> alarms() const;
    /// Returns the last changes of all alarms, the oldest first.
    [[nodiscard]] std::vector<Change> history() const;
    /// Returns the last changes of one alarm, the oldest first; none for an unknown id.
    [[nodiscard]] std::vector<Change> history(const std::string& in_strId) const;
    /// Returns the alarms that can go on, by their ids: those that were described, and those of the
    /// registry.
    [[nodiscard]] std::vector<Description> inventory() const;
    [[nodiscard]] Summary summary() const;
    [[nodiscard]] Content content() const;

    /// Shelves an alarm until `unshelve`, also one that is shelved as it flaps. Returns false for
    /// an unknown id and for an alarm that an operator has already shelved.
    bool shelve(const std::string& in_strId);
    /// Unshelves an alarm, whatever has shelved it. Returns false if it is not shelved.
    bool unshelve(const std::string& in_strId);

    /// Returns a number that has grown if there were changes of alarms that are not shelved, or if
    /// alarms were added, removed, shelved, unshelved or described.
    [[nodiscard]] std::uint64_t changeCount() const;

    /// Reads the states of all alarms, unshelves those that have calmed down, and returns
    /// `changeCount`. To be called about once a second. Waits for the registry's mutex, so the
    /// caller must not hold a lock that an observer of an alarm takes.
    std::uint64_t poll();

    /// Writes the content as lines for people, with the action for each alarm that is on. Texts are
    /// written as in `EscapedText`, times in RFC 3339, in UTC. Failure: throws `std::bad_alloc`,
    /// with nothing written, and leaves other failures to the state of the stream.
    void writeText(std::ostream& out_stream) const;
    /// Writes the content as one object of JSON (RFC 8259) and the end of a line. Failure: as
    /// `writeText`.
    ///
    ///     {"time":"2026-11-23T03:00:00.042Z","changes":3,
    ///      "summary":[{"severity":"WARN","on":1,"off":0,"shelved":0}],
    ///      "alarms":[{"id":"gateway.trunk","severity":"WARN","state":"on",
    ///                 "since":"2026-11-23T02:59:00.042Z","duration_ms":60000,"times_on":2,
    ///                 "changes":3,"shelved":"no","text":"trunk 17 has no carrier"}],
    ///      "history":[{"time":"2026-11-23T02:59:00.042Z","id":"gateway.trunk","state":"on"}],
    ///      "inventory":[{"id":"gateway.trunk","severity":"WARN","cause":"a trunk has no carrier",
    ///                    "action":"check the cable and the far end","described":true}]}
    ///
    /// A state is "off", "on", "out-of-service" or "removed"; "shelved" is "no", "operator" or
    /// "flapping". A severity that is no level of the log is a number, as a text.
    void writeJson(std::ostream& out_stream) const;

  private:
    class Impl;

    std::unique_ptr<Impl> m_pImpl;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/Alarm.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Velmora
{

/// What an `AlarmJournal` takes and returns. Programs use the types as those of that class.
struct VELMORA_API AlarmJournalTypes
{
    using WallTime = std::chrono::system_clock::time_point;
    using MonotonicTime = std::chrono::steady_clock::time_point;

    struct Options
    {
        /// How many changes of all alarms are kept.
        std::size_t uiHistoryOfAll = 1000;
        /// How many changes of each alarm are kept.
        std::size_t uiHistoryOfEach = 20;
        /// How many alarms are kept that the registry has removed, without those that an operator
        /// has shelved.
        std::size_t uiRemovedAlarms = 100;
        /// An alarm that changes more than this number of times within `flapTime` is shelved. 0:
        /// none is. The journal has memory for this number of changes of each alarm.
        std::size_t uiFlapChanges = 10;
        std::chrono::milliseconds flapTime = std::chrono::seconds(60);
        /// How long an alarm has not changed when it is unshelved.
        std::chrono::milliseconds calmTime = std::chrono::seconds(300);
    };

    /// The sources of time, for tests. An empty function is the clock of the system. They are
    /// called without a lock of the journal, and must not throw.
    struct Clocks
    {
        std::function<WallTime()> wall;
        std::function<MonotonicTime()> monotonic;
    };

    enum class State
    {
        off,
        on,
        /// A `SystemOutOfServiceAlarm` is on: the program does not serve, as intended.
        outOfService,
        /// The registry has removed the alarm.
        removed
    };

    enum class Shelving
    {
        no,
        byOperator,
        flapping
    };

    /// An alarm.
    struct Entry
    {
        std::string strId;
        /// That of the alarm itself, which its handle does not return.
        Alarm::Severity severity = Alarm::ERROR_SEVERITY;
        /// What `writeDescription` wrote when the alarm last went on, or came in.
        std::string strText;
        State state = State::off;
        /// When the alarm got its state, or came in.
        WallTime since;
        /// The time since then, by the monotonic clock. Stays right when the wall clock is set.
        std::chrono::milliseconds duration{0};
        /// How many times it has gone on.
        std::uint64_t ulTimesOn = 0;
        std::uint64_t ulChanges = 0;
        Shelving shelving = Shelving::no;
    };

    /// A change of an alarm to a state.
    struct Change
    {
        std::string strId;
        State state = State::off;
        WallTime time;
        MonotonicTime monotonicTime;
    };

    /// What an operator needs to know of an alarm that can go on.
    // NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): a few, made once.
    struct Description
    {
        std::string strId;
        Alarm::Severity severity = Alarm::ERROR_SEVERITY;
        std::string strCause;
        /// The corrective action.
        std::string strAction;
        /// False for an alarm of the registry that no one has described. Its severity and its cause
        /// are then those of the `Entry`, and its action is empty.
        bool bDescribed = true;
    };

    /// The number of alarms of a severity. Removed alarms are not counted.
    struct SeverityCount
    {
        Alarm::Severity severity = Alarm::ERROR_SEVERITY;
        /// On or out of service, and not shelved.
        std::size_t uiOn = 0;
        /// Off, and not shelved.
        std::size_t uiOff = 0;
        std::size_t uiShelved = 0;
    };

    struct Summary
    {
        /// The highest severity first. A severity that no alarm has is not in it.
        std::vector<SeverityCount> counts;
        /// Of all alarms, shelved and removed ones included.
        std::uint64_t ulChanges = 0;
    };

    /// All of it, as it was at one time.
    struct Content
    {
        WallTime time;
        /// See `AlarmJournal::changeCount`.
        std::uint64_t ulChangeCount = 0;
        Summary summary;
        std::vector<Entry> alarms;
        std::vector<Change> history;
        std::vector<Description> inventory;
    };
};

} // namespace Velmora

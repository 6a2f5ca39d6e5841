// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRecords.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <iterator>
#include <new>
#include <utility>

namespace Velmora
{

namespace
{

std::chrono::milliseconds durationSince(const AlarmRecords::Moment& in_begin,
                                        const AlarmRecords::Moment& in_now)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(in_now.monotonic -
                                                                 in_begin.monotonic);
}

AlarmJournalTypes::Change changeOf(const AlarmRecords::Id& in_pId,
                                   const AlarmRecords::Record::Change& in_change)
{
    return {*in_pId, in_change.state, in_change.time.wall, in_change.time.monotonic};
}

} // namespace

AlarmRecords::AlarmRecords(const AlarmJournalTypes::Options& in_options)
    : m_options(in_options), m_history(in_options.uiHistoryOfAll)
{
}

AlarmRecords::Record& AlarmRecords::add(const std::string& in_strId, const Moment& in_now)
{
    if (const auto found = m_records.find(in_strId); found != m_records.end())
    {
        Record& record = found->second;
        if (record.state != State::removed)
            leave(record, in_now);
        m_present.splice(m_present.end(), m_removed, record.place);
        record.state = State::off;
        record.since = in_now;
        ++record.ulAdded;
        ++m_ulAnnounced;
        return record;
    }
    Record record;
    record.ulAdded = 1;
    record.pId = std::make_shared<const std::string>(in_strId);
    record.since = in_now;
    // Flapping is found by the times of the last changes.
    record.changes =
        LastItems<Record::Change>(std::max(m_options.uiHistoryOfEach, m_options.uiFlapChanges + 1));
    std::list<Record*> place(1);
    Record& added = m_records.emplace(in_strId, std::move(record)).first->second;
    added.place = place.begin();
    place.front() = &added;
    m_present.splice(m_present.end(), place);
    ++m_ulAnnounced;
    return added;
}

void AlarmRecords::describe(Record& inout_record, std::string_view in_text,
                            Alarm::Severity in_severity) noexcept
{
    inout_record.severity = in_severity;
    try
    {
        if (inout_record.strText != in_text)
            inout_record.strText = in_text;
    }
    catch (const std::bad_alloc&) // NOLINT(bugprone-empty-catch): the change itself is more
                                  // important.
    {
    }
}

void AlarmRecords::enter(Record& inout_record, State in_state, const Moment& in_now) noexcept
{
    inout_record.state = in_state;
    inout_record.since = in_now;
    ++inout_record.ulChanges;
    ++m_ulChanges;
    if (isActive(in_state))
        ++inout_record.ulTimesOn;
    inout_record.changes.add({in_state, in_now});
    if (inout_record.shelving != Shelving::no)
        return;
    ++m_ulAnnounced;
    m_history.add({inout_record.pId, {in_state, in_now}});
}

AlarmRecords::Outcome AlarmRecords::change(Record& inout_record, State in_state,
                                           const Moment& in_now) noexcept
{
    Outcome outcome;
    if (isCalm(inout_record, in_now))
    {
        outcome = outcomeOf(inout_record, Outcome::Shelf::calm);
        setShelving(inout_record, Shelving::no);
    }
    enter(inout_record, in_state, in_now);
    outcome.pId = inout_record.pId;
    outcome.state = in_state;
    outcome.bAnnounced = inout_record.shelving == Shelving::no;
    if (flaps(inout_record))
    {
        setShelving(inout_record, Shelving::flapping);
        outcome.shelf = Outcome::Shelf::flaps;
    }
    return outcome;
}

AlarmRecords::Outcome AlarmRecords::remove(Record& inout_record, const Moment& in_now) noexcept
{
    Outcome outcome;
    if (inout_record.shelving == Shelving::flapping)
    {
        outcome = outcomeOf(inout_record, Outcome::Shelf::removed);
        setShelving(inout_record, Shelving::no);
    }
    outcome.pId = inout_record.pId;
    outcome.state = State::removed;
    leave(inout_record, in_now);
    deleteOldest();
    return outcome;
}

void AlarmRecords::leave(Record& inout_record, const Moment& in_now) noexcept
{
    if (isActive(inout_record.state))
        enter(inout_record, State::removed, in_now);
    inout_record.state = State::removed;
    inout_record.since = in_now;
    // An alarm that is added again has not flapped.
    inout_record.ulChangesWhenCalm = inout_record.ulChanges;
    ++m_ulAnnounced;
    m_removed.splice(m_removed.end(), m_present, inout_record.place);
}

void AlarmRecords::deleteOldest() noexcept
{
    std::size_t uiKept = 0;
    for (auto place = m_removed.end(); place != m_removed.begin();)
    {
        const Record& record = **--place;
        if (record.shelving != Shelving::no || ++uiKept <= m_options.uiRemovedAlarms)
            continue;
        m_records.erase(m_records.find(*record.pId));
        place = m_removed.erase(place);
    }
}

bool AlarmRecords::flaps(const Record& in_record) const
{
    const std::size_t uiChanges = m_options.uiFlapChanges;
    if (uiChanges == 0 || in_record.shelving != Shelving::no ||
        in_record.ulChanges - in_record.ulChangesWhenCalm <= uiChanges)
        return false;
    const auto& changes = in_record.changes;
    return durationSince(changes[changes.size() - 1 - uiChanges].time,
                         changes[changes.size() - 1].time) <= m_options.flapTime;
}

bool AlarmRecords::isCalm(const Record& in_record, const Moment& in_now) const
{
    return in_record.shelving == Shelving::flapping &&
           durationSince(in_record.since, in_now) >= m_options.calmTime;
}

void AlarmRecords::setShelving(Record& inout_record, Shelving in_shelving) noexcept
{
    if (inout_record.shelving == Shelving::flapping)
        --m_uiFlapping;
    if (in_shelving == Shelving::flapping)
        ++m_uiFlapping;
    if (inout_record.shelving == Shelving::no)
        inout_record.ulChangesWhenShelved = inout_record.ulChanges;
    inout_record.shelving = in_shelving;
    inout_record.ulChangesWhenCalm = inout_record.ulChanges;
    ++m_ulAnnounced;
}

AlarmRecords::Outcome AlarmRecords::outcomeOf(const Record& in_record, Outcome::Shelf in_shelf)
{
    return {in_record.pId, in_record.state, in_shelf,
            in_record.ulChanges - in_record.ulChangesWhenShelved};
}

AlarmRecords::Outcome AlarmRecords::shelve(const std::string& in_strId)
{
    const auto found = m_records.find(in_strId);
    if (found == m_records.end() || found->second.shelving == Shelving::byOperator)
        return {};
    setShelving(found->second, Shelving::byOperator);
    return outcomeOf(found->second, Outcome::Shelf::shelvedByOperator);
}

AlarmRecords::Outcome AlarmRecords::unshelve(const std::string& in_strId)
{
    const auto found = m_records.find(in_strId);
    if (found == m_records.end() || found->second.shelving == Shelving::no)
        return {};
    setShelving(found->second, Shelving::no);
    return outcomeOf(found->second, Outcome::Shelf::unshelvedByOperator);
}

std::vector<AlarmRecords::Outcome> AlarmRecords::unshelveCalm(const Moment& in_now)
{
    std::vector<Outcome> outcomes;
    if (m_uiFlapping == 0)
        return outcomes;
    outcomes.reserve(m_uiFlapping);
    for (Record* const pRecord : m_present)
        if (isCalm(*pRecord, in_now))
        {
            outcomes.push_back(outcomeOf(*pRecord, Outcome::Shelf::calm));
            setShelving(*pRecord, Shelving::no);
        }
    return outcomes;
}

void AlarmRecords::addDescription(const AlarmJournalTypes::Description& in_description)
{
    m_descriptions.insert_or_assign(in_description.strId, in_description).first->second.bDescribed =
        true;
    ++m_ulAnnounced;
}

std::vector<AlarmJournalTypes::Entry> AlarmRecords::alarms(const Moment& in_now,
                                                           bool in_bOnlyActive) const
{
    std::vector<AlarmJournalTypes::Entry> entries;
    if (!in_bOnlyActive)
        entries.reserve(m_records.size());
    for (const auto& [strId, record] : m_records)
        if (!in_bOnlyActive || isActive(record.state))
            entries.push_back({strId, record.severity, record.strText, record.state,
                               record.since.wall, durationSince(record.since, in_now),
                               record.ulTimesOn, record.ulChanges, record.shelving});
    return entries;
}

std::vector<AlarmJournalTypes::Change> AlarmRecords::history() const
{
    std::vector<AlarmJournalTypes::Change> changes;
    changes.reserve(m_history.size());
    for (std::size_t uiIndex = 0; uiIndex != m_history.size(); ++uiIndex)
        changes.push_back(changeOf(m_history[uiIndex].pId, m_history[uiIndex].change));
    return changes;
}

std::vector<AlarmJournalTypes::Change> AlarmRecords::history(const std::string& in_strId) const
{
    std::vector<AlarmJournalTypes::Change> changes;
    const auto found = m_records.find(in_strId);
    if (found == m_records.end())
        return changes;
    const auto& all = found->second.changes;
    const std::size_t uiChanges = std::min(all.size(), m_options.uiHistoryOfEach);
    changes.reserve(uiChanges);
    for (std::size_t uiIndex = all.size() - uiChanges; uiIndex != all.size(); ++uiIndex)
        changes.push_back(changeOf(found->second.pId, all[uiIndex]));
    return changes;
}

std::vector<AlarmJournalTypes::Description> AlarmRecords::inventory() const
{
    std::vector<AlarmJournalTypes::Description> all;
    all.reserve(m_descriptions.size() + m_records.size());
    for (const auto& [strId, description] : m_descriptions)
        all.push_back(description);
    for (const auto& [strId, record] : m_records)
        if (record.state != State::removed && !m_descriptions.contains(strId))
            all.push_back({strId, record.severity, record.strText, "", false});
    std::sort(all.begin(), all.end(),
              [](const AlarmJournalTypes::Description& in_left,
                 const AlarmJournalTypes::Description& in_right)
              { return in_left.strId < in_right.strId; });
    return all;
}

AlarmJournalTypes::Summary AlarmRecords::summary() const
{
    std::map<Alarm::Severity, AlarmJournalTypes::SeverityCount, std::greater<>> counts;
    for (const Record* const pRecord : m_present)
    {
        AlarmJournalTypes::SeverityCount& count = counts[pRecord->severity];
        count.severity = pRecord->severity;
        if (pRecord->shelving != Shelving::no)
            ++count.uiShelved;
        else if (isActive(pRecord->state))
            ++count.uiOn;
        else
            ++count.uiOff;
    }
    AlarmJournalTypes::Summary summary;
    summary.ulChanges = m_ulChanges;
    for (const auto& [severity, count] : counts)
        summary.counts.push_back(count);
    return summary;
}

} // namespace Velmora

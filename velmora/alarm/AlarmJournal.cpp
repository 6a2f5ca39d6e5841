// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmJournal.h"

#include "velmora/alarm/AlarmJournalImpl.h"
#include "velmora/alarm/AlarmJournalText.h"

#include <ostream>

namespace Velmora
{

AlarmJournal::AlarmJournal() : AlarmJournal(Options()) {}

AlarmJournal::AlarmJournal(const Options& in_options, const Clocks& in_clocks)
    : m_pImpl(std::make_unique<Impl>(in_options, in_clocks))
{
    m_pImpl->begin();
}

AlarmJournal::~AlarmJournal() = default;

void AlarmJournal::describe(const Description& in_description)
{
    m_pImpl->describe(in_description);
}

std::vector<AlarmJournal::Entry> AlarmJournal::activeAlarms() const
{
    return m_pImpl->alarms(true);
}

std::vector<AlarmJournal::Entry> AlarmJournal::alarms() const { return m_pImpl->alarms(false); }

std::vector<AlarmJournal::Change> AlarmJournal::history() const { return m_pImpl->history(); }

std::vector<AlarmJournal::Change> AlarmJournal::history(const std::string& in_strId) const
{
    return m_pImpl->history(in_strId);
}

std::vector<AlarmJournal::Description> AlarmJournal::inventory() const
{
    return m_pImpl->inventory();
}

AlarmJournal::Summary AlarmJournal::summary() const { return m_pImpl->summary(); }

AlarmJournal::Content AlarmJournal::content() const { return m_pImpl->content(); }

bool AlarmJournal::shelve(const std::string& in_strId) { return m_pImpl->shelve(in_strId); }

bool AlarmJournal::unshelve(const std::string& in_strId) { return m_pImpl->unshelve(in_strId); }

std::uint64_t AlarmJournal::changeCount() const { return m_pImpl->changeCount(); }

std::uint64_t AlarmJournal::poll() { return m_pImpl->poll(); }

void AlarmJournal::writeText(std::ostream& out_stream) const
{
    out_stream << AlarmJournalText::text(content());
}

void AlarmJournal::writeJson(std::ostream& out_stream) const
{
    out_stream << AlarmJournalText::json(content());
}

} // namespace Velmora

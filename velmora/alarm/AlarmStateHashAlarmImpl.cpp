// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmStateHashAlarmImpl.h"

#include "velmora/alarm/AlarmId.h"
#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AlarmImpl)

namespace Velmora
{

AlarmStateHashAlarmImpl::AlarmStateHashAlarmImpl(Severity in_severity) : AlarmImpl(in_severity) {}

AlarmStateHashAlarmImpl::~AlarmStateHashAlarmImpl()
{
    // Without the allocator, the exit list has run and has freed the states with it.
    if (StaticAccountMemAllocator::getAllocator() != nullptr)
        m_alarmStateHash.destroy();
}

void AlarmStateHashAlarmImpl::addAlarm(Alarm& inout_alarm)
{
    const AlarmId id(inout_alarm);
    // Entered before it is observed, so that no change arrives for an alarm without an entry.
    const bool bInserted = m_alarmStateHash.insert(id.text(), inout_alarm.getState()).second;
    VELMORA_FILE_ASSERT_TEXT(bInserted, "insertResult.second");
    if (!bInserted)
        return;
    inout_alarm.addObserver(this);
    onNewAlarmState();
}

void AlarmStateHashAlarmImpl::newAlarmState(const Alarm& in_alarm, State in_state)
{
    const AlarmId id(in_alarm);
    const AlarmStateHash::iterator found = m_alarmStateHash.find(id.text());
    VELMORA_FILE_ASSERT(found != m_alarmStateHash.end());
    if (found == m_alarmStateHash.end() || found->second == in_state)
        return;
    found->second = in_state;
    onNewAlarmState();
}

bool AlarmStateHashAlarmImpl::isAnyAlarmOn() const
{
    for (const AlarmStateHash::value_type& entry : m_alarmStateHash)
        if (entry.second == ALARM_ON)
            return true;
    return false;
}

} // namespace Velmora

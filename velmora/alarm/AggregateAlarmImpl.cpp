// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AggregateAlarmImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AlarmImpl)

namespace Velmora
{

AggregateAlarmImpl::AggregateAlarmImpl(Severity in_severity) : AlarmStateHashAlarmImpl(in_severity)
{
}

AggregateAlarmImpl::~AggregateAlarmImpl() = default;

void AggregateAlarmImpl::onNewAlarmState()
{
    const bool bAnyAlarmOn = isAnyAlarmOn();
    if (bAnyAlarmOn == m_bAnyAlarmOn)
        return;
    m_bAnyAlarmOn = bAnyAlarmOn;
    // An alarm whose own state is on is on in either case.
    if (m_ownState == ALARM_OFF)
        AlarmImpl::setState(bAnyAlarmOn ? ALARM_ON : ALARM_OFF);
}

void AggregateAlarmImpl::setState(State in_state)
{
    if (in_state == m_ownState)
        return;
    m_ownState = in_state;
    // The watched alarms keep this one on; `onNewAlarmState` turns it off after the last of them.
    if (m_bAnyAlarmOn)
        VELMORA_FILE_ASSERT(getState() == ALARM_ON);
    else
        AlarmImpl::setState(in_state);
}

} // namespace Velmora

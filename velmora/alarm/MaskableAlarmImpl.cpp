// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/MaskableAlarmImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AlarmImpl)

namespace Velmora
{

MaskableAlarmImpl::MaskableAlarmImpl(Severity in_severity) : AlarmStateHashAlarmImpl(in_severity) {}

MaskableAlarmImpl::~MaskableAlarmImpl() = default;

void MaskableAlarmImpl::onNewAlarmState()
{
    const bool bAnyAlarmOn = isAnyAlarmOn();
    if (bAnyAlarmOn == m_bAnyAlarmOn)
        return;
    m_bAnyAlarmOn = bAnyAlarmOn;
    // An alarm whose own state is off is off, masked or not.
    if (m_ownState == ALARM_ON)
        AlarmImpl::setState(bAnyAlarmOn ? ALARM_OFF : ALARM_ON);
}

void MaskableAlarmImpl::setState(State in_state)
{
    if (in_state == m_ownState)
        return;
    m_ownState = in_state;
    // A masked alarm stays off; `onNewAlarmState` shows its own state when the mask is removed.
    if (m_bAnyAlarmOn)
        VELMORA_FILE_ASSERT(getState() == ALARM_OFF);
    else
        AlarmImpl::setState(in_state);
}

} // namespace Velmora

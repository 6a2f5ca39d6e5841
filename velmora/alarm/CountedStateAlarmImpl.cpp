// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/CountedStateAlarmImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AlarmImpl)

namespace Velmora
{

CountedStateAlarmImpl::CountedStateAlarmImpl(Severity in_severity)
{
    // The most derived class has constructed the virtual base, with a severity of its choice.
    storeSeverity(in_severity);
}

CountedStateAlarmImpl::~CountedStateAlarmImpl() = default;

void CountedStateAlarmImpl::setState(State in_state)
{
    if (in_state == ALARM_ON)
    {
        if (++m_uiNumOn == 1)
            AlarmImpl::setState(ALARM_ON);
        return;
    }
    VELMORA_FILE_ASSERT(m_uiNumOn > 0);
    if (m_uiNumOn != 0 && --m_uiNumOn == 0)
        AlarmImpl::setState(ALARM_OFF);
}

} // namespace Velmora

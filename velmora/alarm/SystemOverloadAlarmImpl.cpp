// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemOverloadAlarmImpl.h"

#include "velmora/alarm/AggregateSystemOverloadAlarm.h"
#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AlarmImpl)

namespace Velmora
{

SystemOverloadAlarmImpl::SystemOverloadAlarmImpl()
{
    // The most derived class has constructed the virtual base, with a severity of its choice.
    storeSeverity(WARN_SEVERITY);
}

SystemOverloadAlarmImpl::~SystemOverloadAlarmImpl() = default;

void SystemOverloadAlarmImpl::setState(State in_state)
{
    leaveAggregateThatHasGone();
    // Joins before the state changes, so that the system's alarm observes the change.
    if (in_state == ALARM_ON)
        aggregate();
    AlarmImpl::setState(in_state);
}

void SystemOverloadAlarmImpl::aggregate()
{
    if (m_bAggregated)
        return;
    m_bAggregated = true;
    AggregateSystemOverloadAlarm* const pAggregate =
        AggregateSystemOverloadAlarm::sGetRegistryInstance();
    VELMORA_FILE_ASSERT(pAggregate != nullptr);
    if (pAggregate == nullptr)
        return;
    m_pAggregate = pAggregate;
    pAggregate->addAlarm(*this);
}

void SystemOverloadAlarmImpl::leaveAggregateThatHasGone()
{
    if (m_pAggregate.isNull())
        return;
    const bool bIsThere = AggregateSystemOverloadAlarm::sIsThere();
    VELMORA_FILE_ASSERT_TEXT(bIsThere, "AggregateSystemOverloadAlarm::sIsThere()");
    if (bIsThere)
        return;
    removeObserver(m_pAggregate);
    m_pAggregate = nullptr;
}

} // namespace Velmora

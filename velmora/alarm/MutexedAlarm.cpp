// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/MutexedAlarm.h"

#include <utility>

namespace Velmora
{

using Lock = AlarmMutex::Guard;

MutexedAlarm::MutexedAlarm(AlarmMutex& in_mutex, AlarmRegistry::Observer& in_observers,
                           AlarmPtr in_pAlarm)
    : m_mutex(in_mutex), m_observers(in_observers), m_pAlarm(std::move(in_pAlarm))
{
}

MutexedAlarm::~MutexedAlarm() = default;

std::ostream& MutexedAlarm::writeAlarmId(std::ostream& out_stream) const
{
    const Lock lock(m_mutex);
    return m_pAlarm->writeAlarmId(out_stream);
}

std::ostream& MutexedAlarm::writeDescription(std::ostream& out_stream) const
{
    const Lock lock(m_mutex);
    return m_pAlarm->writeDescription(out_stream);
}

std::ostream& MutexedAlarm::write(std::ostream& out_stream) const
{
    const Lock lock(m_mutex);
    return m_pAlarm->write(out_stream);
}

Alarm::State MutexedAlarm::getState() const
{
    const Lock lock(m_mutex);
    return m_pAlarm->getState();
}

void MutexedAlarm::setState(State in_state)
{
    // One lock for all steps: observers of the registry see the changes in their order.
    const Lock lock(m_mutex);
    if (m_pAlarm->getState() == in_state)
        return;
    m_pAlarm->setState(in_state);
    m_observers.newAlarmState(*m_pAlarm);
}

void MutexedAlarm::addObserver(LimitedObjPtr<Observer> in_pObserver)
{
    const Lock lock(m_mutex);
    m_pAlarm->addObserver(in_pObserver);
}

void MutexedAlarm::removeObserver(LimitedObjPtr<Observer> in_pObserver)
{
    const Lock lock(m_mutex);
    m_pAlarm->removeObserver(in_pObserver);
}

} // namespace Velmora

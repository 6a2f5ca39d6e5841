// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/PyRedirectAlarm.h"

namespace Velmora
{

PyRedirectAlarm::PyRedirectAlarm(const TSPyObjPtr& in_pObject, Alarm* in_pAlarm)
    : m_pObject(in_pObject), m_pAlarm(in_pAlarm)
{
}

PyRedirectAlarm::~PyRedirectAlarm() = default;

std::ostream& PyRedirectAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return m_pAlarm->writeAlarmId(out_stream);
}

std::ostream& PyRedirectAlarm::writeDescription(std::ostream& out_stream) const
{
    return m_pAlarm->writeDescription(out_stream);
}

std::ostream& PyRedirectAlarm::write(std::ostream& out_stream) const
{
    return m_pAlarm->write(out_stream);
}

Alarm::State PyRedirectAlarm::getState() const { return m_pAlarm->getState(); }

void PyRedirectAlarm::setState(State in_state) { m_pAlarm->setState(in_state); }

void PyRedirectAlarm::addObserver(LimitedObjPtr<Observer> in_pObserver)
{
    m_pAlarm->addObserver(in_pObserver);
}

void PyRedirectAlarm::removeObserver(LimitedObjPtr<Observer> in_pObserver)
{
    m_pAlarm->removeObserver(in_pObserver);
}

} // namespace Velmora

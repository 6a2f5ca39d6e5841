// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmImpl.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <algorithm>
#include <cstddef>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(AlarmImpl)

namespace Velmora
{

AceCleanupLogger* LibraryLoggers::AdminAlarm()
{
    static AceCleanupLogger* const s_pLogger = new AceCleanupLogger(s_szAdminAlarmName);
    return s_pLogger;
}

AceCleanupLogger* adminAlarmLogger() { return LibraryLoggers::AdminAlarm(); }

namespace
{

[[maybe_unused]] const AceCleanupLogger* const __force_init_logger__adminAlarmLogger =
    (bringUpLibrary(), adminAlarmLogger());

} // namespace

AlarmImpl::AlarmImpl(Severity in_severity) : m_severity(in_severity) {}

AlarmImpl::~AlarmImpl() = default;

Alarm::Severity AlarmImpl::getSeverity() const { return m_severity; }

Alarm::State AlarmImpl::getState() const { return m_state; }

void AlarmImpl::setState(State in_state)
{
    if (storeState(in_state)) [[unlikely]]
        logAndNotify();
}

void AlarmImpl::logAndNotify()
{
    // A static of the program may change an alarm after the exit list has deleted the logger.
    if (const AceCleanupLogger* const pLogger = AceCleanupLogger::ifAlive(adminAlarmLogger()))
    {
        const LogLevel level =
            m_state == ALARM_ON ? static_cast<LogLevel>(getSeverity()) : INFO_LOG_LEVEL;
        VELMORA_LOG(*pLogger, level, *this);
    }
    notifyObservers();
}

void AlarmImpl::notifyObservers()
{
    // By index, as an iterator would be invalidated if an observer broke the rule and added one.
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t uiIndex = 0; uiIndex < m_observers.size(); ++uiIndex)
        if (const LimitedObjPtr<Observer> pObserver = m_observers[uiIndex])
            pObserver->newAlarmState(*this, m_state);
}

void AlarmImpl::addObserver(LimitedObjPtr<Observer> in_pObserver)
{
    m_observers.push_back(in_pObserver);
}

void AlarmImpl::removeObserver(LimitedObjPtr<Observer> in_pObserver)
{
    const auto found = std::find(m_observers.begin(), m_observers.end(), in_pObserver);
    if (found != m_observers.end())
        m_observers.erase(found);
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "LoadMonitor.h"

#include "BadSetting.h"
#include "RequiredParameters.h"
#include "ResourceOverloadAlarm.h"

#include "velmora/logging/LogMacros.h"

#include <utility>

using namespace Velmora;

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.LoadMonitor")

namespace GatewayExample
{

namespace
{

std::string text(double in_dValue)
{
    std::ostringstream stream;
    stream << in_dValue;
    return std::move(stream).str();
}

void checkThresholds(const ROConfiguration& in_config, const std::string& in_strPrefix)
{
    const std::string strSet = in_strPrefix + "." + s_szRESOURCE_MONITOR_SET_ALARM_THRESHOLD_PARAM;
    const std::string strReset =
        in_strPrefix + "." + s_szRESOURCE_MONITOR_RESET_ALARM_THRESHOLD_PARAM;
    const float fSet = requiredFloat(in_config, strSet);
    const float fReset = requiredFloat(in_config, strReset);
    if (!(fReset < fSet))
        throw BadSetting(strReset, text(fReset),
                         "it must be below " + strSet + ", which is " + text(fSet));
}

std::chrono::milliseconds period(const ROConfiguration& in_config, const std::string& in_strPrefix)
{
    const std::string strName = in_strPrefix + ".monitoringPeriodInMs";
    const int iValue = requiredInt(in_config, strName);
    if (iValue < 0)
        throw BadSetting(strName, std::to_string(iValue),
                         "it must be above 0, or 0 for no monitor");
    return std::chrono::milliseconds(iValue);
}

} // namespace

LoadMonitor::LoadMonitor(const EventLoop& in_loop, const char* in_szResource,
                         const std::string& in_strPrefix, const ROConfiguration& in_config)
    : m_strResource(in_szResource), m_period(period(in_config, in_strPrefix)), m_timer(in_loop)
{
    checkThresholds(in_config, in_strPrefix);
    m_pAlarm = ResourceOverloadAlarm::add(m_strResource);
    if (!m_monitor.configure(m_pAlarm, in_strPrefix.c_str(), in_config))
        throw BadSetting(in_strPrefix, "", "the monitor cannot be configured ; see above");
}

void LoadMonitor::check(const std::string& in_strPrefix, const ROConfiguration& in_config)
{
    static_cast<void>(period(in_config, in_strPrefix));
    checkThresholds(in_config, in_strPrefix);
}

void LoadMonitor::start(Observe in_observe)
{
    m_observe = std::move(in_observe);
    if (m_period.count() > 0)
        m_timer.start(m_period, [this] { observe(); });
}

void LoadMonitor::stop() { m_timer.cancel(); }

bool LoadMonitor::isOverloaded() const { return m_pAlarm->getState() == Alarm::ALARM_ON; }

void LoadMonitor::observe()
{
    m_timer.start(m_period, [this] { observe(); });
    // The timer is started before, so that an exception of the observation does not end the
    // monitoring.
    const std::optional<double> value = m_observe();
    if (!value)
        return;
    VELMORA_FILE_LOG_DEBUG(m_strResource << " in use : " << *value);
    m_monitor.pushObservation(*value);
}

} // namespace GatewayExample

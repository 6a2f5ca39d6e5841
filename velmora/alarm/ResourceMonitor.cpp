// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/ResourceMonitor.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/Configuration.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/TraceScope.h"

#include <new>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ResourceMonitor)

namespace Velmora
{

namespace
{

/// Returns the name of a parameter under a prefix, which may be null or empty.
std::string keyOf(const char* in_szPrefix, const char* in_szName)
{
    if (in_szPrefix == nullptr || *in_szPrefix == '\0')
        return in_szName;
    return std::string(in_szPrefix) + "." + in_szName;
}

/// Returns null if there is not enough memory.
std::unique_ptr<SlidingWindowAvgComputer> makeComputer(unsigned long in_uiWindowSize)
try
{
    return std::make_unique<SlidingWindowAvgComputer>(in_uiWindowSize);
}
catch (const std::bad_alloc&)
{
    return nullptr;
}

} // namespace

AverageResourceUsageMonitor::AverageResourceUsageMonitor()
    : CachedLLLogger(LibraryLoggers::s_szResourceMonitorName)
{
    VELMORA_FILE_TRACE_SCOPE(AverageResourceUsageMonitor::AverageResourceUsageMonitor());
}

AverageResourceUsageMonitor::~AverageResourceUsageMonitor()
{
    VELMORA_FILE_TRACE_SCOPE(AverageResourceUsageMonitor::~AverageResourceUsageMonitor());
}

bool AverageResourceUsageMonitor::configure(const LimitedObjPtr<Alarm>& in_pAlarm,
                                            double in_dResetAlarmThreshold,
                                            double in_dSetAlarmThreshold,
                                            unsigned long in_uiAverageWindowSize)
{
    VELMORA_FILE_TRACE_SCOPE(AverageResourceUsageMonitor::configure());
    cacheLogLevel();
    VELMORA_FILE_ASSERT(!in_pAlarm.isNull());
    if (in_pAlarm.isNull())
        return false;
    m_pAlarm = in_pAlarm;
    const bool bInOrder = in_dResetAlarmThreshold < in_dSetAlarmThreshold;
    VELMORA_FILE_ASSERT_TEXT(bInOrder, "in_resetAlarmThreshold < in_setAlarmThreshold");
    if (!bInOrder)
        return false;
    m_setAlarmThreshold = in_dSetAlarmThreshold;
    m_resetAlarmThreshold = in_dResetAlarmThreshold;
    m_pAvgComputer = makeComputer(in_uiAverageWindowSize);
    if (m_pAvgComputer == nullptr)
    {
        VELMORA_LOG(*this, ERROR_LOG_LEVEL, "failed to allocated average computer");
        return false;
    }
    std::string strId;
    m_pAlarm->getAlarmId(strId);
    VELMORA_LOG(*this, DEBUG_LOG_LEVEL,
                "AverageResourceUsageMonitor::configure() : m_pAlarm="
                    << strId << ", m_setAlarmThreshold=" << m_setAlarmThreshold
                    << ", m_resetAlarmThreshold=" << m_resetAlarmThreshold
                    << ", in_uiAverageWindowSize=" << in_uiAverageWindowSize);
    return true;
}

bool AverageResourceUsageMonitor::configure(const LimitedObjPtr<Alarm>& in_pAlarm,
                                            const char* in_szPrefix,
                                            const ROConfiguration& in_config)
{
    VELMORA_FILE_TRACE_SCOPE(AverageResourceUsageMonitor::configure());
    unsigned long uiWindowSize = 0;
    double dSetAlarmThreshold = 0;
    double dResetAlarmThreshold = 0;
    if (!getConfigParameter(in_config, in_szPrefix, s_szRESOURCE_MONITOR_AVG_WINDOW_SIZE_PARAM,
                            uiWindowSize))
        return false;
    // `getConfigParameter` has converted a negative value to a very large one.
    const long iWindowSize = static_cast<long>(uiWindowSize);
    if (iWindowSize < 1)
    {
        VELMORA_LOG(*this, ERROR_LOG_LEVEL,
                    keyOf(in_szPrefix, s_szRESOURCE_MONITOR_AVG_WINDOW_SIZE_PARAM)
                        << " = " << iWindowSize << " : a window holds at least 1 observation");
        return false;
    }
    return getConfigParameter(in_config, in_szPrefix,
                              s_szRESOURCE_MONITOR_SET_ALARM_THRESHOLD_PARAM, dSetAlarmThreshold) &&
           getConfigParameter(in_config, in_szPrefix,
                              s_szRESOURCE_MONITOR_RESET_ALARM_THRESHOLD_PARAM,
                              dResetAlarmThreshold) &&
           configure(in_pAlarm, dResetAlarmThreshold, dSetAlarmThreshold, uiWindowSize);
}

bool AverageResourceUsageMonitor::pushObservation(const double& in_dValue)
{
    const TraceScope traceScope(*this, "AverageResourceUsageMonitor::pushObservation()",
                                getLogLevel());
    VELMORA_FILE_ASSERT_TEXT(m_pAvgComputer != nullptr,
                             "!m_pAvgComputer.isNull() && \"please call configure prior to use "
                             "the \" \"resource monitor\"");
    if (m_pAvgComputer == nullptr)
        return false;
    VELMORA_FILE_ASSERT_TEXT(!m_pAlarm.isNull(),
                             "!m_pAlarm.isNull() && \"please call configure prior to use the \" "
                             "\"resource monitor\"");
    if (m_pAlarm.isNull())
        return false;
    m_pAvgComputer->addData(in_dValue);
    const Fallible<double> average = m_pAvgComputer->getAvg();
    if (!average.isValid())
        return true;
    if (average.get() >= m_setAlarmThreshold)
        m_pAlarm->set();
    else if (average.get() < m_resetAlarmThreshold)
        m_pAlarm->reset();
    return true;
}

bool AverageResourceUsageMonitor::getConfigParameter(const ROConfiguration& in_config,
                                                     const char* in_szPrefix, const char* in_szName,
                                                     unsigned long& out_uiValue) const
{
    const std::string strKey = keyOf(in_szPrefix, in_szName);
    int iValue = 0;
    if (!in_config.getIntParameter(strKey.c_str(), iValue))
        return logMissing(strKey);
    out_uiValue = static_cast<unsigned long>(iValue);
    return true;
}

bool AverageResourceUsageMonitor::getConfigParameter(const ROConfiguration& in_config,
                                                     const char* in_szPrefix, const char* in_szName,
                                                     double& out_dValue) const
{
    const std::string strKey = keyOf(in_szPrefix, in_szName);
    float fValue = 0;
    if (!in_config.getFloatParameter(strKey.c_str(), fValue))
        return logMissing(strKey);
    out_dValue = static_cast<double>(fValue);
    return true;
}

bool AverageResourceUsageMonitor::logMissing(const std::string& in_strKey) const
{
    VELMORA_LOG(*this, ERROR_LOG_LEVEL,
                "failed to get the parameters " << in_strKey << " from the configuration");
    return false;
}

} // namespace Velmora

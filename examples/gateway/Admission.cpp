// SPDX-License-Identifier: BSD-2-Clause

#include "Admission.h"

#include "OwnParameters.h"

#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/LogMacros.h"

#include <string>

using namespace std::chrono_literals;

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.Admission")

namespace GatewayExample
{

namespace
{

constexpr std::chrono::steady_clock::duration s_betweenReads = 100ms;
constexpr std::chrono::steady_clock::duration s_betweenReports = 10s;

} // namespace

Admission::Admission(const AdmissionLimits& in_limits)
    : m_limits(in_limits), m_sources(in_limits.uiNewFromOneSourcePerSec)
{
}

std::optional<Refusal> Admission::refuses(const SocketAddress& in_source, std::size_t in_uiCalls,
                                          Time in_now)
{
    if (m_limits.uiCalls != 0 && in_uiCalls >= m_limits.uiCalls)
        return report(Refusal::CALLS, in_source, in_now);
    if (isMemoryUsedUp(in_now))
        return report(Refusal::MEMORY, in_source, in_now);
    // The last one, as it counts the call.
    if (!m_sources.take(in_source, in_now))
        return report(Refusal::SOURCE_RATE, in_source, in_now);
    return std::nullopt;
}

bool Admission::isMemoryUsedUp(Time in_now)
{
    if (m_limits.uiMemoryMB == 0)
        return false;
    if (!m_memoryRead || in_now - *m_memoryRead >= s_betweenReads)
    {
        m_memoryRead = in_now;
        m_bMemoryUsedUp = m_memory.exceeds(m_limits.uiMemoryMB);
    }
    return m_bMemoryUsedUp;
}

Refusal Admission::report(Refusal in_refusal, const SocketAddress& in_source, Time in_now)
{
    Reported& reported = m_reported[static_cast<std::size_t>(in_refusal)];
    ++reported.uiCalls;
    if (reported.last && in_now - *reported.last < s_betweenReports)
        return in_refusal;
    reported.last = in_now;
    const auto log =
        [&reported](const std::string& in_strWho, const char* in_szLimit, auto in_limit)
    {
        VELMORA_FILE_LOG_WARN("calls " << in_strWho << "are refused : the limit " << in_szLimit
                                       << " = " << in_limit
                                       << " is reached. Refused until now : " << reported.uiCalls);
    };
    if (in_refusal == Refusal::CALLS)
        log("", OwnParameters::s_szMostCalls, m_limits.uiCalls);
    else if (in_refusal == Refusal::MEMORY)
        log("", OwnParameters::s_szMemoryLimit, m_limits.uiMemoryMB);
    else
        log("from " + in_source.hostText() + ' ', OwnParameters::s_szNewFromOneSource,
            m_limits.uiNewFromOneSourcePerSec);
    return in_refusal;
}

} // namespace GatewayExample

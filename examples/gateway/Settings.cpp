// SPDX-License-Identifier: BSD-2-Clause

#include "Settings.h"

#include "BadSetting.h"
#include "CallParameters.h"
#include "OwnParameters.h"
#include "RequiredParameters.h"

#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <stdexcept>

using Velmora::ROConfiguration;

namespace GatewayExample
{

namespace
{

template <class Duration = std::chrono::milliseconds>
Duration duration(const ROConfiguration& in_config, const char* in_szName)
{
    return Duration(requiredPositiveInt(in_config, in_szName));
}

/// Returns the value of a parameter that need not be set; empty if it is not.
std::string optionalString(const ROConfiguration& in_config, const char* in_szName)
{
    std::string strValue;
    in_config.getStringParameter(in_szName, strValue);
    return strValue;
}

} // namespace

std::vector<std::string> Settings::readList(const ROConfiguration& in_config, const char* in_szName)
{
    const std::string strValue = requiredString(in_config, in_szName);
    std::vector<std::string> parts;
    boost::split(parts, strValue, [](char in_c) { return in_c == ','; });
    for (std::string& strPart : parts)
    {
        boost::trim(strPart);
        if (strPart.empty())
            throw BadSetting(in_szName, strValue, "a part of the list is empty");
    }
    return parts;
}

std::vector<SipAddress> Settings::readSipAddresses(const ROConfiguration& in_config)
{
    std::vector<SipAddress> addresses;
    for (const std::string& strAddress : readList(in_config, s_szSipAddress))
        try
        {
            addresses.emplace_back(strAddress);
        }
        catch (const std::invalid_argument& error)
        {
            throw BadSetting(s_szSipAddress, strAddress, error.what());
        }
    return addresses;
}

std::size_t Settings::readLimit(const ROConfiguration& in_config, const char* in_szName)
{
    int iValue = 0;
    in_config.getIntParameter(in_szName, iValue);
    if (iValue < 0)
        throw BadSetting(in_szName, std::to_string(iValue),
                         "it must be above 0, or 0 for no limit");
    return static_cast<std::size_t>(iValue);
}

PortRange Settings::readRtpPorts(const ROConfiguration& in_config)
{
    const std::string strValue = requiredString(in_config, s_szRtpPorts);
    try
    {
        return PortRange::read(strValue);
    }
    catch (const std::invalid_argument& error)
    {
        throw BadSetting(s_szRtpPorts, strValue, error.what());
    }
}

Settings::Settings(const ROConfiguration& in_config)
    : sipAddresses(readSipAddresses(in_config)),
      strUserAgentName(requiredString(in_config, "keswardin.sip.userAgentName")),
      timerT1(duration(in_config, s_szTimerT1)), timerT2(duration(in_config, s_szTimerT2)),
      transactionLifetime(duration(in_config, s_szTransactionLifetime)),
      retryAfter(duration<std::chrono::seconds>(in_config, OwnParameters::s_szRetryAfter)),
      admission{
          readLimit(in_config, OwnParameters::s_szMostCalls),
          static_cast<unsigned int>(readLimit(in_config, OwnParameters::s_szNewFromOneSource)),
          readLimit(in_config, OwnParameters::s_szMemoryLimit)},
      loopLoad{1024 * readLimit(in_config, OwnParameters::s_szQueueLimit),
               std::chrono::milliseconds(readLimit(in_config, OwnParameters::s_szLateLimit))},
      fileLate(readLimit(in_config, OwnParameters::s_szFileLateLimit)),
      uiFileThreads(
          static_cast<std::size_t>(requiredPositiveInt(in_config, OwnParameters::s_szFileThreads))),
      uiReceiveBufferKB(
          static_cast<unsigned int>(readLimit(in_config, OwnParameters::s_szReceiveBuffer))),
      uiLongestHeader(readLimit(in_config, OwnParameters::s_szHeaderLimit)),
      strRtpAddress(requiredString(in_config, s_szRtpAddress)), rtpPorts(readRtpPorts(in_config)),
      encodings(readList(in_config, s_szEncodings)),
      strStatusSocket(optionalString(in_config, OwnParameters::s_szStatusSocket)),
      strMetricsFile(optionalString(in_config, OwnParameters::s_szMetricsFile)),
      metricsPeriod(duration<std::chrono::seconds>(in_config, OwnParameters::s_szMetricsPeriod))
{
    for (const char* const szName :
         {CallParameters::s_szRingTimeout, CallParameters::s_szDisconnectingTimeout,
          CallParameters::s_szRxStartTimeout})
        CallParameters::duration(in_config, szName);
}

} // namespace GatewayExample

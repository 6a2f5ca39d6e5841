// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/SyslogHosts.h"

#include <log4cplus/helpers/property.h>

#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace Velmora
{

namespace
{

/// The newest object of the calling thread.
thread_local const SyslogHosts* s_pNewest = nullptr;

} // namespace

SyslogHosts::SyslogHosts(const log4cplus::helpers::Properties& in_configuration)
{
    const log4cplus::helpers::Properties appenders =
        in_configuration.getPropertySubset("appender.");
    for (const std::string& strAppender : appenders.propertyNames())
    {
        if (appenders.getProperty(strAppender) != s_szAppenderClass)
            continue;
        const std::string& strHostName = appenders.getProperty(strAppender + ".Hostname");
        if (!strHostName.empty() && !m_addresses.contains(strHostName))
            m_addresses.emplace(strHostName, lookUp(strHostName));
    }
    m_pEarlier = std::exchange(s_pNewest, this);
}

SyslogHosts::~SyslogHosts() { s_pNewest = m_pEarlier; }

SyslogHosts::Answer SyslogHosts::addressOf(const std::string& in_strHostName)
{
    for (const SyslogHosts* pHosts = s_pNewest; pHosts != nullptr; pHosts = pHosts->m_pEarlier)
        if (const auto found = pHosts->m_addresses.find(in_strHostName);
            found != pHosts->m_addresses.end())
            return found->second;
    return lookUp(in_strHostName);
}

SyslogHosts::Answer SyslogHosts::lookUp(const std::string& in_strHostName)
{
    // `gethostbyname` with memory of its own, so that threads may call it concurrently.
    std::vector<char> memory(1024);
    hostent host{};
    hostent* pFound = nullptr;
    int iError = 0;
    while (gethostbyname_r(in_strHostName.c_str(), &host, memory.data(), memory.size(), &pFound,
                           &iError) == ERANGE)
        memory.resize(memory.size() * 2);
    if (pFound == nullptr)
        return {std::nullopt, iError == NETDB_INTERNAL ? std::strerror(errno) : hstrerror(iError)};
    if (pFound->h_addrtype != AF_INET || pFound->h_addr_list[0] == nullptr)
        return {std::nullopt, hstrerror(NO_ADDRESS)};
    Address address = 0;
    std::memcpy(&address, pFound->h_addr_list[0], sizeof address);
    return {address};
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace log4cplus::helpers
{
class Properties;
}

namespace Velmora
{

/// Looks up the addresses of the syslog servers that a configuration of log4cplus names, when it is
/// made. While it lives, the remote syslog appenders that the same thread makes take their
/// addresses from it. So a server that several appenders name is looked up once:
///
///     const SyslogHosts hosts(configurator.getProperties());
///     configurator.configure();
///
/// Thread-safety: an object belongs to the thread that made it. A thread must destroy its objects
/// in the reverse order of their making.
class VELMORA_API SyslogHosts
{
  public:
    using Address = std::uint32_t; ///< An IPv4 address in network byte order.

    /// The class of the remote syslog appenders, as a configuration names it.
    static constexpr const char* s_szAppenderClass = "velmora::RemoteSyslogAppender";

    /// Looks up the servers. The properties are those of a `PropertyConfigurator`, whose names
    /// begin with "appender.".
    explicit SyslogHosts(const log4cplus::helpers::Properties& in_configuration);
    ~SyslogHosts();
    SyslogHosts(const SyslogHosts&) = delete;
    SyslogHosts& operator=(const SyslogHosts&) = delete;

    /// The result of a look-up: an address, or else the reason why there is none.
    struct Answer : std::optional<Address>
    {
        std::string strReason{};
    };

    /// Returns the first address of a host: the one that an object of this thread has looked up, or
    /// else the current answer of the name service.
    /// Thread-safety: may be called from any thread.
    /// Failure: returns an empty answer, with the reason, if the name is not found.
    [[nodiscard]] static Answer addressOf(const std::string& in_strHostName);

  private:
    [[nodiscard]] static Answer lookUp(const std::string& in_strHostName);

    std::map<std::string, Answer> m_addresses;
    /// The object of this thread that was made before this one.
    const SyslogHosts* m_pEarlier;
};

} // namespace Velmora

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

/// The addresses of the syslog servers that a configuration of log4cplus names, looked up when this
/// is made. While it lives, the remote syslog appenders that the same thread makes take their
/// addresses from here. So a server that several appenders name is looked up once:
///
///     const SyslogHosts hosts(configurator.getProperties());
///     configurator.configure();
///
/// Thread-safety: an object belongs to the thread that made it, which ends it before any that it
/// made earlier.
class VELMORA_API SyslogHosts
{
  public:
    using Address = std::uint32_t; ///< of IPv4, in network order

    /// Takes the properties as a `PropertyConfigurator` holds them, their names beginning with
    /// "appender.".
    explicit SyslogHosts(const log4cplus::helpers::Properties& in_configuration);
    ~SyslogHosts();
    SyslogHosts(const SyslogHosts&) = delete;
    SyslogHosts& operator=(const SyslogHosts&) = delete;

    /// What a look-up gave: an address, or else the reason why there is none.
    struct Answer : std::optional<Address>
    {
        std::string strReason{};
    };

    /// The first address of a host: what an object of this thread has looked up, or else what the
    /// name service gives now.
    /// Thread-safety: may be called on any thread.
    /// Failure: empty when the name is not found.
    [[nodiscard]] static Answer addressOf(const std::string& in_strHostName);

  private:
    [[nodiscard]] static Answer lookUp(const std::string& in_strHostName);

    std::map<std::string, Answer> m_addresses;
    const SyslogHosts* m_pEarlier;
};

} // namespace Velmora

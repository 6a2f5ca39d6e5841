// SPDX-License-Identifier: BSD-2-Clause

// A line of 100 bytes to a syslog server on the loopback, beside the bare system call and the
// layout. Nothing reads the lines: once the server's queue is full, the kernel drops them.

#include "bench/AllocationCount.h"
#include "velmora/logging/RemoteSyslogAppender.h"

#include <benchmark/benchmark.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/layout.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/spi/loggingevent.h>
#include <log4cplus/syslogappender.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>
#include <string>

using namespace Velmora;

namespace
{

constexpr const char* s_szPattern = "%-5p %c - %m";

/// A socket that is bound to the loopback, and its address.
class Server
{
  public:
    Server()
    {
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t uiLength = sizeof m_address;
        auto* const pAddress = reinterpret_cast<sockaddr*>(&m_address);
        if (bind(m_iSocket, pAddress, uiLength) != 0 ||
            getsockname(m_iSocket, pAddress, &uiLength) != 0)
            throw std::runtime_error("no server");
    }
    ~Server() { close(m_iSocket); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] const sockaddr_in& address() const { return m_address; }
    [[nodiscard]] int port() const { return ntohs(m_address.sin_port); }

  private:
    int m_iSocket = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in m_address{};
};

/// Returns an event that the pattern formats to 100 bytes.
log4cplus::spi::InternalLoggingEvent makeEvent()
{
    const std::string strLogger = "keswardin.bench";
    const std::string strText(100 - std::string("INFO   - ").size() - strLogger.size(), 'x');
    return {strLogger, log4cplus::INFO_LOG_LEVEL, strText, nullptr, -1};
}

log4cplus::helpers::Properties propertiesFor(const Server& in_server)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("Hostname", "127.0.0.1");
    properties.setProperty("Port", std::to_string(in_server.port()));
    properties.setProperty("layout", "log4cplus::PatternLayout");
    properties.setProperty("layout.ConversionPattern", s_szPattern);
    return properties;
}

void remoteSyslogOurs(benchmark::State& out_state)
{
    const Server server;
    RemoteSyslogAppender appender(propertiesFor(server));
    const log4cplus::spi::InternalLoggingEvent event = makeEvent();
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        appender.doAppend(event);
}

/// log4cplus's own appender, with a header of RFC 5424.
void remoteSyslogLog4cplus(benchmark::State& out_state)
{
    const Server server;
    log4cplus::helpers::Properties properties = propertiesFor(server);
    properties.setProperty("host", "127.0.0.1");
    properties.setProperty("port", std::to_string(server.port()));
    properties.setProperty("udp", "true");
    log4cplus::SysLogAppender appender(properties);
    const log4cplus::spi::InternalLoggingEvent event = makeEvent();
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
        appender.doAppend(event);
}

/// No appender and no header; formats into a stream that is reused.
void remoteSyslogSendto(benchmark::State& out_state)
{
    const Server server;
    const int iSocket = socket(AF_INET, SOCK_DGRAM, 0);
    log4cplus::PatternLayout layout(s_szPattern);
    const log4cplus::spi::InternalLoggingEvent event = makeEvent();
    std::ostringstream stream;
    const Bench::AllocationCount allocations(out_state);
    for ([[maybe_unused]] auto turn : out_state)
    {
        stream.str({});
        layout.formatAndAppend(stream, event);
        const std::string_view strText = stream.view();
        sendto(iSocket, strText.data(), strText.size(), 0,
               reinterpret_cast<const sockaddr*>(&server.address()), sizeof server.address());
    }
    close(iSocket);
}

BENCHMARK(remoteSyslogOurs)->Name("remoteSyslog/ours");
BENCHMARK(remoteSyslogLog4cplus)->Name("remoteSyslog/log4cplus");
BENCHMARK(remoteSyslogSendto)->Name("remoteSyslog/sendto");

} // namespace

BENCHMARK_MAIN();

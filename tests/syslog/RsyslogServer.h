// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/BackgroundProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <optional>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// Runs the rsyslog daemon in the foreground, with a configuration, a port and files of its own. It
/// listens on a loopback address that is derived from the id of this process, so that the servers
/// of concurrent tests do not share one. The thread that constructs it is pinned to one processor:
/// datagrams that one processor sends to the loopback arrive in order.
///
/// Failure: the constructor throws `std::system_error` if it cannot bind a socket.
class RsyslogServer
{
  public:
    /// Chooses the address and a free port, and writes the configuration. Does not start the
    /// daemon.
    RsyslogServer();
    ~RsyslogServer() = default;
    RsyslogServer(const RsyslogServer&) = delete;
    RsyslogServer& operator=(const RsyslogServer&) = delete;

    /// Starts the daemon and waits until a message reaches it. May be called again after `stop`.
    /// Failure: fails the test if no message arrives or the daemon ends.
    void start();

    /// Ends the daemon by SIGTERM and waits until it has exited. Its files stay.
    void stop();

    [[nodiscard]] const std::string& address() const { return m_strAddress; }
    [[nodiscard]] int port() const { return m_iPort; }

    /// Returns the lines that the daemon has written, without probes and the daemon's own messages.
    /// Each has the facility and severity by name, as in "user.err", a blank, and the message as it
    /// was received. Waits for a line that ends with `in_strLast`, which must be that of the last
    /// message.
    /// Failure: fails the test if no such line is written within the limit of `waitUntil`.
    [[nodiscard]] std::vector<std::string> linesUntil(const std::string& in_strLast) const;

  private:
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] bool hasLine(const std::string& in_strEnd) const;
    void configure() const;
    void sendProbe(const std::string& in_strText) const;

    TemporaryDirectory m_directory;
    std::string m_strAddress;
    int m_iPort = 0;
    /// Distinguishes the probes of each start: the file has those of earlier starts too.
    int m_iStarts = 0;
    std::optional<BackgroundProcess> m_process;
};

} // namespace Velmora::Test

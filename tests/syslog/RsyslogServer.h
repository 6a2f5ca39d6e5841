#pragma once

#include "tests/support/BackgroundProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <optional>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// A syslog server, the rsyslog daemon, in the foreground with a configuration, a port and files of
/// its own. It listens on an address of the loopback that follows from this process's id, so that
/// servers of several tests do not meet. The thread that makes it stays on one processor, so that
/// what it sends arrives in order.
class RsyslogServer
{
  public:
    /// Chooses address and port; does not start yet.
    RsyslogServer();
    ~RsyslogServer() = default;
    RsyslogServer(const RsyslogServer&) = delete;
    RsyslogServer& operator=(const RsyslogServer&) = delete;

    /// Starts the daemon and waits until a message reaches it; a failure of the test if none does.
    void start();

    /// Ends the daemon and waits for its end. Its files stay.
    void stop();

    [[nodiscard]] const std::string& address() const { return m_strAddress; }
    [[nodiscard]] int port() const { return m_iPort; }

    /// The lines that the daemon has written: for each message its facility and severity by name,
    /// as in "user.err", a blank, and the bytes that came. Waits until one of them ends as told,
    /// which must be the last; a failure of the test if there is none after a while.
    [[nodiscard]] std::vector<std::string> linesUntil(const std::string& in_strLast) const;

  private:
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] bool hasLine(const std::string& in_strEnd) const;
    void configure() const;
    void sendProbe(const std::string& in_strText) const;

    TemporaryDirectory m_directory;
    std::string m_strAddress;
    int m_iPort = 0;
    int m_iStarts = 0;
    std::optional<BackgroundProcess> m_process;
};

} // namespace Velmora::Test

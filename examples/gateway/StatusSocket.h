// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Descriptor.h"
#include "ReadWatch.h"
#include "Timer.h"

#include <functional>
#include <string>

namespace GatewayExample
{

/// A Unix socket at which a running gateway answers with its status. Each connection gets one text
/// and is closed; nothing is read from it. Only the user of the gateway and root may connect.
class StatusSocket
{
  public:
    /// Listens at a path, whose directory is made if it is missing. A socket that a gateway has
    /// left behind there is replaced. `in_report` is called in the loop, for each connection.
    ///
    /// Failure: throws `std::runtime_error` with the path and the reason, also if another process
    /// listens there.
    StatusSocket(const EventLoop& in_loop, const std::string& in_strPath,
                 std::function<std::string()> in_report);
    /// Removes the socket.
    ~StatusSocket();
    StatusSocket(const StatusSocket&) = delete;
    StatusSocket& operator=(const StatusSocket&) = delete;

    /// Returns what the gateway answers that listens at a path, within a few seconds.
    ///
    /// Failure: throws `std::runtime_error` with what to do.
    [[nodiscard]] static std::string ask(const std::string& in_strPath);

  private:
    void answer();

    std::string m_strPath;
    std::function<std::string()> m_report;
    Descriptor m_socket;
    ReadWatch m_watch;
    Timer m_pause;
};

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// Returns a loopback address that is derived from the id of this process, so that servers of
/// different tests do not collide: 127.x.y.z, in which x, y and z are the digits of the id to base
/// 250, plus one each.
std::string addressOfThisProcess();

/// Pins the calling thread to its current processor. Datagrams that one processor sends to the
/// loopback arrive in order.
void stayOnThisProcessor();

/// A UDP socket on a free port of the loopback. The constructor pins the calling thread to its
/// processor.
class UdpServer
{
  public:
    UdpServer();
    ~UdpServer();
    UdpServer(const UdpServer&) = delete;
    UdpServer& operator=(const UdpServer&) = delete;

    [[nodiscard]] int port() const { return m_iPort; }

    /// Waits for the next datagram and returns it. After a minute, fails the test and returns an
    /// empty text.
    std::string receive();

    /// Waits for the given number of datagrams. Returns fewer if one of them does not arrive.
    std::vector<std::string> receive(std::size_t in_uiCount);

    /// Waits for a datagram with the given text, and returns all datagrams before it.
    std::vector<std::string> receiveUntil(const std::string& in_strLast);

  private:
    int m_iSocket = -1;
    int m_iPort = 0;
};

} // namespace Velmora::Test

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// An address of the loopback that follows from the id of this process, so that servers of several
/// tests do not meet: 127.x.y.z with the bits of the id in x, y and z, none of them 0 or 255.
std::string addressOfThisProcess();

/// Keeps the calling thread on the processor that it runs on: what one processor sends to the
/// loopback arrives in order.
void stayOnThisProcessor();

/// A UDP socket on a free port of the loopback. The thread that makes it stays on one processor.
class UdpServer
{
  public:
    UdpServer();
    ~UdpServer();
    UdpServer(const UdpServer&) = delete;
    UdpServer& operator=(const UdpServer&) = delete;

    [[nodiscard]] int port() const { return m_iPort; }

    /// The next datagram, waited for; a failure of the test, and the empty text, after a minute.
    std::string receive();

    /// So many datagrams, or less where one of them did not come.
    std::vector<std::string> receive(std::size_t in_uiCount);

    /// All datagrams before one with the given text, which is waited for.
    std::vector<std::string> receiveUntil(const std::string& in_strLast);

  private:
    int m_iSocket = -1;
    int m_iPort = 0;
};

} // namespace Velmora::Test

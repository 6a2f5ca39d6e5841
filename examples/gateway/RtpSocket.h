#pragma once

#include "Settings.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <sys/socket.h>

/// A UDP socket that RTP is received on, at an even port of the range (RFC 3550).
class RtpSocket
{
  public:
    /// Takes the first port of the range that is free, from `inout_uiNext` on, around its end to
    /// its beginning; `inout_uiNext` is then the one behind it, so that a port rests before the
    /// next call gets it.
    ///
    /// Failure: throws `std::runtime_error` that says why: no port is free, no descriptor is left,
    /// the address is none of this machine.
    RtpSocket(const std::string& in_strAddress, const PortRange& in_range,
              std::uint16_t& inout_uiNext);
    ~RtpSocket();
    RtpSocket(const RtpSocket&) = delete;
    RtpSocket& operator=(const RtpSocket&) = delete;

    [[nodiscard]] int descriptor() const { return m_iDescriptor; }
    [[nodiscard]] std::uint16_t port() const { return m_uiPort; }

    /// Takes a packet that has come. 0 when none has.
    [[nodiscard]] std::size_t receive(std::span<std::byte> out_packet);

    /// Sends a packet to where the last one came from.
    void sendBack(std::span<const std::byte> in_packet) const;

    /// Where the last packet came from, as in 10.0.0.1:6000.
    [[nodiscard]] std::string sender() const;

  private:
    bool bind(const std::string& in_strAddress, std::uint16_t in_uiPort);

    int m_iDescriptor = -1;
    std::uint16_t m_uiPort = 0;
    sockaddr_storage m_sender{};
    socklen_t m_uiSenderLength = 0;
};

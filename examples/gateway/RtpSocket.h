#pragma once

#include "Settings.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>

#include <sys/socket.h>

/// The ports of a range that RTP may take, the one that has rested longest first.
class RtpPorts
{
  public:
    explicit RtpPorts(const PortRange& in_range);

    [[nodiscard]] std::size_t countFree() const { return m_free.size(); }

    /// One that is free; there must be one.
    [[nodiscard]] std::uint16_t take();
    void giveBack(std::uint16_t in_uiPort) { m_free.push_back(in_uiPort); }

  private:
    std::deque<std::uint16_t> m_free;
};

/// A UDP socket that RTP is received on, at an even port (RFC 3550).
class RtpSocket
{
  public:
    /// Takes a port that no other program has either, and gives it back at the end of its life.
    ///
    /// Failure: throws `std::runtime_error` that says why: no port is free, no descriptor is left,
    /// the address is none of this machine.
    RtpSocket(const std::string& in_strAddress, RtpPorts& inout_ports);
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
    bool bind(std::uint16_t in_uiPort);

    RtpPorts& m_ports;
    std::string m_strAddress;
    int m_iDescriptor = -1;
    std::uint16_t m_uiPort = 0;
    sockaddr_storage m_sender{};
    socklen_t m_uiSenderLength = 0;
};

#pragma once

#include "Settings.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <boost/circular_buffer.hpp>

#include <sys/socket.h>

/// The ports of a range that RTP may take, the one that has rested longest first.
class RtpPorts
{
  public:
    explicit RtpPorts(const PortRange& in_range);

    [[nodiscard]] std::size_t countFree() const { return m_free.size(); }

    /// One that is free; there must be one.
    [[nodiscard]] std::uint16_t take();
    /// Needs no memory.
    void giveBack(std::uint16_t in_uiPort) { m_free.push_back(in_uiPort); }

  private:
    /// Has room for all of the range.
    boost::circular_buffer<std::uint16_t> m_free;
};

/// A port that is taken, until the object goes.
class TakenPort
{
  public:
    explicit TakenPort(RtpPorts& inout_ports) : m_ports(inout_ports), m_uiPort(inout_ports.take())
    {
    }
    ~TakenPort() { m_ports.giveBack(m_uiPort); }
    TakenPort(const TakenPort&) = delete;
    TakenPort& operator=(const TakenPort&) = delete;

    [[nodiscard]] std::uint16_t port() const { return m_uiPort; }

  private:
    RtpPorts& m_ports;
    std::uint16_t m_uiPort;
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
    RtpSocket(const RtpSocket&) = delete;
    RtpSocket& operator=(const RtpSocket&) = delete;

    [[nodiscard]] int descriptor() const { return m_socket.iDescriptor; }
    [[nodiscard]] std::uint16_t port() const { return m_port->port(); }

    /// Takes a packet that has come; gives its length. -1 when none can be had, as `errno` says.
    [[nodiscard]] ssize_t receive(std::span<std::byte> out_packet);

    /// Sends a packet to where the last one came from. False when it is lost here, as `errno` says.
    [[nodiscard]] bool sendBack(std::span<const std::byte> in_packet) const;

    /// Where the last packet came from, as in 10.0.0.1:6000.
    [[nodiscard]] std::string sender() const;

  private:
    /// Closes it at its end.
    struct Socket
    {
        explicit Socket(int in_iFamily);
        ~Socket();
        Socket(const Socket&) = delete;
        Socket& operator=(const Socket&) = delete;

        const int iDescriptor;
    };

    bool bindTo(RtpPorts& inout_ports);

    std::string m_strAddress;
    std::optional<TakenPort> m_port;
    Socket m_socket;
    sockaddr_storage m_sender{};
    socklen_t m_uiSenderLength = 0;
};

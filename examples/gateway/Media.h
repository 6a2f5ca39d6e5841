// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "ReadWatch.h"
#include "RtpSocket.h"
#include "SessionDescription.h"
#include "Settings.h"
#include "Timer.h"

#include "velmora/logging/CallLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace GatewayExample
{

/// The audio of a call. It negotiates the session with the caller and sends each RTP packet back to
/// its sender, so that callers hear themselves.
class Media : public Velmora::ObjectWithLogger<Velmora::CallLogger>
{
  public:
    /// The loop, the settings and the parameters must outlive the object. The parameters contain
    /// the `CallParameters`.
    Media(const EventLoop& in_loop, const Settings& in_settings,
          const Velmora::ROConfiguration& in_parameters, const std::string& in_strCallId);
    ~Media();
    Media(const Media&) = delete;
    Media& operator=(const Media&) = delete;

    /// Opens the RTP port and returns the session description of this end. An empty text means that
    /// the caller makes no offer.
    ///
    /// Failure: throws `BadSessionDescription` if the caller's offer is not acceptable, and
    /// `std::runtime_error` if no port can be opened.
    [[nodiscard]] std::string open(const std::string& in_strOffer, RtpPorts& inout_ports);

    /// Calls the function if no packet arrives within `keswardin.media.rxStartTimeoutMs` from now.
    void expectPackets(std::function<void()> in_onTimeout);

  private:
    void receive();
    void reportFirstPacket();
    /// Logs a warning once per call only, since the next packet follows 20 ms later.
    void reportLoss(const char* in_szWhat, int in_iReason);

    const EventLoop& m_loop;
    const Settings& m_settings;
    const Velmora::ROConfiguration& m_parameters;
    std::optional<RtpSocket> m_socket;
    std::optional<ReadWatch> m_watch;
    Timer m_rxStartTimer;
    std::chrono::steady_clock::time_point m_opened{};
    std::uint64_t m_uiPackets = 0;
    std::uint64_t m_uiBytes = 0;
    bool m_bLossReported = false;
};

} // namespace GatewayExample

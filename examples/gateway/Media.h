// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "CallContext.h"
#include "ReadWatch.h"
#include "RtpLoopGuard.h"
#include "RtpPeer.h"
#include "RtpSocket.h"
#include "SessionDescription.h"
#include "SocketAddress.h"
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

/// The audio of a call. It negotiates the session with the caller and sends each RTP packet of the
/// caller back, so that callers hear themselves. `RtpPeer` decides whose packets are the caller's;
/// those of others are counted and dropped.
class Media : public Velmora::ObjectWithLogger<Velmora::CallLogger>
{
  public:
    /// The context must outlive the object.
    Media(CallContext& inout_context, const std::string& in_strCallId);
    ~Media();
    Media(const Media&) = delete;
    Media& operator=(const Media&) = delete;

    /// Opens the RTP port and returns the session description of this end. An empty text means that
    /// the caller makes no offer. `in_signalling` is where the INVITE came from.
    ///
    /// Failure: throws `BadSessionDescription` if the caller's offer is not acceptable, and
    /// `std::runtime_error` if no port can be opened.
    [[nodiscard]] std::string open(const std::string& in_strOffer,
                                   const SocketAddress& in_signalling);

    /// Notes that the call is answered now.
    void answer();

    /// Reads the caller's answer if this end has made the offer. An empty text means that there is
    /// none; the address of the INVITE has to do then.
    ///
    /// Failure: throws `BadSessionDescription` if it is not acceptable.
    void takeAnswer(const std::string& in_strAnswer);

    /// Calls the function if no packet of the caller arrives within
    /// `keswardin.media.rxStartTimeoutMs` from now.
    void expectPackets(std::function<void()> in_onTimeout);

  private:
    void receive();
    void countDropped();
    void drop(const char* in_szReason);
    void reportFirstPacket();
    /// Logs a warning once per call only, since the next packet follows 20 ms later.
    void reportLoss(const char* in_szWhat, int in_iReason);

    CallContext& m_context;
    std::optional<RtpSocket> m_socket;
    std::optional<RtpPeer> m_peer;
    RtpLoopGuard m_loopGuard;
    std::optional<ReadWatch> m_watch;
    Timer m_rxStartTimer;
    std::chrono::steady_clock::time_point m_opened{};
    std::uint64_t m_uiPackets = 0;
    std::uint64_t m_uiBytes = 0;
    std::uint64_t m_uiDropped = 0;
    bool m_bOffered = false;
    bool m_bLossReported = false;
    bool m_bDropReported = false;
};

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "examples/gateway/Descriptor.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace Velmora::Test
{

/// A SIP caller that sends and receives single messages, so that tests can deviate from the
/// protocol. It has an address and a port of its own.
class SipCaller
{
  public:
    /// `in_strAddress` and `in_uiPort` are those of the gateway. The caller uses the same address,
    /// and a free port if its own is 0.
    explicit SipCaller(const std::string& in_strAddress, std::uint16_t in_uiPort = 5060,
                       std::uint16_t in_uiOwnPort = 0);

    void setCallId(const std::string& in_strCallId) { m_strCallId = in_strCallId; }
    [[nodiscard]] const std::string& callId() const { return m_strCallId; }
    /// Sets the tag of the caller, which distinguishes it from others with its Call-ID.
    void setTag(const std::string& in_strTag) { m_strTag = in_strTag; }

    /// Sends a request to a user at the gateway. After an answer with a tag, requests belong to the
    /// dialog. Each request except ACK and CANCEL gets the next sequence number.
    void send(const std::string& in_strMethod, const std::string& in_strUser,
              const std::string& in_strBody = {});

    /// Adds a header, such as "Subject: lunch", to all requests that `send` makes.
    void addHeader(const std::string& in_strHeader) { m_strMore += in_strHeader + "\r\n"; }

    /// The address and port of the caller.
    [[nodiscard]] const std::string& own() const { return m_strOwn; }

    /// Sends an INVITE that offers one encoding, such as "0 PCMU/8000", at `s_uiRtpPort`.
    void invite(const std::string& in_strUser, const std::string& in_strRtpMap = "0 PCMU/8000");

    /// Describes a session with PCMU at an address, and at `s_uiRtpPort`.
    [[nodiscard]] static std::string describe(const std::string& in_strAddress,
                                              const std::string& in_strRtpMap = "0 PCMU/8000");

    /// Where the caller receives RTP.
    static constexpr std::uint16_t s_uiRtpPort = 6000;

    /// Sends arbitrary bytes, not necessarily SIP.
    void transmit(const std::string& in_strMessage);

    /// Sends the last message again.
    void repeat() const;

    /// Waits for the next message. Fails the test if none arrives.
    std::string receive();

    /// Waits for an answer such as "180 Ringing" and skips others. Returns the whole message. On a
    /// timeout, fails the test and returns an empty text.
    std::string expectAnswer(const std::string& in_strStatus);

    /// Waits for the final answer to the last request, and accepts requests of the gateway until
    /// then. Returns its status. On a timeout, fails the test and returns 0.
    int expectFinalAnswer();

    /// Waits for a request of the gateway, as `expectAnswer` does for an answer.
    std::string expectRequest(const std::string& in_strMethod);

    /// Returns the number of messages that were skipped.
    [[nodiscard]] int leftOut() const { return m_iLeftOut; }

    /// Return the number of such messages that arrive within a time.
    int countAnswers(const std::string& in_strStatus, std::chrono::milliseconds in_time = s_while);
    int countRequests(const std::string& in_strMethod, std::chrono::milliseconds in_time = s_while);

    /// Answers a request of the gateway with 200.
    void accept(const std::string& in_strRequest);

  private:
    static constexpr std::chrono::milliseconds s_while{500};

    void note(const std::string& in_strAnswer);
    int count(const std::string& in_strStart, std::chrono::milliseconds in_time);
    std::string expect(const std::string& in_strStart);
    std::string receive(int in_iMilliseconds);

    GatewayExample::Descriptor m_socket;
    std::string m_strAddress;
    std::uint16_t m_uiPort;
    std::string m_strOwn;
    std::string m_strCallId = "a-call@caller";
    std::string m_strTag = "caller";
    std::string m_strTo;
    std::string m_strMore;
    std::string m_strLast;
    /// Whether the last INVITE was answered with 300 or above.
    bool m_bRefused = false;
    int m_iSequence = 0;
    int m_iBranch = 0;
    int m_iLeftOut = 0;
};

} // namespace Velmora::Test

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace Velmora::Test
{

/// A caller who sends and takes SIP messages one by one, to do what no proper client does. It is at
/// an address and a port of its own.
class SipCaller
{
  public:
    /// `in_strAddress` and `in_uiPort` are where the gateway receives; the caller is at the same
    /// address.
    explicit SipCaller(const std::string& in_strAddress, std::uint16_t in_uiPort = 5060);
    ~SipCaller();
    SipCaller(const SipCaller&) = delete;
    SipCaller& operator=(const SipCaller&) = delete;

    void setCallId(const std::string& in_strCallId) { m_strCallId = in_strCallId; }
    [[nodiscard]] const std::string& callId() const { return m_strCallId; }

    /// Sends a request to a user at the gateway. After an answer with a tag it is one within the
    /// dialog. Each but ACK and CANCEL gets the next number.
    void send(const std::string& in_strMethod, const std::string& in_strUser,
              const std::string& in_strBody = {});

    /// INVITE with an offer of one encoding, as in "0 PCMU/8000".
    void invite(const std::string& in_strUser, const std::string& in_strRtpMap = "0 PCMU/8000");

    /// Sends what need not be SIP.
    void transmit(const std::string& in_strMessage);

    /// Sends the last message once more.
    void repeat() const;

    /// The next message, waited for; a failure of the test when none comes.
    std::string receive();

    /// Waits for an answer, as in "180 Ringing", leaving others out; gives it whole, or fails the
    /// test and gives an empty text.
    std::string expectAnswer(const std::string& in_strStatus);

    /// Waits for an answer that is final, to an INVITE or another request, and accepts the requests
    /// of the gateway. Gives its status, or fails the test and gives 0.
    int expectFinalAnswer();

    /// The same for a request of the gateway.
    std::string expectRequest(const std::string& in_strMethod);

    /// How many messages have been left out while others were waited for.
    [[nodiscard]] int leftOut() const { return m_iLeftOut; }

    /// How many of them come within a time.
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

    int m_iSocket = -1;
    std::string m_strAddress;
    std::uint16_t m_uiPort;
    std::string m_strOwn;
    std::string m_strCallId = "a-call@caller";
    std::string m_strTo;
    std::string m_strLast;
    /// The last INVITE has had an answer from 300 on.
    bool m_bRefused = false;
    int m_iSequence = 0;
    int m_iBranch = 0;
    int m_iLeftOut = 0;
};

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/SipCaller.h"

#include "tests/examples/Ipv4.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>

#include <chrono>

namespace Velmora::Test
{

namespace
{

constexpr std::chrono::seconds s_limit(60);

/// Returns the line of a header with its line end, or an empty text if the message does not have
/// it.
std::string header(const std::string& in_strMessage, const std::string& in_strName)
{
    const std::size_t uiBegin = in_strMessage.find("\r\n" + in_strName + ":");
    if (uiBegin == std::string::npos)
        return {};
    const std::size_t uiEnd = in_strMessage.find("\r\n", uiBegin + 2);
    return in_strMessage.substr(uiBegin + 2, uiEnd - uiBegin);
}

} // namespace

SipCaller::SipCaller(const std::string& in_strAddress, std::uint16_t in_uiPort,
                     std::uint16_t in_uiOwnPort)
    : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), m_strAddress(in_strAddress),
      m_uiPort(in_uiPort)
{
    require(m_socket.isOpen(), "socket");
    sockaddr_in own = socketAddress(in_strAddress, in_uiOwnPort);
    socklen_t uiLength = sizeof own;
    require(bind(m_socket.number(), reinterpret_cast<sockaddr*>(&own), uiLength) == 0, "bind");
    require(getsockname(m_socket.number(), reinterpret_cast<sockaddr*>(&own), &uiLength) == 0,
            "getsockname");
    m_strOwn = in_strAddress + ':' + std::to_string(ntohs(own.sin_port));
}

void SipCaller::send(const std::string& in_strMethod, const std::string& in_strUser,
                     const std::string& in_strBody)
{
    // The ACK of an answer of 300 or above belongs to the transaction of the INVITE (RFC 3261,
    // 17.1.1.3).
    const bool bSameTransaction = in_strMethod == "CANCEL" || (in_strMethod == "ACK" && m_bRefused);
    if (!bSameTransaction)
        ++m_iBranch;
    if (!bSameTransaction && in_strMethod != "ACK")
        ++m_iSequence;
    const std::string strURL =
        "sip:" + in_strUser + '@' + m_strAddress + ':' + std::to_string(m_uiPort);
    const std::string strTo =
        bSameTransaction || m_strTo.empty() ? "To: <" + strURL + ">\r\n" : m_strTo;
    std::string strMessage = in_strMethod + ' ' + strURL + " SIP/2.0\r\nVia: SIP/2.0/UDP " +
                             m_strOwn + ";branch=z9hG4bK" + std::to_string(m_iBranch) + m_strOwn +
                             "\r\nFrom: <sip:caller@" + m_strOwn + ">;tag=" + m_strTag + "\r\n" +
                             strTo + "Call-ID: " + m_strCallId +
                             "\r\nCSeq: " + std::to_string(m_iSequence) + ' ' + in_strMethod +
                             "\r\nContact: <sip:caller@" + m_strOwn + ">\r\nMax-Forwards: 70\r\n";
    strMessage += m_strMore;
    if (!in_strBody.empty())
        strMessage += "Content-Type: application/sdp\r\n";
    transmit(strMessage + "Content-Length: " + std::to_string(in_strBody.size()) + "\r\n\r\n" +
             in_strBody);
}

void SipCaller::invite(const std::string& in_strUser, const std::string& in_strRtpMap)
{
    send("INVITE", in_strUser, describe(m_strAddress, in_strRtpMap));
}

std::string SipCaller::describe(const std::string& in_strAddress, const std::string& in_strRtpMap)
{
    return "v=0\r\no=- 1 1 IN IP4 " + in_strAddress + "\r\ns=-\r\nc=IN IP4 " + in_strAddress +
           "\r\nt=0 0\r\nm=audio " + std::to_string(s_uiRtpPort) + " RTP/AVP " +
           in_strRtpMap.substr(0, in_strRtpMap.find(' ')) + "\r\na=rtpmap:" + in_strRtpMap + "\r\n";
}

void SipCaller::repeat() const
{
    const sockaddr_in gateway = socketAddress(m_strAddress, m_uiPort);
    require(sendto(m_socket.number(), m_strLast.data(), m_strLast.size(), 0,
                   reinterpret_cast<const sockaddr*>(&gateway),
                   sizeof gateway) == static_cast<ssize_t>(m_strLast.size()),
            "sendto");
}

void SipCaller::transmit(const std::string& in_strMessage)
{
    m_strLast = in_strMessage;
    repeat();
}

std::string SipCaller::receive(int in_iMilliseconds)
{
    pollfd polled{m_socket.number(), POLLIN, 0};
    if (poll(&polled, 1, in_iMilliseconds) != 1)
        return {};
    std::string strText(65536, '\0');
    const ssize_t iLength = recv(m_socket.number(), strText.data(), strText.size(), 0);
    require(iLength >= 0, "recv");
    strText.resize(static_cast<std::size_t>(iLength));
    return strText;
}

std::string SipCaller::receive()
{
    std::string strMessage = receive(static_cast<int>(std::chrono::milliseconds(s_limit).count()));
    EXPECT_NE("", strMessage) << "no message has come";
    return strMessage;
}

std::string SipCaller::expect(const std::string& in_strStart)
{
    const auto deadline = std::chrono::steady_clock::now() + s_limit;
    std::string strSeen;
    while (std::chrono::steady_clock::now() < deadline)
    {
        std::string strMessage = receive(1000);
        if (strMessage.starts_with(in_strStart))
            return strMessage;
        m_iLeftOut += strMessage.empty() ? 0 : 1;
        strSeen += strMessage.substr(0, strMessage.find('\r')) + '\n';
    }
    ADD_FAILURE() << "no " << in_strStart << " has come, but these:\n" << strSeen;
    return {};
}

std::string SipCaller::expectAnswer(const std::string& in_strStatus)
{
    std::string strAnswer = expect("SIP/2.0 " + in_strStatus + "\r\n");
    note(strAnswer);
    return strAnswer;
}

int SipCaller::expectFinalAnswer()
{
    while (true)
    {
        const std::string strMessage = receive();
        if (strMessage.empty())
            return 0;
        if (!strMessage.starts_with("SIP/2.0 "))
        {
            accept(strMessage);
            continue;
        }
        const int iStatus = std::stoi(strMessage.substr(8, 3));
        const bool bOfLastRequest =
            header(strMessage, "CSeq").find(' ' + std::to_string(m_iSequence) + ' ') !=
            std::string::npos;
        if (iStatus < 200 || !bOfLastRequest)
            continue;
        note(strMessage);
        return iStatus;
    }
}

/// Stores the parts of an answer that later messages need.
void SipCaller::note(const std::string& in_strAnswer)
{
    const std::string strTo = header(in_strAnswer, "To");
    if (header(in_strAnswer, "CSeq").find("INVITE") == std::string::npos)
        return;
    m_bRefused = in_strAnswer.substr(0, 11) >= "SIP/2.0 300";
    if (strTo.find("tag=") != std::string::npos)
        m_strTo = strTo;
}

std::string SipCaller::expectRequest(const std::string& in_strMethod)
{
    return expect(in_strMethod + " sip:");
}

int SipCaller::countAnswers(const std::string& in_strStatus, std::chrono::milliseconds in_time)
{
    return count("SIP/2.0 " + in_strStatus + "\r\n", in_time);
}

int SipCaller::countRequests(const std::string& in_strMethod, std::chrono::milliseconds in_time)
{
    return count(in_strMethod + " sip:", in_time);
}

int SipCaller::count(const std::string& in_strStart, std::chrono::milliseconds in_time)
{
    int iCount = 0;
    const auto deadline = std::chrono::steady_clock::now() + in_time;
    while (std::chrono::steady_clock::now() < deadline)
        if (receive(100).starts_with(in_strStart))
            ++iCount;
    return iCount;
}

void SipCaller::accept(const std::string& in_strRequest)
{
    std::string strAnswer = "SIP/2.0 200 OK\r\n";
    for (const char* const szName : {"Via", "From", "To", "Call-ID", "CSeq"})
        strAnswer += header(in_strRequest, szName);
    transmit(strAnswer + "Content-Length: 0\r\n\r\n");
}

} // namespace Velmora::Test

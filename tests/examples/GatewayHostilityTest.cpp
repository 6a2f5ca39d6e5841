// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"
#include "tests/examples/TortureMessages.h"
#include "tests/examples/UdpEndpoint.h"
#include "tests/support/UdpServer.h"
#include "velmora/Sanitizers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
// Sanitizers keep freed memory and are slow, so that only the answers and the log are looked at.
constexpr bool s_bMemoryIsMeasured = false;
constexpr int s_iWarmUp = 1000;
constexpr int s_iMessages = 4000;
#else
constexpr bool s_bMemoryIsMeasured = true;
constexpr int s_iWarmUp = 150000;
constexpr int s_iMessages = 100000;
#endif

/// The growth that is allowed, in KiB. It is 40 bytes for each message, and what the stack keeps of
/// a message are thousands. What `malloc` keeps of the peak of calls was seen to grow by half of it
/// after the warm-up, and by 15000 KiB before.
constexpr long s_iMostGrowth = 4096;
constexpr int s_iRounds = 4;

/// The RTP ports of the gateway.
constexpr std::uint16_t s_uiFirstPort = 20000;
constexpr std::uint16_t s_uiLastPort = 21999;

/// Makes hostile messages, the same ones in each run.
class HostileMessages
{
  public:
    explicit HostileMessages(const std::string& in_strOwn) : m_strOwn(in_strOwn)
    {
        // The names of the messages are not looked up.
        const std::regex host("[A-Za-z0-9-]+([.][A-Za-z0-9-]+)*[.](com|net|org|edu)");
        for (const auto& [strName, strMessage] : tortureMessages())
            m_messages.push_back(std::regex_replace(strMessage, host, in_strOwn));
        for (const char* const szMethod : {"INVITE", "INVITE", "INVITE", "ACK", "CANCEL", "BYE"})
            for (const char* const szUser : {"service", "nobody", "busy"})
                m_messages.push_back(regular(szMethod, szUser, in_strOwn));
    }

    std::string next()
    {
        std::string strMessage = m_messages[below(m_messages.size())];
        // Most are new ones. Some belong to the last transaction, except ACK: one that confirms a
        // transaction would keep it for five seconds, which no parameter shortens.
        if (below(8) != 0 || strMessage.starts_with("ACK"))
            ++m_uiNumber;
        number(strMessage, m_uiNumber);
        for (std::size_t uiLeft = below(4); uiLeft > 0 && !strMessage.empty(); --uiLeft)
            mutate(strMessage);
        return strMessage;
    }

    /// Returns a regular message that belongs to no call.
    std::string stray()
    {
        constexpr std::array methods{"ACK", "BYE", "CANCEL", "INFO"};
        std::string strMessage = regular(methods[below(methods.size())], "service", m_strOwn);
        number(strMessage, ++m_uiNumber);
        return strMessage;
    }

    /// Returns a call whose end the gateway announces to a contact of which it has only the name.
    static std::string withNamedContact() { return regular("INVITE", "service", "name.invalid"); }

    std::string noise()
    {
        std::string strBytes(below(200), '\0');
        for (char& c : strBytes)
            c = byte();
        if (!strBytes.empty() && below(2) == 0)
            strBytes[0] = '\x80';
        return strBytes;
    }

    std::size_t below(std::size_t in_uiEnd) { return m_random() % in_uiEnd; }

  private:
    static std::string regular(const std::string& in_strMethod, const std::string& in_strUser,
                               const std::string& in_strOwn)
    {
        const std::string strBody = in_strMethod != "INVITE"
                                        ? ""
                                        : "v=0\r\no=- 1 1 IN IP4 10.0.0.1\r\ns=-\r\nc=IN IP4 "
                                          "10.0.0.1\r\nt=0 0\r\nm=audio 6000 RTP/AVP 0 8\r\n"
                                          "a=rtpmap:0 PCMU/8000\r\n";
        return in_strMethod + " sip:" + in_strUser +
               "@gateway SIP/2.0\r\nVia: SIP/2.0/UDP 10.0.0.1;branch=z9hG4bK-" + in_strUser +
               "\r\nFrom: <sip:caller@a>;tag=1\r\nTo: <sip:service@gateway>\r\nCall-ID: " +
               in_strUser + "@caller\r\nCSeq: 1 " + in_strMethod + "\r\nContact: <sip:caller@" +
               in_strOwn + ">\r\nMax-Forwards: 70\r\nContent-Type: application/sdp\r\n" +
               "Content-Length: " + std::to_string(strBody.size()) + "\r\n\r\n" + strBody;
    }

    /// Makes a message one of the call with this number.
    static void number(std::string& inout_strMessage, std::uint64_t in_uiNumber)
    {
        for (const char* const szBefore : {"branch=z9hG4bK", "Call-ID: "})
            if (const std::size_t uiAt = inout_strMessage.find(szBefore); uiAt != std::string::npos)
                inout_strMessage.insert(uiAt + std::string_view(szBefore).size(),
                                        std::to_string(in_uiNumber));
    }

    char byte() { return static_cast<char>(m_random()); }

    void mutate(std::string& inout_strMessage)
    {
        const std::size_t uiAt = below(inout_strMessage.size());
        const std::size_t uiLength = below(30);
        const std::string& strOther = m_messages[below(m_messages.size())];
        switch (below(8))
        {
        case 0:
            inout_strMessage[uiAt] = byte();
            break;
        case 1:
            inout_strMessage.insert(uiAt, uiLength, byte());
            break;
        case 2:
            inout_strMessage.erase(uiAt, uiLength);
            break;
        case 3:
            inout_strMessage.insert(uiAt, inout_strMessage.substr(below(uiAt + 1), uiLength));
            break;
        case 4:
            inout_strMessage.insert(uiAt, strOther.substr(below(strOther.size()), uiLength));
            break;
        case 5:
            inout_strMessage.insert(uiAt, std::to_string(m_random() * m_random()));
            break;
        case 6:
            inout_strMessage.resize(uiAt);
            break;
        case 7:
            // A header twice.
            if (const std::size_t uiLine = inout_strMessage.find("\r\n", uiAt);
                uiLine != std::string::npos)
                inout_strMessage.insert(
                    uiLine, inout_strMessage.substr(
                                uiLine, inout_strMessage.find("\r\n", uiLine + 2) - uiLine));
            break;
        }
    }

    std::string m_strOwn;
    std::mt19937_64 m_random{4475};
    std::uint64_t m_uiNumber = 0;
    std::vector<std::string> m_messages;
};

class GatewayHostility : public GatewayProcess
{
  protected:
    GatewayHostility()
        : m_strOwn("127.100" + address().substr(address().find('.', 4))), m_messages(m_strOwn),
          m_endpoint(m_strOwn, 5060)
    {
        // Calls and transactions end soon.
        replaceInFile(etc("gateway.cfg"), "TimerT1 = 500", "TimerT1 = 10");
        replaceInFile(etc("gateway.cfg"), "TimerT2 = 4000", "TimerT2 = 20");
        replaceInFile(etc("gateway.cfg"), "ringTimeoutMs = 45000", "ringTimeoutMs = 50");
        replaceInFile(etc("site.cfg"), "20000-29999",
                      std::to_string(s_uiFirstPort) + '-' + std::to_string(s_uiLastPort));
        configure("keswardin.sip.lifetimeTimer = 100");
        configure("keswardin.sip.state.Disconnecting.timeoutMs = 50");
        configure("keswardin.media.rxStartTimeoutMs = 50");
        // All lines are in one file, and some calls have one.
        replaceInFile(etc("logging.cfg"), "MaxFileSize = 20MB", "MaxFileSize = 1000MB");
        configure("keswardin.infra.CallLogger.log1CallOutOf = 100");
    }

    /// Sends a number of messages, and behind each few an OPTIONS. Its answer shows that
    /// the gateway has received them; while it is on its way, the next few are sent.
    void send(int in_iMessages, const std::function<std::string()>& in_next)
    {
        constexpr int iAtOnce = 20;
        for (int iSent = 0; iSent < in_iMessages && !HasFatalFailure(); iSent += iAtOnce)
        {
            for (int i = 0; i < iAtOnce; ++i)
                m_endpoint.send(in_next(), address(), 5060);
            const std::size_t uiPorts = s_uiLastPort - s_uiFirstPort + 1;
            m_endpoint.send(m_messages.noise(), address(),
                            static_cast<std::uint16_t>(s_uiFirstPort + m_messages.below(uiPorts)));
            const int iFormer = m_iQuestions;
            ask();
            expectAnswerTo(iFormer);
        }
        expectAnswerTo(m_iQuestions);
        // Longer than all calls and transactions.
        std::this_thread::sleep_for(1s);
    }

    /// Returns a value of the gateway's process in KiB.
    [[nodiscard]] long memory() const
    {
        std::ifstream status("/proc/" + std::to_string(pid()) + "/status");
        for (std::string strName; status >> strName;)
            if (long iValue = 0; strName == "VmRSS:" && status >> iValue)
                return iValue;
        ADD_FAILURE();
        return 0;
    }

    [[nodiscard]] std::size_t descriptors() const
    {
        return namesIn("/proc/" + std::to_string(pid()) + "/fd").size();
    }

    /// Expects that the gateway has the memory and the descriptors after a number of messages that
    /// it had before, and before after others.
    void expectNothingIsKept(int in_iWarmUp, int in_iMessages,
                             const std::function<std::string()>& in_next)
    {
        start({"--answer-after-ms", "1"});
        // The stack keeps the socket with which it asks the name server.
        m_endpoint.send(HostileMessages::withNamedContact(), address(), 5060);
        send(in_iWarmUp, in_next);
        const std::size_t uiDescriptors = descriptors();
        // What `malloc` keeps depends on how many transactions there were at once, so it may grow
        // with one of the rounds. A leak grows with each.
        bool bFlat = false;
        for (int iRound = 0; iRound < s_iRounds && !bFlat; ++iRound)
        {
            const long iMemory = memory();
            send(in_iMessages, in_next);
            std::cout << "VmRSS: " << iMemory << " KiB, then " << memory() << " KiB\n";
            bFlat = !s_bMemoryIsMeasured || memory() <= iMemory + s_iMostGrowth;
        }
        EXPECT_TRUE(bFlat);
        EXPECT_EQ(uiDescriptors, descriptors());
    }

    void expectCall()
    {
        SipCaller caller(address());
        caller.setCallId("regular@caller");
        caller.invite("service");
        caller.expectAnswer("200 OK");
        caller.send("ACK", "service");
        caller.send("BYE", "service");
        caller.expectAnswer("200 OK");
    }

    [[nodiscard]] HostileMessages& messages() { return m_messages; }

  private:
    /// Sends the next OPTIONS.
    void ask()
    {
        const std::string strCallId = "good-" + std::to_string(++m_iQuestions);
        m_endpoint.send("OPTIONS sip:end@gateway SIP/2.0\r\nVia: SIP/2.0/UDP " + m_strOwn +
                            ";branch=z9hG4bK" + strCallId +
                            "\r\nFrom: <sip:a@b>;tag=1\r\nTo: <sip:end@gateway>\r\nCall-ID: " +
                            strCallId + "\r\nCSeq: 1 OPTIONS\r\nMax-Forwards: 70\r\n\r\n",
                        address(), 5060);
    }

    /// Waits until an OPTIONS or a later one is answered. Sends another one if the answer is lost.
    void expectAnswerTo(int in_iQuestion)
    {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (m_iAnswered < in_iQuestion)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            const std::string strAnswer = m_endpoint.receive(1s);
            if (strAnswer.empty())
                ask();
            const std::string strCallId = "\r\nCall-ID: good-";
            if (const std::size_t uiAt = strAnswer.find(strCallId);
                uiAt != std::string::npos && strAnswer.starts_with("SIP/2.0 200 OK\r\n"))
                m_iAnswered = std::stoi(strAnswer.substr(uiAt + strCallId.size()));
        }
    }

    std::string m_strOwn;
    HostileMessages m_messages;
    UdpEndpoint m_endpoint;
    int m_iQuestions = 0;
    int m_iAnswered = 0;
};

/// Returns whether a line begins with its date and level, and is text.
bool isWellFormed(const std::string& in_strLine)
{
    const std::string strForm = "0000-00-00 00:00:00.000 ";
    if (in_strLine.size() < strForm.size() || in_strLine.find("] ") == std::string::npos)
        return false;
    for (std::size_t ui = 0; ui < strForm.size(); ++ui)
        if (strForm[ui] == '0' ? std::isdigit(static_cast<unsigned char>(in_strLine[ui])) == 0
                               : strForm[ui] != in_strLine[ui])
            return false;
    return std::all_of(in_strLine.begin(), in_strLine.end(),
                       [](char in_c)
                       { return static_cast<unsigned char>(in_c) >= ' ' || in_c == '\t'; });
}

} // namespace

TEST_F(GatewayHostility, OfAHundredThousandMessagesLeavesNothingBehind)
{
    expectNothingIsKept(s_iWarmUp, s_iMessages, [this] { return messages().next(); });
    expectCall();
    EXPECT_EQ(0, stop());
    EXPECT_EQ("", output());
    for (const std::string& strLine : linesOfLog())
        ASSERT_TRUE(isWellFormed(strLine) && strLine.find(" ERROR ") == std::string::npos)
            << strLine;
    EXPECT_EQ(namesIn(home().path()),
              (std::vector<std::string>{"calls", "etc", "logs", "output", "run"}));
}

TEST_F(GatewayHostility, OfMessagesThatBelongToNoCallLeavesNothingBehind)
{
    expectNothingIsKept(s_iWarmUp / 10, s_iMessages / 5, [this] { return messages().stray(); });
    expectCall();
    EXPECT_EQ(0, stop());
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"
#include "tests/examples/TortureMessages.h"
#include "tests/examples/UdpEndpoint.h"
#include "tests/support/UdpServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// No final answer.
constexpr int s_iSilence = 0;

/// What the gateway does with a message of RFC 4475.
struct Outcome
{
    const char* szMessage;
    /// The final answer that the RFC asks for. Where it leaves a choice, it is the gateway's.
    int iAsked;
    /// The final answer of the gateway.
    int iStatus;
    /// A line that the answer has.
    const char* szHeader;
    /// Why the gateway differs from the RFC.
    const char* szWhy;
};

constexpr const char* s_szAllow = "Allow: INVITE, ACK, BYE, CANCEL, OPTIONS";
constexpr const char* s_szNoRegistrar = "the gateway is no registrar";
constexpr const char* s_szTransport =
    "it names a transport that the gateway does not have, so no answer could reach its sender";

const std::vector<Outcome> s_outcomes{
    // 3.1.1, valid messages
    {"wsinv", 481, 481, "", ""}, // The tag in To is of an unknown dialog.
    {"intmeth", 501, s_iSilence, "", s_szTransport},
    {"esc01", 200, 200, "", ""},
    {"escnull", 200, 405, s_szAllow, s_szNoRegistrar},
    {"esc02", 501, s_iSilence, "", s_szTransport},
    {"lwsdisp", 200, 200, "", ""},
    {"longreq", 200, s_iSilence, "", s_szTransport},
    {"dblreq", 200, 405, s_szAllow, s_szNoRegistrar}, // What is behind the first is ignored.
    {"semiuri", 200, 200, "", ""},
    {"transports", 200, 200, "", ""},
    {"mpart01", 405, 405, s_szAllow, ""},
    {"unreason", s_iSilence, s_iSilence, "", ""},
    {"noreason", s_iSilence, s_iSilence, "", ""},
    // 3.1.2, invalid messages
    {"badinv01", 400, s_iSilence, "", "where to answer is in its Via, which cannot be read"},
    {"clerr", 400, 400, "", ""},
    {"ncl", 400, 400, "", ""},
    {"scalar02", 400, s_iSilence, "", s_szTransport},
    {"scalarlg", s_iSilence, s_iSilence, "", ""},
    {"quotbal", 400, 400, "", ""},
    {"ltgtruri", 400, 400, "", ""},
    {"lwsruri", 400, s_iSilence, "", "the SIP stack takes its first line for no request at all"},
    {"lwsstart", 200, 200, "", ""},
    {"trws", 200, s_iSilence, "", s_szTransport},
    {"escruri", 200, 200, "", ""}, // No header is taken from the URI.
    {"baddate", 200, 200, "", ""}, // The Date is ignored.
    {"regbadct", 400, 400, "", ""},
    {"badaspec", 200, 200, "", ""},
    {"baddn", 400, 400, "", ""},
    {"badvers", 505, s_iSilence, "",
     "the SIP stack sends the 505 to the name in Via, and the gateway looks up no name"},
    {"mismatch01", 400, 400, "", ""},
    {"mismatch02", 400, 400, "", ""},
    {"bigcode", s_iSilence, s_iSilence, "", ""},
    // 3.2, transactions
    {"badbranch", 200, 200, "", ""},
    // 3.3, the application
    {"insuf", 400, 400, "", ""},
    {"unkscm", 416, s_iSilence, "", s_szTransport},
    {"novelsc", 416, s_iSilence, "", s_szTransport},
    {"unksm2", 400, 405, s_szAllow, s_szNoRegistrar},
    {"bext01", 420, s_iSilence, "", s_szTransport},
    {"invut", 415, 415, "Accept: application/sdp", ""},
    {"regaut01", 200, s_iSilence, "", s_szTransport},
    {"multi01", 400, 400, "", ""},
    {"mcl01", 400, 400, "", ""},
    {"bcast", s_iSilence, s_iSilence, "", ""},
    {"zeromf", 200, 200, "", ""},
    {"cparam01", 200, 405, s_szAllow, s_szNoRegistrar},
    {"cparam02", 200, 405, s_szAllow, s_szNoRegistrar},
    {"regescrt", 200, 405, s_szAllow, s_szNoRegistrar},
    {"sdp01", 406, 406, "", ""},
    // 3.4, backward compatibility
    {"inv2543", 200, 200, "", ""},
};

/// The messages of another transport, with UDP in its place.
const std::vector<Outcome> s_outcomesOverUdp{
    {"intmeth", 501, s_iSilence, "", "the SIP stack takes its first line for no request at all"},
    {"esc02", 501, 501, s_szAllow, ""},
    {"longreq", 200, 200, "", ""},
    {"scalar02", 400, 400, "", ""},
    {"trws", 200, 200, "", ""},
    {"unkscm", 416, 416, "", ""},
    {"novelsc", 416, 416, "", ""},
    {"bext01", 420, 420, "Unsupported: nothingSupportsThis, nothingSupportsThisEither", ""},
    {"regaut01", 200, 405, s_szAllow, s_szNoRegistrar},
};

/// Replaces the transport of the first Via.
std::string overUdp(std::string in_strMessage)
{
    const std::size_t uiAt = in_strMessage.find("SIP/2.0/T");
    EXPECT_NE(std::string::npos, uiAt);
    return in_strMessage.replace(uiAt, std::string_view("SIP/2.0/TCP").size(), "SIP/2.0/UDP");
}

int statusOf(const std::string& in_strAnswer)
{
    EXPECT_THAT(in_strAnswer, StartsWith("SIP/2.0 "));
    return in_strAnswer.size() > 11 ? std::stoi(in_strAnswer.substr(8, 3)) : 0;
}

/// A sender with an address of its own, at which it receives the answers, wherever the message says
/// that it comes from: at the default port, and at the only other one that a message names.
class Sender
{
  public:
    Sender(std::string in_strGateway, unsigned int in_uiNumber)
        : m_strGateway(std::move(in_strGateway)),
          m_strOwn("127." + std::to_string(100 + in_uiNumber) +
                   m_strGateway.substr(m_strGateway.find('.', 4))),
          m_endpoint(m_strOwn, 5060), m_other(m_strOwn, 5050)
    {
    }

    /// Sends a message and returns its final answers: of each status, the first. Waits for one of
    /// any status if one is expected.
    std::vector<std::string> answersTo(const std::string& in_strMessage, int in_iExpected)
    {
        m_endpoint.send(in_strMessage, m_strGateway, 5060);
        // The answer to this comes behind all answers that are sent at once.
        m_endpoint.send("OPTIONS sip:end@" + m_strGateway + " SIP/2.0\r\nVia: SIP/2.0/UDP " +
                            m_strOwn + ";branch=z9hG4bKend" + m_strOwn +
                            "\r\nFrom: <sip:end@a>;tag=end\r\nTo: <sip:end@b>\r\nCall-ID: end-" +
                            m_strOwn + "\r\nCSeq: 1 OPTIONS\r\nMax-Forwards: 70\r\n\r\n",
                        m_strGateway, 5060);
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        bool bEnd = false;
        while (std::chrono::steady_clock::now() < deadline &&
               !(bEnd && (in_iExpected == s_iSilence || !m_seen.empty())))
        {
            const std::string strAnswer = m_endpoint.receive(10ms);
            if (strAnswer.find("Call-ID: end-") != std::string::npos)
                bEnd = true;
            else
                take(strAnswer);
            take(m_other.receive(0ms));
        }
        EXPECT_TRUE(bEnd);
        return m_answers;
    }

  private:
    void take(const std::string& in_strAnswer)
    {
        if (in_strAnswer.empty())
            return;
        const int iStatus = statusOf(in_strAnswer);
        if (iStatus >= 200 && m_seen.insert(iStatus).second)
            m_answers.push_back(in_strAnswer);
    }

    std::string m_strGateway;
    std::string m_strOwn;
    UdpEndpoint m_endpoint;
    UdpEndpoint m_other;
    std::set<int> m_seen;
    std::vector<std::string> m_answers;
};

class SipTorture : public GatewayProcess
{
  protected:
    SipTorture()
    {
        // Datagrams arrive in the order in which they are sent.
        stayOnThisProcessor();
        // Messages go to the log as far as the stack logs them.
        replaceInFile(etc("logging.cfg"), "rootLogger = INFO", "rootLogger = DEBUG");
        replaceInFile(etc("logging.cfg"), "keswardin.gateway = INFO", "keswardin.gateway = DEBUG");
        // Calls that are answered and never acknowledged end soon.
        replaceInFile(etc("gateway.cfg"), "TimerT1 = 500", "TimerT1 = 50");
        replaceInFile(etc("gateway.cfg"), "TimerT2 = 4000", "TimerT2 = 100");
        configure("keswardin.sip.lifetimeTimer = 1000");
    }

    void expectOutcome(const Outcome& in_outcome, const std::string& in_strMessage)
    {
        SCOPED_TRACE(in_outcome.szMessage);
        Sender sender(address(), m_uiSenders++);
        const std::vector<std::string> answers =
            sender.answersTo(in_strMessage, in_outcome.iStatus);
        if (in_outcome.iStatus == s_iSilence)
        {
            EXPECT_THAT(answers, ElementsAre());
            return;
        }
        ASSERT_THAT(answers, testing::SizeIs(1));
        EXPECT_EQ(in_outcome.iStatus, statusOf(answers.front()));
        EXPECT_THAT(answers.front(), HasSubstr(std::string("\r\n") + in_outcome.szHeader));
    }

    void expectRegularCall()
    {
        SipCaller caller(address());
        caller.setCallId("regular@caller");
        caller.invite("service");
        caller.expectAnswer("200 OK");
        caller.send("ACK", "service");
        waitForLine("call-id=regular@caller ACK received");
        caller.send("BYE", "service");
        caller.expectAnswer("200 OK");
    }

    /// Expects that nothing but text is in the log, and nothing but the files of calls beside it.
    void expectCleanFiles() const
    {
        EXPECT_EQ(namesIn(home().path()),
                  (std::vector<std::string>{"calls", "etc", "logs", "output", "run"}));
        EXPECT_THAT(namesIn(home().path() / "logs"), ElementsAre("gateway.log"));
        EXPECT_THAT(namesIn(home().path() / "calls"), Each(EndsWith(".log")));
        for (const auto& entry : std::filesystem::directory_iterator(home().path() / "calls"))
        {
            EXPECT_TRUE(entry.is_regular_file());
            expectText(readFile(entry.path()));
        }
        expectText(home().read("logs/gateway.log"));
        EXPECT_EQ("", output());
    }

    static void expectText(const std::string& in_strLog)
    {
        EXPECT_FALSE(in_strLog.empty());
        const auto isRaw = [](char in_c)
        { return static_cast<unsigned char>(in_c) < ' ' && in_c != '\n' && in_c != '\t'; };
        EXPECT_TRUE(std::none_of(in_strLog.begin(), in_strLog.end(), isRaw));
    }

  private:
    unsigned int m_uiSenders = 0;
};

} // namespace

TEST(SipTortureTable, HasEachMessageOfTheRfcAndAReasonForEachDifference)
{
    std::set<std::string> names;
    for (const Outcome& outcome : s_outcomes)
        names.insert(outcome.szMessage);
    EXPECT_EQ(49u, names.size());
    EXPECT_EQ(s_outcomes.size(), names.size());
    for (const auto& [strName, strMessage] : tortureMessages())
        EXPECT_THAT(names, Contains(strName));
    for (const auto* const pOutcomes : {&s_outcomes, &s_outcomesOverUdp})
        for (const Outcome& outcome : *pOutcomes)
            EXPECT_EQ(outcome.iAsked != outcome.iStatus, *outcome.szWhy != '\0')
                << outcome.szMessage;
}

TEST_F(SipTorture, EachMessageHasItsOutcomeAndARegularCallIsAnsweredBehindThem)
{
    const auto messages = tortureMessages();
    start({"--answer-after-ms", "1"});
    for (const Outcome& outcome : s_outcomes)
        expectOutcome(outcome, messages.at(outcome.szMessage));
    for (const Outcome& outcome : s_outcomesOverUdp)
        expectOutcome(outcome, overUdp(messages.at(outcome.szMessage)));
    expectRegularCall();
    EXPECT_EQ(0, stop());
    expectCleanFiles();
    EXPECT_THAT(log(), Each(Not(StartsWith("ERROR "))));
    // INVITEs that are answered, and the regular one.
    EXPECT_THAT(callFiles(), testing::SizeIs(6 + 1));
}

TEST_F(SipTorture, ACallIdThatLeadsElsewhereHasItsFileWhereAllOthersAre)
{
    start({"--answer-after-ms", "1"});
    for (const char* const szCallId :
         {"../../elsewhere", "/tmp/elsewhere", "..", "a\\..\\b", "a%2F..%2Fb", "a\tb", "\x1b[2J"})
    {
        SipCaller caller(address());
        caller.setCallId(szCallId);
        caller.invite("busy");
        caller.receive();
    }
    expectRegularCall();
    EXPECT_EQ(0, stop());
    expectCleanFiles();
    EXPECT_FALSE(std::filesystem::exists(home().path().parent_path() / "elsewhere.log"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/elsewhere.log"));
}

TEST_F(SipTorture, StunIsRefusedAndWhatLooksLikeItIsNotPrinted)
{
    using namespace std::string_literals;
    start();
    const UdpEndpoint endpoint(address());
    endpoint.send("\0\1garbage"s, address(), 5060);
    endpoint.send("\0\1\0\0\x21\x12\xA4\x42twelve bytes"s, address(), 5060);
    // An error response.
    EXPECT_THAT(endpoint.receive(60s), StartsWith("\x01\x11"));
    EXPECT_EQ(0, stop());
    EXPECT_EQ("", output());
}

TEST_F(SipTorture, TheAnswerToAnotherVersionGoesToAnAddressInViaAndNotToAName)
{
    const std::string strMessage = tortureMessages().at("badvers");
    const UdpEndpoint local("127.0.0.1");
    const auto withHost = [&](const std::string& in_strHost)
    {
        const std::string strName = "c.example.com;";
        return std::string(strMessage)
            .replace(strMessage.find(strName), strName.size(),
                     in_strHost + ':' + std::to_string(local.port()) + ';');
    };
    start();
    Sender sender(address(), 0);
    EXPECT_THAT(sender.answersTo(withHost("localhost"), s_iSilence), ElementsAre());
    EXPECT_EQ("", local.receive(0ms));
    Sender other(address(), 1);
    EXPECT_THAT(other.answersTo(withHost("127.0.0.1"), s_iSilence), ElementsAre());
    EXPECT_THAT(local.receive(60s), StartsWith("SIP/2.0 505 Version Not Supported\r\n"));
    EXPECT_EQ(0, stop());
}

} // namespace Velmora::Test

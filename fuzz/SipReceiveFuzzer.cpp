// SPDX-License-Identifier: BSD-2-Clause

// Sends the input to the example gateway, which runs in this process: its loop, its SIP, its calls
// and their RTP, on a loopback address. The gateway must go on: no line at ERROR, no control byte
// in its log, and behind each datagram a good OPTIONS is answered. At the end its calls are cut
// off, and no RTP port may be left in use. Each input gets a new user agent, so that none depends
// on another.
//
// The input is one or several datagrams. Each begins behind a line that says where it goes; the
// first one may begin without it, and goes to the SIP port:
//
//   %%S   to the SIP port
//   %%R   to the RTP port of the last call
//   %%W   not sent: the gateway runs for three milliseconds, in which some of its times end
//
// In datagrams to the SIP port, these words are replaced:
//
//   $OWN     the address and port of the sender
//   $GATEWAY the address of the gateway
//   $TAG     the tag that the gateway has given to the last call
//   $BRANCH  the branch of the last request of the gateway, and $CSEQ its number

#include "fuzz/Require.h"

#include "examples/gateway/EventLoop.h"
#include "examples/gateway/LoadMonitor.h"
#include "examples/gateway/Settings.h"
#include "examples/gateway/UserAgent.h"
#include "tests/examples/UdpEndpoint.h"
#include "velmora/config/TrieConfiguration.h"
#include "velmora/logging/LogLevel.h"
#include "velmora/logging/PatternLayout.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <sofia-resolv/sres.h>
#include <sofia-sip/su_wait.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

// The gateway looks up the names of contacts. This one must not reach a name server.
extern "C" [[gnu::visibility("default")]] sres_query_t*
sres_query(sres_resolver_t*, sres_answer_f*, sres_context_t*, std::uint16_t, const char*)
{
    return nullptr;
}

namespace
{

using namespace std::chrono_literals;
using GatewayExample::EventLoop;
using GatewayExample::LoadMonitor;
using GatewayExample::Settings;
using GatewayExample::UserAgent;
using Velmora::Fuzz::require;
using Velmora::Test::UdpEndpoint;

constexpr std::uint16_t s_uiSipPort = 5060;

/// Bounds the calls of an input, and so the RTP ports.
constexpr int s_iMostDatagrams = 16;

/// Checks the lines of the log and drops them.
class CheckingAppender : public log4cplus::Appender
{
  public:
    CheckingAppender() : m_layout(properties()) {}
    ~CheckingAppender() override { destructorImpl(); }
    void close() override {}

  private:
    static log4cplus::helpers::Properties properties()
    {
        log4cplus::helpers::Properties properties;
        properties.setProperty("ConversionPattern", "%p %c - %m%n");
        return properties;
    }

    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        m_strLine.clear();
        static_cast<Velmora::TextLayout&>(m_layout).append(m_strLine, in_event);
        require(in_event.getLogLevel() < Velmora::ERROR_LOG_LEVEL, "an error", m_strLine);
        const auto isControl = [](char in_c)
        { return static_cast<unsigned char>(in_c) < ' ' && in_c != '\t'; };
        require(m_strLine.ends_with('\n') &&
                    std::none_of(m_strLine.begin(), m_strLine.end() - 1, isControl),
                "a control byte in the log", m_strLine);
    }

    Velmora::PatternLayout m_layout;
    std::string m_strLine;
};

/// Returns a loopback address of this process.
std::string ownAddress(int in_iNetwork)
{
    const int iProcess = getpid();
    return "127." + std::to_string(in_iNetwork) + '.' + std::to_string(iProcess / 250 % 250 + 1) +
           '.' + std::to_string(iProcess % 250 + 1);
}

std::string valueBehind(const std::string& in_strText, const std::string& in_strName,
                        const char* in_szEnd)
{
    const std::size_t uiAt = in_strText.find(in_strName);
    if (uiAt == std::string::npos)
        return {};
    const std::size_t uiBegin = uiAt + in_strName.size();
    return in_strText.substr(uiBegin, in_strText.find_first_of(in_szEnd, uiBegin) - uiBegin);
}

void logTo(const log4cplus::SharedAppenderPtr& in_pAppender)
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(in_pAppender);
    root.setLogLevel(Velmora::DEBUG_LOG_LEVEL);
}

/// The gateway, and a caller with another address.
class Target
{
  public:
    void run(std::string_view in_input)
    {
        UserAgent userAgent(m_loop, m_settings, m_hConfig, m_monitor, 0ms);
        m_pUserAgent = &userAgent;
        m_words["$TAG"] = m_words["$BRANCH"] = m_words["$CSEQ"] = "0";
        char cTo = 'S';
        for (int iDatagrams = 0; iDatagrams < s_iMostDatagrams; ++iDatagrams)
        {
            const std::size_t uiEnd = separator(in_input);
            take(cTo, std::string(in_input.substr(0, uiEnd)));
            if (uiEnd == std::string_view::npos)
                break;
            cTo = in_input[uiEnd + s_uiLetter];
            in_input.remove_prefix(uiEnd + s_uiSeparator);
        }
        userAgent.cutOffCalls();
        require(!userAgent.hasCalls(), "a call is left", "");
        require(userAgent.rtpPorts().countUsed() == 0, "an RTP port is left in use", "");
    }

  private:
    /// The size of "%%S\n", and where its letter is.
    static constexpr std::size_t s_uiSeparator = 4;
    static constexpr std::size_t s_uiLetter = 2;

    /// Returns where the next separator begins.
    static std::size_t separator(std::string_view in_input)
    {
        for (std::size_t uiAt = in_input.find("%%"); uiAt != std::string_view::npos;
             uiAt = in_input.find("%%", uiAt + 1))
            if ((uiAt == 0 || in_input[uiAt - 1] == '\n') &&
                uiAt + s_uiSeparator <= in_input.size() && in_input[uiAt + 3] == '\n' &&
                std::string_view("SRW").find(in_input[uiAt + s_uiLetter]) != std::string_view::npos)
                return uiAt;
        return std::string_view::npos;
    }

    void take(char in_cTo, const std::string& in_strDatagram)
    {
        constexpr std::size_t uiMostBytes = 65000;
        if (in_cTo == 'W')
            wait();
        else if (in_strDatagram.empty() || in_strDatagram.size() > uiMostBytes)
            return;
        else if (in_cTo == 'R')
            m_caller.send(in_strDatagram, m_strGateway, m_uiRtpPort);
        else
            m_caller.send(filledIn(in_strDatagram), m_strGateway, s_uiSipPort);
        expectAnswers();
    }

    [[nodiscard]] std::string filledIn(std::string in_strDatagram) const
    {
        for (const auto& [strWord, strValue] : m_words)
            for (std::size_t uiAt = in_strDatagram.find(strWord); uiAt != std::string::npos;
                 uiAt = in_strDatagram.find(strWord, uiAt + strValue.size()))
                in_strDatagram.replace(uiAt, strWord.size(), strValue);
        return in_strDatagram;
    }

    void step() { su_root_step(m_loop.root(), 0); }

    void wait()
    {
        const auto end = std::chrono::steady_clock::now() + 3ms;
        while (std::chrono::steady_clock::now() < end)
            step();
        m_pUserAgent->removeEndedCalls();
    }

    /// Runs the gateway until it has answered an OPTIONS.
    void expectAnswers()
    {
        const std::string strCallId = "good-" + std::to_string(++m_uiQuestions);
        m_caller.send("OPTIONS sip:service@" + m_strGateway + " SIP/2.0\r\nVia: SIP/2.0/UDP " +
                          m_strOwn + ";branch=z9hG4bK" + strCallId +
                          "\r\nFrom: <sip:caller@a>;tag=" + strCallId +
                          "\r\nTo: <sip:service@b>\r\nCall-ID: " + strCallId +
                          "\r\nCSeq: 1 OPTIONS\r\nMax-Forwards: 70\r\n\r\n",
                      m_strGateway, s_uiSipPort);
        constexpr int iMostSteps = 10000;
        bool bAnswered = false;
        for (int iSteps = 0; iSteps < iMostSteps && !bAnswered; ++iSteps)
        {
            step();
            bAnswered = receive(strCallId);
        }
        require(bAnswered, "a good OPTIONS is not answered", strCallId);
        m_pUserAgent->removeEndedCalls();
    }

    /// Receives what has come, and returns whether the answer to that OPTIONS is among it.
    bool receive(const std::string& in_strCallId)
    {
        bool bAnswered = false;
        for (std::string strMessage = m_caller.receive(0ms); !strMessage.empty();
             strMessage = m_caller.receive(0ms))
            if (strMessage.starts_with("SIP/2.0 200 OK\r\n") &&
                strMessage.find("\r\nCall-ID: " + in_strCallId + "\r\n") != std::string::npos)
                bAnswered = true;
            else
                note(strMessage);
        return bAnswered;
    }

    /// Remembers what later datagrams need. RTP comes back to the caller, too.
    void note(const std::string& in_strMessage)
    {
        if (in_strMessage.starts_with("BYE "))
        {
            m_words["$BRANCH"] = valueBehind(in_strMessage, ";branch=", ";\r");
            m_words["$CSEQ"] = valueBehind(in_strMessage, "\r\nCSeq: ", " ");
        }
        else if (in_strMessage.starts_with("SIP/2.0 ") &&
                 in_strMessage.find(" INVITE\r\n") != std::string::npos)
        {
            const std::string strTo = valueBehind(in_strMessage, "\r\nTo: ", "\r");
            m_words["$TAG"] = valueBehind(strTo, ";tag=", ";");
            // A stream that is refused has the port 0.
            const std::string strPort = valueBehind(in_strMessage, "\r\nm=audio 2", " ");
            if (!strPort.empty())
                m_uiRtpPort = static_cast<std::uint16_t>(std::stoi('2' + strPort));
        }
    }

    static Velmora::TSHandle<Velmora::ROConfiguration>
    makeConfiguration(const std::string& in_strAddress)
    {
        auto* const pConfig = new Velmora::TrieConfiguration;
        Velmora::TSHandle<Velmora::ROConfiguration> hConfig(pConfig);
        const std::map<const char*, std::string> texts{
            {"keswardin.sip.userAgent.IPAddress", "udp:" + in_strAddress + ":5060"},
            {"keswardin.sip.userAgentName", "gateway"},
            {"keswardin.media.rtp.IPAddress", in_strAddress},
            {"keswardin.media.rtp.udpPortRange", "20000-20199"},
            {"keswardin.rtp.encodingList", "PCMU,PCMA,telephone-event"}};
        for (const auto& [szName, strValue] : texts)
            pConfig->setStringParameter(szName, strValue.c_str());
        // A wait is longer than these times, and a few waits are longer than the others.
        for (const char* const szName :
             {"keswardin.sip.TimerT1", "keswardin.sip.TimerT2", "keswardin.gw.ringTimeoutMs",
              "keswardin.media.rxStartTimeoutMs", "gateway.calls.retryAfterSec",
              "gateway.calls.fileThreads", "gateway.metrics.periodSec"})
            pConfig->setIntParameter(szName, 1);
        for (const char* const szName :
             {"keswardin.sip.lifetimeTimer", "keswardin.sip.state.Disconnecting.timeoutMs"})
            pConfig->setIntParameter(szName, 8);
        pConfig->setIntParameter("gateway.calls.monitor.monitoringPeriodInMs", 0);
        pConfig->setIntParameter("gateway.calls.monitor.averageWindowSize", 1);
        pConfig->setFloatParameter("gateway.calls.monitor.setAlarmThreshold", 2);
        pConfig->setFloatParameter("gateway.calls.monitor.resetAlarmThreshold", 1);
        return hConfig;
    }

    const std::string m_strGateway = ownAddress(201);
    const std::string m_strOwn = ownAddress(202);
    std::map<std::string, std::string> m_words{{"$OWN", m_strOwn}, {"$GATEWAY", m_strGateway}};
    std::uint16_t m_uiRtpPort = 20000;
    std::uint64_t m_uiQuestions = 0;
    const Velmora::TSHandle<Velmora::ROConfiguration> m_hConfig = makeConfiguration(m_strGateway);
    EventLoop m_loop;
    const Settings m_settings{*m_hConfig};
    const LoadMonitor m_monitor{m_loop, "calls", "gateway.calls.monitor", *m_hConfig};
    UserAgent* m_pUserAgent = nullptr;
    /// Has the default port, to which the answers to most messages go.
    const UdpEndpoint m_caller{m_strOwn, s_uiSipPort};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    static Target& s_target = *[]
    {
        logTo(log4cplus::SharedAppenderPtr(new CheckingAppender));
        return new Target;
    }();
    s_target.run({reinterpret_cast<const char*>(in_pData), in_uiSize});
    return 0;
}

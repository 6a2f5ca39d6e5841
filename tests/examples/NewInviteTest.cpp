// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/NewInvite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::isAckWithTag;
using GatewayExample::NewInvite;
using GatewayExample::SocketAddress;

const SocketAddress s_source = SocketAddress::parse("10.0.0.1", 31000).value();

/// Returns an INVITE with one line replaced by another text; the text has its line end.
std::string invite(const std::string& in_strLine = "", const std::string& in_strText = "")
{
    std::string strInvite = "INVITE sip:service@10.0.0.9 SIP/2.0\r\n"
                            "Via: SIP/2.0/UDP 10.0.0.1:5070;branch=z9hG4bKrport\r\n"
                            "Max-Forwards: 70\r\n"
                            "From: <sip:caller@10.0.0.1>;tag=1\r\n"
                            "To: <sip:service@10.0.0.9>\r\n"
                            "Call-ID: a@10.0.0.1\r\n"
                            "CSeq: 1 INVITE\r\n"
                            "Content-Length: 4\r\n\r\nbody";
    if (in_strLine.empty())
        return strInvite;
    const std::size_t uiAt = strInvite.find(in_strLine);
    EXPECT_NE(std::string::npos, uiAt) << in_strLine;
    return strInvite.replace(uiAt, strInvite.find("\r\n", uiAt) + 2 - uiAt, in_strText);
}

std::string viaOf(const std::string& in_strVia)
{
    const std::string strInvite = invite("Via:", in_strVia + "\r\n");
    const std::optional<NewInvite> read = NewInvite::read(strInvite);
    if (!read)
        return "none";
    std::string strRefusal = read->refusal(s_source, "t", "gateway", 5s);
    const std::size_t uiBegin = strRefusal.find("\r\n") + 2;
    return strRefusal.substr(uiBegin, strRefusal.find("\r\n", uiBegin) - uiBegin) + " to " +
           read->destination(s_source).text();
}

} // namespace

TEST(NewInvite, IsRefusedWithItsOwnHeaders)
{
    const std::string strInvite = invite(
        "Max-Forwards", "VIA:SIP/2.0/TCP 10.0.0.8, SIP/2.0/UDP [::1] ;branch=\r\nSubject: no\r\n");
    const std::optional<NewInvite> read = NewInvite::read(strInvite);
    ASSERT_TRUE(read);
    EXPECT_EQ("a@10.0.0.1", read->callId());
    EXPECT_EQ("SIP/2.0 503 Service Unavailable\r\n"
              "Via: SIP/2.0/UDP 10.0.0.1:5070;branch=z9hG4bKrport\r\n"
              "VIA:SIP/2.0/TCP 10.0.0.8, SIP/2.0/UDP [::1] ;branch=\r\n"
              "From: <sip:caller@10.0.0.1>;tag=1\r\n"
              "To: <sip:service@10.0.0.9>;tag=t-7\r\n"
              "Call-ID: a@10.0.0.1\r\n"
              "CSeq: 1 INVITE\r\n"
              "Retry-After: 5\r\n"
              "Server: a gateway\r\n"
              "Content-Length: 0\r\n\r\n",
              read->refusal(s_source, "t-7", "a gateway", 5s));
}

TEST(NewInvite, IsAnsweredWhereItsViaAsksFor)
{
    const std::string strBegin = "Via: SIP/2.0/UDP ";
    EXPECT_EQ(strBegin + "10.0.0.1;branch=1 to 10.0.0.1:5060",
              viaOf(strBegin + "10.0.0.1;branch=1"));
    EXPECT_EQ(strBegin + "10.0.0.1:5070;branch=1 to 10.0.0.1:5070",
              viaOf(strBegin + "10.0.0.1:5070;branch=1"));
    EXPECT_EQ(strBegin + "phone:5070;branch=1;received=10.0.0.1 to 10.0.0.1:5070",
              viaOf(strBegin + "phone:5070;branch=1"));
    EXPECT_EQ(strBegin + "10.0.0.2 ; rport=31000 ; branch=1;received=10.0.0.1 to 10.0.0.1:31000",
              viaOf(strBegin + "10.0.0.2 ; rport ; branch=1"));
    EXPECT_EQ(strBegin + "10.0.0.1;branch=z9hG4bKrport;RPORT=31000;received=10.0.0.1 to "
                         "10.0.0.1:31000",
              viaOf(strBegin + "10.0.0.1;branch=z9hG4bKrport;RPORT"));
    EXPECT_EQ("v: sip/2.0/udp [::1]:5070;branch=1;received=10.0.0.1 to 10.0.0.1:5070",
              viaOf("v: sip/2.0/udp [::1]:5070;branch=1"));
}

TEST(NewInvite, WithAViaThatOnlyTheStackReadsIsLeftToIt)
{
    for (const char* const szVia :
         {"SIP/2.0/TCP 10.0.0.1;branch=1", "SIP / 2.0 / UDP 10.0.0.1;branch=1",
          "SIP/2.0/UDP 10.0.0.1;branch=1, SIP/2.0/UDP 10.0.0.2;branch=2",
          "SIP/2.0/UDP 10.0.0.1;branch=1;maddr=10.0.0.3", "SIP/2.0/UDP 10.0.0.1;branch=1;rport=7",
          "SIP/2.0/UDP 10.0.0.1;branch=1;received=10.0.0.3", "SIP/2.0/UDP 10.0.0.1",
          "SIP/2.0/UDP 10.0.0.1:0;branch=1", "SIP/2.0/UDP 10.0.0.1:65536;branch=1",
          "SIP/2.0/UDP 10.0.0.1:50x;branch=1", "SIP/2.0/UDP ;branch=1", "SIP/2.0/UDP", "",
          "SIP/2.0/UDP 10.0.0.1;x=\";branch=1\""})
        EXPECT_EQ("none", viaOf("Via: " + std::string(szVia))) << szVia;
}

TEST(NewInvite, IsNothingElse)
{
    ASSERT_TRUE(NewInvite::read(invite()));
    EXPECT_FALSE(NewInvite::read(""));
    EXPECT_FALSE(NewInvite::read("INVITE sip:a@b SIP/2.0\r\n"));
    EXPECT_FALSE(NewInvite::read(invite("INVITE", "OPTIONS sip:a@b SIP/2.0\r\n")));
    EXPECT_FALSE(NewInvite::read(invite("INVITE", "INVITE sip:a@b SIP/3.0\r\n")));
    EXPECT_FALSE(NewInvite::read(invite("To:", "To: <sip:service@10.0.0.9>;tag=2\r\n")))
        << "it belongs to a call";
    EXPECT_FALSE(NewInvite::read(invite("To:", "t: <sip:service@10.0.0.9> ; Tag = 2\r\n")));
    EXPECT_FALSE(NewInvite::read(invite("CSeq:", "CSeq: 1 ACK\r\n")));
    EXPECT_FALSE(NewInvite::read(invite("Max-Forwards:", "Subject: a\r\n folded line\r\n")));
    EXPECT_FALSE(NewInvite::read(invite("Max-Forwards:", "no name\r\n")));
    EXPECT_FALSE(NewInvite::read(invite("Max-Forwards:", "From: <sip:two@10.0.0.1>\r\n")));
    for (const char* const szLine : {"Via:", "From:", "To:", "Call-ID:", "CSeq:"})
        EXPECT_FALSE(NewInvite::read(invite(szLine, ""))) << szLine;
    const std::string strWhole = invite();
    const std::size_t uiHeaders = strWhole.find("\r\n\r\n");
    for (std::size_t ui = 0; ui < uiHeaders + 4; ++ui)
        EXPECT_FALSE(NewInvite::read(strWhole.substr(0, ui))) << ui;
}

TEST(NewInvite, ThatIsRepeatedIsTheSameTransaction)
{
    const std::string strOne = invite();
    const std::string strOther = invite("Via:", "Via: SIP/2.0/UDP 10.0.0.1:5070;branch=2\r\n");
    EXPECT_EQ(NewInvite::read(strOne)->transaction(), NewInvite::read(strOne)->transaction());
    EXPECT_NE(NewInvite::read(strOne)->transaction(), NewInvite::read(strOther)->transaction());
}

TEST(AckWithTag, IsThatOfARefusal)
{
    const std::string strBegin = "ACK sip:service@10.0.0.9 SIP/2.0\r\nVia: x\r\n";
    EXPECT_TRUE(isAckWithTag(strBegin + "To: <sip:a@b>;tag=refused-1-2f\r\n\r\n", "refused-1-"));
    EXPECT_TRUE(isAckWithTag(strBegin + "t : <sip:a@b>;tag=refused-1-2f\r\n\r\n", "refused-1-"));
    EXPECT_FALSE(isAckWithTag(strBegin + "To: <sip:a@b>;tag=refused-2-2f\r\n\r\n", "refused-1-"));
    EXPECT_FALSE(isAckWithTag(strBegin + "From: <sip:a@b>;tag=refused-1-2f\r\n\r\n", "refused-1-"));
    EXPECT_FALSE(isAckWithTag("BYE sip:a@b SIP/2.0\r\nTo: <sip:a@b>;tag=refused-1-2f\r\n\r\n",
                              "refused-1-"));
    EXPECT_FALSE(isAckWithTag("ACK ", "refused-1-"));
}

} // namespace Velmora::Test

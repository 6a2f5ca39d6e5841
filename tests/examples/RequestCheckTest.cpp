// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/RequestCheck.h"

#include <gtest/gtest.h>

#include <sofia-sip/msg.h>
#include <sofia-sip/sip.h>
#include <sofia-sip/sip_parser.h>

#include <memory>
#include <string>

namespace Velmora::Test
{

namespace
{

using GatewayExample::RequestCheck;

struct DestroyMessage
{
    void operator()(msg_t* in_pMessage) const { msg_destroy(in_pMessage); }
};

/// Returns the status of the refusal and its header, or "0".
std::string refusal(const std::string& in_strMethod, const std::string& in_strMore = {},
                    const std::string& in_strURL = "sip:service@gateway",
                    const std::string& in_strBody = {},
                    const std::string& in_strVia = "SIP/2.0/UDP 10.0.0.1;branch=z9hG4bK1")
{
    const std::string strText = in_strMethod + ' ' + in_strURL + " SIP/2.0\r\nVia: " + in_strVia +
                                "\r\nFrom: <sip:a@b>;tag=1\r\n"
                                "Call-ID: a-call\r\nCSeq: 1 " +
                                in_strMethod + "\r\nTo: <sip:service@gateway>" + in_strMore +
                                "\r\nContent-Length: " + std::to_string(in_strBody.size()) +
                                "\r\n\r\n" + in_strBody;
    const std::unique_ptr<msg_t, DestroyMessage> pMessage(
        msg_make(sip_default_mclass(), 0, strText.data(), static_cast<ssize_t>(strText.size())));
    const sip_t* const pSip = sip_object(pMessage.get());
    if (pSip == nullptr || pSip->sip_request == nullptr || pSip->sip_error != nullptr)
        return "not read";
    const RequestCheck check(*pSip);
    return std::to_string(check.status()) + (check.header().empty() ? "" : " " + check.header());
}

std::string refusalOfBody(const std::string& in_strHeaders, const std::string& in_strMethod)
{
    return refusal(in_strMethod, "\r\n" + in_strHeaders, "sip:service@gateway", "body");
}

} // namespace

TEST(RequestCheck, AnInviteAndOptionsAreServed)
{
    EXPECT_EQ("0", refusal("INVITE"));
    EXPECT_EQ("0", refusal("OPTIONS"));
}

TEST(RequestCheck, ARequestThatCannotBeAnsweredWhereItsViaAsksForItIsBad)
{
    const auto refusalWithVia = [](const std::string& in_strVia)
    { return refusal("INVITE", "", "sip:service@gateway", "", in_strVia); };
    EXPECT_EQ("0", refusalWithVia("SIP/2.0/UDP host;branch=1"));
    EXPECT_EQ("0", refusalWithVia("sip/2.0/udp host;branch=1;maddr=10.0.0.1"));
    EXPECT_EQ("0", refusalWithVia("SIP/2.0/UDP host;branch=1;maddr=[::1]"));
    EXPECT_EQ("400", refusalWithVia("SIP/2.0/UDP host;branch=1;maddr=.example.com"));
    EXPECT_EQ("400", refusalWithVia("SIP/2.0/TCP host;branch=1"));
    EXPECT_EQ("400", refusalWithVia("SIP/2.0/UNKNOWN host;branch=1"));
}

TEST(RequestCheck, AMethodThatIsNotKnownIsNotImplemented)
{
    EXPECT_EQ("501 Allow: INVITE, ACK, BYE, CANCEL, OPTIONS", refusal("NEWMETHOD"));
    EXPECT_EQ("501 Allow: INVITE, ACK, BYE, CANCEL, OPTIONS", refusal("invite"));
}

TEST(RequestCheck, AKnownMethodIsNotLookedAtFurther)
{
    for (const char* const szMethod : {"REGISTER", "MESSAGE", "BYE", "ACK", "CANCEL", "SUBSCRIBE"})
        EXPECT_EQ("0", refusal(szMethod, "\r\nRequire: x", "unknown:service")) << szMethod;
}

TEST(RequestCheck, ARequestOfAnUnknownDialogIsNotLookedAtFurther)
{
    EXPECT_EQ("0", refusal("INVITE", ";tag=2\r\nRequire: x", "unknown:service"));
    EXPECT_EQ("0", refusal("NEWMETHOD", ";tag=2"));
}

TEST(RequestCheck, TheSchemeMustBeOfSipOrTel)
{
    for (const char* const szURL : {"sip:a@b", "sips:a@b", "SIP:a@b", "tel:+123"})
        EXPECT_EQ("0", refusal("INVITE", "", szURL)) << szURL;
    for (const char* const szURL :
         {"nobodyKnowsThisScheme:totallyopaquecontent", "soap.beep://192.0.2.103:3002",
          "http://a/b", "mailto:a@b", "im:a@b"})
        EXPECT_EQ("416", refusal("INVITE", "", szURL)) << szURL;
}

TEST(RequestCheck, WhatIsRequiredIsNotSupported)
{
    EXPECT_EQ("420 Unsupported: 100rel", refusal("INVITE", "\r\nRequire: 100rel"));
    EXPECT_EQ("420 Unsupported: a, b, c", refusal("OPTIONS", "\r\nRequire: a,b\r\nRequire: c"));
    EXPECT_EQ("0", refusal("INVITE", "\r\nRequire:"));
    EXPECT_EQ("0", refusal("INVITE", "\r\nProxy-Require: x\r\nSupported: 100rel"));
}

TEST(RequestCheck, ABodyMustBeASessionDescription)
{
    EXPECT_EQ("0", refusalOfBody("Content-Type: application/sdp", "INVITE"));
    EXPECT_EQ("0", refusalOfBody("c: Application/SDP;charset=utf-8", "INVITE"));
    EXPECT_EQ("0", refusalOfBody("Subject: no type", "INVITE"));
    for (const char* const szMethod : {"INVITE", "OPTIONS"})
        for (const char* const szType :
             {"text/plain", "multipart/mixed;boundary=b", "application/*"})
            EXPECT_EQ("415 Accept: application/sdp",
                      refusalOfBody(std::string("Content-Type: ") + szType, szMethod))
                << szType;
    EXPECT_EQ("0", refusal("INVITE", "\r\nContent-Type: text/plain"));
}

TEST(RequestCheck, ABodyMustNotBeEncoded)
{
    EXPECT_EQ("415 Accept-Encoding: identity",
              refusalOfBody("Content-Type: application/sdp\r\nContent-Encoding: gzip", "INVITE"));
    EXPECT_EQ("0", refusalOfBody("Content-Type: application/sdp\r\nContent-Encoding: Identity",
                                 "INVITE"));
}

TEST(RequestCheck, TheCallerMustAcceptASessionDescription)
{
    for (const char* const szTypes : {"application/sdp", "text/plain, Application/SDP", "*/*",
                                      "text/plain, application/*;q=0.5"})
        EXPECT_EQ("0", refusal("INVITE", std::string("\r\nAccept: ") + szTypes)) << szTypes;
    EXPECT_EQ("406", refusal("INVITE", "\r\nAccept: text/nobodyKnowsThis"));
    // An answer to OPTIONS has no body.
    EXPECT_EQ("0", refusal("OPTIONS", "\r\nAccept: text/nobodyKnowsThis"));
}

TEST(RequestCheck, ARouteThatTheStackMisreadsIsRefused)
{
    for (const char* const szRoute : {"sip:a;lr.com", "sip:a;maddr=b;LRx", "sip:a;lr>, <sip:b;lrx"})
        EXPECT_EQ("400", refusal("INVITE", std::string("\r\nRecord-Route: <") + szRoute + ">"))
            << szRoute;
    for (const char* const szRoute :
         {"sip:a;lr", "sip:a;lr=on", "sip:a", "sip:a;lrx;lr", "sip:a;l"})
        EXPECT_EQ("0", refusal("INVITE", std::string("\r\nRecord-Route: <") + szRoute + ">"))
            << szRoute;
}

} // namespace Velmora::Test

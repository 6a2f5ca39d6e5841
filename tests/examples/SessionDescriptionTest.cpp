// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/SessionDescription.h"

#include "examples/gateway/BadSessionDescription.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

namespace
{

using GatewayExample::BadSessionDescription;
using GatewayExample::describe;
using GatewayExample::makeOffer;
using GatewayExample::namesOf;
using GatewayExample::negotiate;
using GatewayExample::Session;
using testing::HasSubstr;

const std::vector<std::string> s_encodings{"PCMU", "PCMA", "telephone-event"};

std::string offer(const std::string& in_strMedia, const std::string& in_strConnection = "10.0.0.1")
{
    return "v=0\r\no=- 1 1 IN IP4 10.0.0.1\r\ns=-\r\nc=IN IP4 " + in_strConnection +
           "\r\nt=0 0\r\n" + in_strMedia;
}

std::string errorOf(const std::string& in_strOffer)
{
    try
    {
        return namesOf(negotiate(in_strOffer, s_encodings).encodings);
    }
    catch (const BadSessionDescription& error)
    {
        return error.what();
    }
}

} // namespace

TEST(SessionDescription, TheOrderOfEncodingsIsTheOneOfThisEnd)
{
    const Session session = negotiate(offer("m=audio 6000 RTP/AVP 101 8 0 18\r\na=rtpmap:101 "
                                            "telephone-event/8000\r\n"),
                                      s_encodings);
    EXPECT_EQ("PCMU,PCMA,telephone-event", namesOf(session.encodings));
    EXPECT_EQ("10.0.0.1", session.strRemoteAddress);
    EXPECT_EQ(6000, session.uiRemotePort);
}

TEST(SessionDescription, AnAnswerHasThePayloadTypesOfTheOffer)
{
    const Session session =
        negotiate(offer("m=audio 6000 RTP/AVP 97 100\r\na=rtpmap:97 pcma/8000\r\n"
                        "a=rtpmap:100 telephone-event/8000\r\n"),
                  s_encodings);
    EXPECT_EQ("v=0\r\no=- 20000 1 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
              "m=audio 20000 RTP/AVP 97 100\r\na=rtpmap:97 PCMA/8000\r\na=rtpmap:100 "
              "telephone-event/8000\r\na=fmtp:100 0-15\r\n",
              describe(session, "127.0.0.1", 20000));
}

TEST(SessionDescription, AnAnswerHasALineForEachOfTheOfferAndAcceptsOnlyTheFirstAudio)
{
    const Session session = negotiate(offer("m=video 5000 RTP/AVP 31\r\nm=audio 0 RTP/AVP 0\r\n"
                                            "m=audio 6000 RTP/AVP 0\r\nm=audio 6002 RTP/AVP 8\r\n"
                                            "m=image 6004 udptl t38\r\n"),
                                      s_encodings);
    EXPECT_EQ(6000, session.uiRemotePort);
    EXPECT_THAT(describe(session, "127.0.0.1", 20000),
                HasSubstr("t=0 0\r\nm=video 0 RTP/AVP 31\r\nm=audio 0 RTP/AVP 0\r\n"
                          "m=audio 20000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n"
                          "m=audio 0 RTP/AVP 8\r\nm=image 0 udptl t38\r\n"));
}

TEST(SessionDescription, AnAddressOfTheMediaOverridesTheOneOfTheSession)
{
    const Session session =
        negotiate(offer("m=audio 6000 RTP/AVP 0\r\nc=IN IP4 10.0.0.2\r\n"), s_encodings);
    EXPECT_EQ("10.0.0.2", session.strRemoteAddress);
}

TEST(SessionDescription, AnIPv6AddressIsDescribedAsOne)
{
    EXPECT_THAT(describe(makeOffer(s_encodings), "::1", 20000), HasSubstr("\r\nc=IN IP6 ::1\r\n"));
}

TEST(SessionDescription, WhatIsOfferedByThisEndIsWhatNeedsNoAgreement)
{
    EXPECT_EQ("PCMA,telephone-event",
              namesOf(makeOffer({"opus", "PCMA", "telephone-event"}).encodings));
}

TEST(SessionDescription, APortMayHaveANumberOfPortsAndAnAddressATimeToLive)
{
    const Session session =
        negotiate(offer("m=audio 6000/2 RTP/AVP 0\r\n", "224.2.1.1/127"), s_encodings);
    EXPECT_EQ(6000, session.uiRemotePort);
    EXPECT_EQ("224.2.1.1", session.strRemoteAddress);
}

TEST(SessionDescription, LinesMayEndWithoutACarriageReturn)
{
    EXPECT_EQ("PCMU", errorOf("v=0\nc=IN IP4 10.0.0.1\nm=audio 6000 RTP/AVP 0\n"));
}

TEST(SessionDescription, TheLastLineMayHaveNoEnd)
{
    EXPECT_EQ("PCMU", errorOf("v=0\nc=IN IP4 10.0.0.1\nm=audio 6000 RTP/AVP 0"));
}

TEST(SessionDescription, BlanksInARowSeparateAsOneDoes)
{
    const Session session =
        negotiate(offer("m=audio  6000 RTP/AVP   8 0 \r\na=rtpmap:8  PCMA//8000\r\n"), s_encodings);
    EXPECT_EQ("PCMU,PCMA", namesOf(session.encodings));
    EXPECT_EQ(6000, session.uiRemotePort);
}

TEST(SessionDescription, ALineThatCannotBeReadIsReportedWithItsText)
{
    for (const char* const szLine :
         {"nonsense", "", "m", "m=", "m=audio 6000 RTP/AVP", "m=audio 6000 R@=44",
          "m=audio x RTP/AVP 0", "m=audio 6000x RTP/AVP 0", "c=IN IP4", "c=IN IP4 ", "c=10.0.0.1"})
    {
        const std::string strValue = std::string_view(szLine).substr(0, 2).ends_with('=')
                                         ? std::string(szLine).substr(2)
                                         : szLine;
        EXPECT_EQ("the session description cannot be read : \"" + strValue + '"',
                  errorOf(offer(std::string(szLine) + "\r\nm=audio 6000 RTP/AVP 0\r\n")));
    }
    EXPECT_EQ("the session description cannot be read : \"v=1\"", errorOf("v=1\r\n"));
}

TEST(SessionDescription, AttributesThatAreNotKnownDoNotMatter)
{
    EXPECT_EQ("PCMU", errorOf(offer("a=rtpmap\r\nm=audio 6000 RTP/AVP 0\r\na=sendrecv\r\n"
                                    "a=\r\nb=AS:64\r\n")));
}

TEST(SessionDescription, APayloadTypeWithoutANameIsNoEncoding)
{
    EXPECT_EQ("PCMU", errorOf(offer("m=audio 6000 RTP/AVP 96 x 0\r\n")));
    EXPECT_EQ("PCMU", errorOf(offer("m=audio 6000 RTP/AVP 128 0\r\na=rtpmap:128 PCMA/8000\r\n")));
}

TEST(SessionDescription, ABrokenMapOfTheOnlyPayloadTypeIsReportedWithItsText)
{
    for (const char* const szMap : {"rtpmap:0", "rtpmap:0 PCMU", "rtpmap:0 PCMU/x", "rtpmap:0 "})
        EXPECT_EQ(std::string("the session description cannot be read : \"") + szMap + '"',
                  errorOf(offer(std::string("m=audio 6000 RTP/AVP 0\r\na=") + szMap + "\r\n")));
}

TEST(SessionDescription, ABrokenMapOfAPayloadTypeThatIsNotChosenDoesNotMatter)
{
    for (const char* const szMap :
         {"rtpmap:", "rtpmap:x PCMU/8000", "rtpmap:8 PCMA", "rtpmap:96", "rtpmap:97 PCMA/x",
          "rtpmap: 0 PCMU/8000", "rtpmap:4294967296 PCMU/8000"})
        EXPECT_EQ("PCMU",
                  errorOf(offer(std::string("m=audio 6000 RTP/AVP 8 0 96\r\na=rtpmap:8 x/1\r\na=") +
                                szMap + "\r\n")));
    EXPECT_EQ("PCMA", errorOf(offer("m=audio 6000 RTP/AVP 0 8\r\na=rtpmap:0 PCMU\r\n")));
}

TEST(SessionDescription, ABrokenMapOfAStreamThatIsNotUsedDoesNotMatter)
{
    for (const char* const szStream :
         {"m=video 5000 RTP/AVP 31", "m=audio 0 RTP/AVP 31", "m=image 5000 udptl t38"})
    {
        const std::string strStream = std::string(szStream) + "\r\na=rtpmap:31 LPC\r\n";
        EXPECT_EQ("PCMU", errorOf(offer(strStream + "m=audio 6000 RTP/AVP 0\r\n")));
        EXPECT_EQ("PCMU", errorOf(offer("m=audio 6000 RTP/AVP 0\r\n" + strStream)));
    }
    EXPECT_EQ("PCMU", errorOf(offer("m=audio 6000 RTP/AVP 0\r\nm=audio 6002 RTP/AVP 8\r\n"
                                    "a=rtpmap:8 PCMA\r\n")));
}

TEST(SessionDescription, BlankLinesMayFollowTheLastOne)
{
    for (const char* const szEnd : {"", "\r\n", "\r\n\r\n", "\r\n\r\n\r\n", "\n\n", "\n\r\n"})
        EXPECT_EQ("PCMU", errorOf(offer(std::string("m=audio 6000 RTP/AVP 0") + szEnd)));
    EXPECT_EQ("the session description cannot be read : \"\"",
              errorOf(offer("m=audio 6000 RTP/AVP 0\r\n\r\na=sendrecv\r\n")));
}

TEST(SessionDescription, AValueMayHoldAllBytesExceptNulAndLineEnds)
{
    std::string strBytes;
    for (int iByte = 1; iByte < 256; ++iByte)
        if (iByte != '\r' && iByte != '\n')
            strBytes += static_cast<char>(iByte);
    for (const char* const szType : {"s=", "i=", "a=", "x="})
        EXPECT_EQ("PCMU", errorOf(offer(szType + strBytes +
                                        "\r\nm=audio 6000 RTP/AVP 0\r\na=" + strBytes + "\r\n")));
}

TEST(SessionDescription, BytesThatAreNoTextAreRefusedAndDoNotGoToTheLog)
{
    using namespace std::string_literals;
    EXPECT_EQ("the session description cannot be read : \"s=a?[31mb?c\"",
              errorOf(offer("s=a\x1b[31mb\rc\r\n")));
    EXPECT_EQ("the session description cannot be read : \"s=a?\"", errorOf(offer("s=a\0\r\n"s)));
    EXPECT_EQ("the session description cannot be read : \"?=a\"", errorOf(offer("\t=a\r\n")));
    EXPECT_EQ("the session description cannot be read : \"m=audio?6000 RTP/AVP 0\"",
              errorOf(offer("m=audio\t6000 RTP/AVP 0\r\n")));
    EXPECT_EQ("the session description cannot be read : \"c=IN IP4 10.0.0.1?\"",
              errorOf(offer("m=audio 6000 RTP/AVP 0\r\nc=IN IP4 10.0.0.1\x1b\r\n")));
    EXPECT_EQ("the session description cannot be read : \"rtpmap:0 ?\"",
              errorOf(offer("m=audio 6000 RTP/AVP 0\r\na=rtpmap:0 \x1b\r\n")));
}

TEST(SessionDescription, AnOfferWithoutAudioOverRtpIsRefused)
{
    EXPECT_EQ("no audio over RTP is offered", errorOf(offer("m=video 5000 RTP/AVP 31\r\n")));
    EXPECT_EQ("no audio over RTP is offered", errorOf(offer("m=audio 5000 TCP foo\r\n")));
    EXPECT_EQ("no audio over RTP is offered", errorOf(offer("m=audio 65536 RTP/AVP 0\r\n")));
    EXPECT_EQ("no audio over RTP is offered", errorOf(offer("")));
    EXPECT_EQ("no audio over RTP is offered", errorOf("v=0\r\nm=audio 6000 RTP/AVP 0\r\n"));
}

TEST(SessionDescription, TelephoneEventsAloneAreNoSession)
{
    EXPECT_EQ("no encoding of keswardin.rtp.encodingList is offered",
              errorOf(offer("m=audio 6000 RTP/AVP 101\r\na=rtpmap:101 telephone-event/8000\r\n")));
}

} // namespace Velmora::Test

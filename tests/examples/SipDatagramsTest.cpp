// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// A gateway of which some datagrams are not sent, by their numbers: 1 is 180 Ringing, 2 is 200 OK.
class SipDatagrams : public GatewayProcess
{
  protected:
    void startWithout(const std::string& in_strNumbers)
    {
        setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_FAILS_DATAGRAMS);
        setEnvironment("FAILS_SENDS", in_strNumbers);
        configure("keswardin.sip.TimerT1 = 100");
        start({"--answer-after-ms", "1"});
    }

    /// Expects one line of the call that a message was not sent, and none that it was before.
    void expectNotSent(const std::string& in_strMessage) const
    {
        const std::string strStart =
            "keswardin.gateway.Leg - leg=1 call-id=a-call@caller " + in_strMessage;
        EXPECT_THAT(log(), AllOf(Contains("WARN " + strStart +
                                          " is not sent : Operation not permitted; it is repeated "
                                          "as if the network had lost it")
                                     .Times(1),
                                 Not(Contains("INFO " + strStart + " sent")),
                                 Contains(HasSubstr("WARN keswardin.gateway.SipDatagrams - SIP "
                                                    "cannot be sent to " +
                                                    address() + ':'))));
    }
};

} // namespace

TEST_F(SipDatagrams, AnAnswerThatIsNotSentIsRepeatedByItsTransaction)
{
    startWithout(",2,3,");
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service");
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_THAT(run(sources({"--status"})).strOutput,
                HasSubstr("SIP           : 2 datagrams could not be sent\n"));
    EXPECT_EQ(0, stop());
    expectNotSent("200 OK");
    EXPECT_THAT(log(), Contains(HasSubstr("over after")));
}

TEST_F(SipDatagrams, AProvisionalAnswerThatIsNotSentIsSentWhenTheInviteComesAgain)
{
    startWithout(",1,");
    SipCaller caller(address());
    caller.invite("nobody");
    waitForLine("180 Ringing is not sent");
    EXPECT_EQ(0, caller.countAnswers("180 Ringing"));
    caller.repeat();
    caller.expectAnswer("180 Ringing");
    caller.send("CANCEL", "nobody");
    caller.expectAnswer("487 Request Terminated");
    EXPECT_EQ(0, stop());
    expectNotSent("180 Ringing");
}

TEST_F(SipDatagrams, AByeThatIsNotSentIsRepeatedByItsTransaction)
{
    configure("keswardin.media.rxStartTimeoutMs = 100");
    startWithout(",3,");
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service");
    caller.accept(caller.expectRequest("BYE"));
    waitForLine("over after");
    EXPECT_EQ(0, stop());
    expectNotSent("BYE");
}

TEST_F(SipDatagrams, ARefusalThatIsNotSentIsRepeatedByItsTransaction)
{
    startWithout(",1,");
    SipCaller caller(address());
    caller.invite("busy");
    caller.expectAnswer("486 Busy Here");
    caller.send("ACK", "busy");
    EXPECT_EQ(0, stop());
    expectNotSent("486 Busy Here");
}

TEST_F(SipDatagrams, OneThatCannotBeReceivedIsReceivedLater)
{
    setEnvironment("FAILS_RECEIVES", ",1,2,");
    startWithout("");
    SipCaller caller(address());
    caller.send("OPTIONS", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    const std::string strText = "WARN keswardin.gateway.SipDatagrams - receiving SIP has failed : "
                                "Cannot allocate memory; it is tried again. Failed until now : ";
    EXPECT_THAT(log(), AllOf(Contains(strText + '1'), Not(Contains(strText + '2'))));
}

TEST_F(SipDatagrams, AnAnswerOutsideOfACallIsSentWhenItsRequestComesAgain)
{
    startWithout(",1,");
    SipCaller caller(address());
    caller.send("OPTIONS", "service");
    waitForLine("SIP cannot be sent");
    caller.repeat();
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
}

} // namespace Velmora::Test

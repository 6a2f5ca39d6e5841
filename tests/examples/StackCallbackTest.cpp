// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/StackCallback.h"

#include "tests/support/CapturedLog.h"
#include "velmora/logging/Logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <functional>
#include <stdexcept>

namespace Velmora::Test
{

namespace
{

using GatewayExample::FailureLine;
using GatewayExample::StackCallback;
using GatewayExample::StackContext;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.test";

/// An object that the stack calls. All handlers do the same.
class Receiver
{
  public:
    explicit Receiver(std::function<void()> in_work) : m_work(std::move(in_work)) {}

    [[nodiscard]] FailureLine failureLine() const { return {&m_logger, "a callback fails"}; }
    int handleRequest(nta_incoming_t*, const sip_t&)
    {
        m_work();
        return 200;
    }
    void handleMessage(const sip_t*) { m_work(); }
    void handleEvent() { m_work(); }
    void handleLogLine(const char*, va_list) { m_work(); }

  private:
    Logger m_logger{s_szLogger};
    std::function<void()> m_work;
};

/// One that also does something after a failure.
class ReceiverThatEnds : public Receiver
{
  public:
    ReceiverThatEnds(std::function<void()> in_work, std::function<void()> in_onFailure)
        : Receiver(std::move(in_work)), m_onFailure(std::move(in_onFailure))
    {
    }

    void handle() { handleEvent(); }
    void callbackFailed() { m_onFailure(); }

  private:
    std::function<void()> m_onFailure;
};

int request(Receiver& inout_receiver)
{
    const sip_t sip{};
    return StackCallback<&Receiver::handleRequest>::request(StackContext(&inout_receiver), nullptr,
                                                            nullptr, &sip);
}

/// Calls each of the callbacks except the one for requests. Each that has a result must return 0.
void callEachOther(Receiver& inout_receiver)
{
    const StackContext context(&inout_receiver);
    EXPECT_EQ(0, StackCallback<&Receiver::handleMessage>::ackOrCancel(context, nullptr, nullptr));
    EXPECT_EQ(0, StackCallback<&Receiver::handleMessage>::answer(context, nullptr, nullptr));
    StackCallback<&Receiver::handleEvent>::timer(nullptr, nullptr, context);
    EXPECT_EQ(0, StackCallback<&Receiver::handleEvent>::descriptor(nullptr, nullptr, context));
    va_list arguments{};
    StackCallback<&Receiver::handleLogLine>::logLine(context, "", arguments);
}

void fail() { throw std::runtime_error("no more"); }

const LogLine s_line = errorLine(s_szLogger, "a callback fails : no more");

} // namespace

TEST(StackCallback, CallsTheHandlerAndReturnsItsStatus)
{
    const CapturedLog log;
    int iCalls = 0;
    Receiver receiver([&iCalls] { ++iCalls; });
    EXPECT_EQ(200, request(receiver));
    callEachOther(receiver);
    EXPECT_EQ(6, iCalls);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StackCallback, ARequestWhoseHandlerThrowsIsRefusedWith500AndLoggedOnce)
{
    const CapturedLog log;
    Receiver receiver(fail);
    EXPECT_EQ(500, request(receiver));
    EXPECT_THAT(log.lines(), ElementsAre(s_line));
}

TEST(StackCallback, TheStackContinuesAfterEachHandlerThatThrows)
{
    const CapturedLog log;
    Receiver receiver(fail);
    callEachOther(receiver);
    EXPECT_THAT(log.lines(), ElementsAre(s_line, s_line, s_line, s_line, s_line));
}

TEST(StackCallback, WhatIsNoExceptionOfTheLibraryIsCaughtToo)
{
    const CapturedLog log;
    Receiver receiver([] { throw 1; });
    EXPECT_EQ(500, request(receiver));
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(
                                 s_szLogger, "a callback fails : an exception without a text")));
}

TEST(StackCallback, TheReceiverIsNotifiedOfAFailureOnly)
{
    const CapturedLog log;
    int iFailures = 0;
    bool bThrows = false;
    ReceiverThatEnds receiver(
        [&bThrows]
        {
            if (bThrows)
                fail();
        },
        [&iFailures] { ++iFailures; });
    const StackContext context(&receiver);
    StackCallback<&ReceiverThatEnds::handle>::timer(nullptr, nullptr, context);
    EXPECT_EQ(0, iFailures);
    bThrows = true;
    StackCallback<&ReceiverThatEnds::handle>::timer(nullptr, nullptr, context);
    EXPECT_EQ(1, iFailures);
    EXPECT_THAT(log.lines(), ElementsAre(s_line));
}

TEST(StackCallback, ANotificationThatThrowsIsLoggedToo)
{
    const CapturedLog log;
    ReceiverThatEnds receiver(fail, [] { throw std::runtime_error("no end either"); });
    StackCallback<&ReceiverThatEnds::handle>::timer(nullptr, nullptr, StackContext(&receiver));
    EXPECT_THAT(log.lines(),
                ElementsAre(s_line, errorLine(s_szLogger, "a callback fails : no end either")));
}

} // namespace Velmora::Test

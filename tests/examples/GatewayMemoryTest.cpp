// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::AnyOf;
using testing::Contains;
using testing::MatchesRegex;
using testing::StartsWith;

/// A gateway in which a test can make one allocation fail.
class GatewayMemory : public GatewayProcess
{
  protected:
    GatewayMemory()
    {
        setEnvironment("VELMORA_TEST_ALLOCATIONS", countFile());
        setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_FAILS_ALLOCATIONS);
        failAt(0);
    }

    /// Makes the allocation with this number fail, counted from now on; 0 for none.
    void failAt(std::int64_t in_iNumber) const
    {
        std::fstream file(countFile(), std::ios::in | std::ios::out | std::ios::binary);
        if (!file)
            file.open(countFile(), std::ios::out | std::ios::binary);
        file.write(reinterpret_cast<const char*>(&in_iNumber), sizeof in_iNumber);
    }

    /// Returns whether that allocation has been reached.
    [[nodiscard]] bool hasFailed() const
    {
        std::int64_t iLeft = 0;
        std::ifstream(countFile(), std::ios::binary)
            .read(reinterpret_cast<char*>(&iLeft), sizeof iLeft);
        return iLeft <= 0;
    }

    /// Makes one call, from its INVITE to its end, whether it is answered or refused. Returns the
    /// status of its final answer.
    int call(const std::string& in_strId) const
    {
        SipCaller caller(address());
        caller.setCallId(in_strId);
        caller.invite("service");
        const int iStatus = caller.expectFinalAnswer();
        caller.send("ACK", "service");
        if (iStatus != 200)
            return iStatus;
        caller.send("BYE", "service");
        // The gateway may hang up concurrently.
        caller.expectFinalAnswer();
        return iStatus;
    }

    /// Expects that the gateway still answers a call.
    void expectGoesOn(const std::string& in_strId) const { EXPECT_EQ(200, call(in_strId)); }

  private:
    [[nodiscard]] std::string countFile() const { return home().file("allocations"); }
};

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
#define VELMORA_NEEDS_PRELOADING GTEST_SKIP() << "sanitizers have an operator new of their own"
#else
#define VELMORA_NEEDS_PRELOADING static_cast<void>(0)
#endif

} // namespace

TEST_F(GatewayMemory, AnAllocationThatFailsEndsNoOtherCall)
{
    VELMORA_NEEDS_PRELOADING;
    start({"--answer-after-ms", "0"});
    // The first call makes allocations that later calls do not repeat.
    expectGoesOn("first");
    SipCaller other(address());
    other.setCallId("other");
    other.invite("nobody");
    other.expectAnswer("180 Ringing");
    waitForLine("call-id=other 180 Ringing sent");

    int iRefused = 0;
    std::int64_t iNumber = 1;
    for (bool bFailed = true; bFailed && !HasFailure(); ++iNumber)
    {
        SCOPED_TRACE(iNumber);
        failAt(iNumber);
        const int iStatus = call("call-" + std::to_string(iNumber));
        bFailed = hasFailed();
        failAt(0);
        EXPECT_THAT(iStatus, AnyOf(200, 500)) << iNumber;
        iRefused += iStatus == 500 ? 1 : 0;
    }
    EXPECT_LT(20, iNumber);
    EXPECT_LT(10, iRefused);

    // The call that was ringing during all failures still exists.
    other.send("CANCEL", "nobody");
    other.expectAnswer("487 Request Terminated");
    other.send("ACK", "nobody");
    expectGoesOn("last");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains(StartsWith("INFO keswardin.gateway - stopped : calls = ")));
}

TEST_F(GatewayMemory, ARefusedCallIsLogged)
{
    VELMORA_NEEDS_PRELOADING;
    start({"--answer-after-ms", "0"});
    expectGoesOn("first");
    int iStatus = 0;
    for (std::int64_t iNumber = 1; iStatus != 500 && iNumber < 100; ++iNumber)
    {
        failAt(iNumber);
        iStatus = call("call-" + std::to_string(iNumber));
        failAt(0);
    }
    EXPECT_EQ(500, iStatus);
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(),
                Contains(MatchesRegex("ERROR keswardin.gateway.* call-[0-9]+ .*: std::bad_alloc")));
}

} // namespace Velmora::Test

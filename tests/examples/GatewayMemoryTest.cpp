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

/// A gateway of which one allocation fails, when a test says so.
class GatewayMemory : public GatewayProcess
{
  protected:
    GatewayMemory()
    {
        setEnvironment("VELMORA_TEST_ALLOCATIONS", countFile());
        setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_FAILS_ALLOCATIONS);
        failAt(0);
    }

    /// The allocation with this number from now on fails; 0 for none.
    void failAt(std::int64_t in_iNumber) const
    {
        std::fstream file(countFile(), std::ios::in | std::ios::out | std::ios::binary);
        if (!file)
            file.open(countFile(), std::ios::out | std::ios::binary);
        file.write(reinterpret_cast<const char*>(&in_iNumber), sizeof in_iNumber);
    }

    /// Whether it has come to that allocation.
    [[nodiscard]] bool hasFailed() const
    {
        std::int64_t iLeft = 0;
        std::ifstream(countFile(), std::ios::binary)
            .read(reinterpret_cast<char*>(&iLeft), sizeof iLeft);
        return iLeft <= 0;
    }

    /// One call, from its INVITE to the end of it, whichever way it goes. Gives the status of its
    /// answer.
    int call(const std::string& in_strId) const
    {
        SipCaller caller(address());
        caller.setCallId(in_strId);
        caller.invite("somebody");
        const int iStatus = caller.expectFinalAnswer();
        caller.send("ACK", "somebody");
        if (iStatus != 200)
            return iStatus;
        caller.send("BYE", "somebody");
        // The gateway may hang up at the same time.
        caller.expectFinalAnswer();
        return iStatus;
    }

    /// The gateway takes a call as ever.
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
    // What is made at the first call only.
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

    // The call that rings has outlived them all.
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

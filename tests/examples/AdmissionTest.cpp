// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/Admission.h"
#include "examples/gateway/RefusedTransactions.h"

#include "tests/support/CapturedLog.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::Admission;
using GatewayExample::Refusal;
using GatewayExample::RefusedTransactions;
using GatewayExample::ResidentMemory;
using GatewayExample::SocketAddress;
using GatewayExample::SourceRates;
using testing::ElementsAre;

constexpr const char* s_szLogger = "keswardin.gateway.Admission";
const Admission::Time s_now = std::chrono::steady_clock::now();

SocketAddress source(const std::string& in_strHost, std::uint16_t in_uiPort = 5060)
{
    return SocketAddress::parse(in_strHost, in_uiPort).value();
}

/// Returns how many of a number are taken at one time.
int countTaken(SourceRates& inout_rates, const SocketAddress& in_source,
               SourceRates::Clock::time_point in_now, int in_iTries = 100)
{
    int iTaken = 0;
    for (int i = 0; i < in_iTries; ++i)
        iTaken += inout_rates.take(in_source, in_now) ? 1 : 0;
    return iTaken;
}

} // namespace

TEST(RefusedTransactions, AreFoundAsLongAsTheyMayBeRepeated)
{
    RefusedTransactions refused;
    const RefusedTransactions::Clock::time_point begin{};
    EXPECT_FALSE(refused.contains(1, begin));
    refused.add(1, begin);
    refused.add(2, begin + 31s);
    EXPECT_TRUE(refused.contains(1, begin + 31s));
    EXPECT_TRUE(refused.contains(2, begin + 62s));
    EXPECT_FALSE(refused.contains(3, begin + 62s));
    refused.add(3, begin + 63s);
    EXPECT_TRUE(refused.contains(3, begin + 94s));
    EXPECT_FALSE(refused.contains(1, begin + 94s));
    EXPECT_FALSE(refused.contains(3, begin + 200s));
    EXPECT_EQ(0U, refused.size());
}

TEST(RefusedTransactions, OfAFloodAreForgottenByHalves)
{
    RefusedTransactions refused;
    const RefusedTransactions::Clock::time_point begin{};
    for (std::size_t i = 0; i < 2 * RefusedTransactions::s_uiMost; ++i)
        refused.add(i, begin);
    EXPECT_LE(refused.size(), RefusedTransactions::s_uiMost);
    EXPECT_GE(refused.size(), RefusedTransactions::s_uiMost / 2);
    EXPECT_TRUE(refused.contains(2 * RefusedTransactions::s_uiMost - 1, begin));
    EXPECT_FALSE(refused.contains(0, begin));
}

TEST(SourceRates, AllowASourceSoManyAtOnceAndASecond)
{
    SourceRates rates(10);
    EXPECT_EQ(10, countTaken(rates, source("10.0.0.1"), s_now));
    EXPECT_EQ(0, countTaken(rates, source("10.0.0.1"), s_now + 99ms));
    EXPECT_EQ(1, countTaken(rates, source("10.0.0.1"), s_now + 100ms));
    EXPECT_EQ(4, countTaken(rates, source("10.0.0.1"), s_now + 500ms));
    EXPECT_EQ(10, countTaken(rates, source("10.0.0.1"), s_now + 1h));
}

TEST(SourceRates, AreOfAnAddressWhateverThePort)
{
    SourceRates rates(1);
    EXPECT_TRUE(rates.take(source("10.0.0.1", 1), s_now));
    EXPECT_FALSE(rates.take(source("10.0.0.1", 2), s_now));
    EXPECT_FALSE(rates.take(source("::ffff:10.0.0.1", 3), s_now));
    EXPECT_TRUE(rates.take(source("10.0.0.2", 1), s_now));
}

TEST(SourceRates, AreOfANetOfIPv6)
{
    SourceRates rates(1);
    EXPECT_TRUE(rates.take(source("2001:db8::1"), s_now));
    EXPECT_FALSE(rates.take(source("2001:db8::ffff:2"), s_now));
    EXPECT_TRUE(rates.take(source("2001:db8:0:1::1"), s_now));
}

TEST(SourceRates, OfZeroAreNoLimit)
{
    SourceRates rates(0);
    EXPECT_EQ(100, countTaken(rates, source("10.0.0.1"), s_now));
    EXPECT_EQ(0U, rates.size());
}

TEST(SourceRates, ForgetSourcesThatAreIdle)
{
    SourceRates rates(10);
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(rates.take(source("10.0.1." + std::to_string(i)), s_now));
    EXPECT_EQ(200U, rates.size());
    EXPECT_TRUE(rates.take(source("10.0.0.1"), s_now + 1s));
    EXPECT_EQ(1U, rates.size());
}

TEST(SourceRates, KnowALimitedNumberOfSources)
{
    SourceRates rates(1);
    for (std::size_t ui = 0; ui <= SourceRates::s_uiMostSources; ++ui)
        EXPECT_TRUE(
            rates.take(source("10." + std::to_string(ui >> 16) + '.' +
                              std::to_string(ui >> 8 & 255U) + '.' + std::to_string(ui & 255U)),
                       s_now));
    EXPECT_EQ(1U, rates.size());
}

TEST(ResidentMemory, IsWhatTheProcessHas)
{
    constexpr std::size_t uiMore = std::size_t{64} << 20;
    const ResidentMemory memory;
    const std::size_t uiBefore = memory.bytes();
    EXPECT_LT(std::size_t{1} << 20, uiBefore);
    const std::unique_ptr<char[]> pMore(new char[uiMore]);
    std::memset(pMore.get(), 1, uiMore);
    EXPECT_LE(uiBefore + uiMore / 2, memory.bytes());
    EXPECT_TRUE(memory.exceeds((uiBefore + uiMore / 2) >> 20));
    EXPECT_FALSE(memory.exceeds((memory.bytes() >> 20) + 64));
}

TEST(ResidentMemory, IsNotExceededByWhatWasFreed)
{
    if (VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER)
        GTEST_SKIP() << "a sanitizer keeps freed memory";
    const ResidentMemory memory;
    std::vector<std::unique_ptr<char[]>> blocks;
    constexpr std::size_t uiBlock = 10000;
    for (int i = 0; i < 10000; ++i)
        std::memset(blocks.emplace_back(new char[uiBlock]).get(), 1, uiBlock);
    // Keeps the end of the heap in use.
    const std::unique_ptr<char[]> pLast(new char[uiBlock]);
    const std::size_t uiLimitMB = (memory.bytes() >> 20) - 50;
    EXPECT_TRUE(memory.exceeds(uiLimitMB));
    blocks.clear();
    EXPECT_FALSE(memory.exceeds(uiLimitMB));
}

TEST(Admission, WithoutLimitsRefusesNoCall)
{
    Admission admission({});
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.1"), 1000000, s_now));
}

TEST(Admission, RefusesCallsAboveTheLargestNumberAtOnce)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    Admission admission({.uiCalls = 2});
    EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.1"), 1, s_now));
    EXPECT_EQ(Refusal::CALLS, admission.refuses(source("10.0.0.1"), 2, s_now));
    EXPECT_EQ(Refusal::CALLS, admission.refuses(source("10.0.0.1"), 3, s_now + 10s - 1ns));
    EXPECT_EQ(Refusal::CALLS, admission.refuses(source("10.0.0.1"), 3, s_now + 10s));
    EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.1"), 1, s_now + 10s));
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "calls are refused : the limit gateway.calls.most "
                                                 "= 2 is reached. Refused until now : 1"),
                            warnLine(s_szLogger, "calls are refused : the limit gateway.calls.most "
                                                 "= 2 is reached. Refused until now : 3")));
}

TEST(Admission, RefusesASourceThatMakesTooManyCalls)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    Admission admission({.uiNewFromOneSourcePerSec = 1});
    EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.1"), 0, s_now));
    EXPECT_EQ(Refusal::SOURCE_RATE, admission.refuses(source("10.0.0.1"), 0, s_now));
    EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.2"), 0, s_now));
    EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.1"), 0, s_now + 1s));
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "calls from 10.0.0.1 are refused : the limit "
                                                 "gateway.calls.newFromOneSourcePerSec = 1 is "
                                                 "reached. Refused until now : 1")));
}

TEST(Admission, RefusesCallsWhileTooMuchMemoryIsUsed)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    Admission admission({.uiMemoryMB = 1});
    EXPECT_EQ(Refusal::MEMORY, admission.refuses(source("10.0.0.1"), 0, s_now));
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "calls are refused : the limit "
                                                 "gateway.memory.limitMB = 1 is reached. Refused "
                                                 "until now : 1")));
    Admission other({.uiMemoryMB = 1000000});
    EXPECT_EQ(std::nullopt, other.refuses(source("10.0.0.1"), 0, s_now));
}

TEST(Admission, CountsNoCallOfASourceThatIsRefusedForAnotherReason)
{
    Admission admission({.uiCalls = 1, .uiNewFromOneSourcePerSec = 1});
    EXPECT_EQ(Refusal::CALLS, admission.refuses(source("10.0.0.1"), 1, s_now));
    EXPECT_EQ(std::nullopt, admission.refuses(source("10.0.0.1"), 0, s_now));
}

} // namespace Velmora::Test

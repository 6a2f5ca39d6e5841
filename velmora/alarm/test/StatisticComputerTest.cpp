// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/StatisticComputer.h"

#include "tests/support/CapturedAssertions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

namespace Velmora::Test
{

namespace
{

constexpr double s_dGreatest = std::numeric_limits<double>::max();

template <class Computer>
void addAll(Computer& out_computer, std::initializer_list<double> in_values)
{
    for (const double dValue : in_values)
        out_computer.addData(dValue);
}

} // namespace

TEST(MinMaxComputer, HasNeitherBeforeItHasData)
{
    const MinMaxComputer computer;
    EXPECT_FALSE(computer.getMin().isValid());
    EXPECT_FALSE(computer.getMax().isValid());
}

TEST(MinMaxComputer, HasTheLeastAndTheGreatest)
{
    MinMaxComputer computer;
    addAll(computer, {3, -1, 2});
    EXPECT_EQ(-1, computer.getMin().get());
    EXPECT_EQ(3, computer.getMax().get());
}

TEST(MinMaxComputer, HasBothFromOneNumber)
{
    MinMaxComputer computer;
    computer.addData(0);
    EXPECT_EQ(0, computer.getMin().get());
    EXPECT_EQ(0, computer.getMax().get());
}

TEST(MinMaxComputer, HasNeitherAfterAReset)
{
    MinMaxComputer computer;
    addAll(computer, {3, -1});
    computer.reset();
    EXPECT_FALSE(computer.getMin().isValid());
    EXPECT_FALSE(computer.getMax().isValid());
    computer.addData(2);
    EXPECT_EQ(2, computer.getMin().get());
    EXPECT_EQ(2, computer.getMax().get());
}

TEST(MinMaxComputer, IgnoresANaN)
{
    MinMaxComputer computer;
    computer.addData(std::nan(""));
    EXPECT_FALSE(computer.getMin().isValid());
    EXPECT_FALSE(computer.getMax().isValid());
    addAll(computer, {1, std::nan("")});
    EXPECT_EQ(1, computer.getMin().get());
    EXPECT_EQ(1, computer.getMax().get());
}

TEST(MinMaxComputer, DoesNotHaveTheExtremeValueThatItStartsWith)
{
    MinMaxComputer computer;
    computer.addData(s_dGreatest);
    EXPECT_FALSE(computer.getMin().isValid());
    EXPECT_EQ(s_dGreatest, computer.getMax().get());
    computer.reset();
    computer.addData(-s_dGreatest);
    EXPECT_EQ(-s_dGreatest, computer.getMin().get());
    EXPECT_FALSE(computer.getMax().isValid());
}

TEST(SlidingWindowAvgComputer, HasNoAverageOfAnEmptyWindow)
{
    SlidingWindowAvgComputer computer(3);
    EXPECT_FALSE(computer.getAvg().isValid());
    computer.addData(1);
    computer.reset();
    EXPECT_FALSE(computer.getAvg().isValid());
}

TEST(SlidingWindowAvgComputer, HasTheAverageOfAWindowThatIsNotFull)
{
    SlidingWindowAvgComputer computer(3);
    computer.addData(1);
    EXPECT_EQ(1, computer.getAvg().get());
    computer.addData(2);
    EXPECT_EQ(1.5, computer.getAvg().get());
}

TEST(SlidingWindowAvgComputer, HasTheAverageOfTheLastNumbers)
{
    SlidingWindowAvgComputer computer(3);
    addAll(computer, {1, 2, 3, 4});
    EXPECT_EQ(3, computer.getAvg().get());
    EXPECT_EQ(3, computer.getAvg().get());
}

TEST(SlidingWindowAvgComputer, HasNoTraceOfWhatLeftTheWindow)
{
    SlidingWindowAvgComputer computer(2);
    addAll(computer, {1e300, 1, 1e-3});
    // A running sum would have lost the small numbers beside the large one.
    EXPECT_EQ((1 + 1e-3) / 2, computer.getAvg().get());
    addAll(computer, {std::nan(""), 4, 6});
    EXPECT_EQ(5, computer.getAvg().get());
}

TEST(SlidingWindowAvgComputer, AddsUpFromTheOldestToTheNewest)
{
    SlidingWindowAvgComputer computer(3);
    addAll(computer, {7, 1e16, 1, 1});
    EXPECT_EQ((1e16 + 1 + 1) / 3, computer.getAvg().get());
    EXPECT_NE((1 + 1 + 1e16) / 3, computer.getAvg().get());
}

TEST(SlidingWindowAvgComputer, AssertsThatItsWindowIsNotTooFull)
{
    const CapturedLog log;
    SlidingWindowAvgComputer computer(0);
    computer.addData(1);
    EXPECT_TRUE(failedAssertions(log).empty());
    computer.addData(2);
    EXPECT_EQ(std::vector{failedAssertion("uiDequeSize <= m_uiWindowSize", "StatisticComputer",
                                          "keswardin.infra.StatisticComputer")},
              failedAssertions(log));
    EXPECT_EQ(2, computer.getAvg().get());
}

TEST(MinMaxAvgComputer, FeedsBothOfItsBases)
{
    MinMaxAvgComputer computer(2);
    addAll(computer, {5, 1, 3});
    EXPECT_EQ(1, computer.getMin().get());
    EXPECT_EQ(5, computer.getMax().get());
    EXPECT_EQ(2, computer.getAvg().get());
}

TEST(MinMaxAvgComputer, ForgetsAllAtAReset)
{
    MinMaxAvgComputer computer(2);
    addAll(computer, {5, 1});
    computer.reset();
    EXPECT_FALSE(computer.getMin().isValid());
    EXPECT_FALSE(computer.getMax().isValid());
    EXPECT_FALSE(computer.getAvg().isValid());
}

TEST(StatisticComputers, HaveNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic_v<MinMaxAvgComputer>);
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/MaxCountClass.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class Pair : public MaxCountClass<Pair, 2>
{
};

const char* const s_szLogger = "keswardin.infra.MaxCountClass";

} // namespace

TEST(MaxCountClass, UpToTheMaximumNothingIsSaid)
{
    const CapturedLog log;
    const Pair first;
    const Pair second;
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(MaxCountClass, AThirdOfTwoIsReportedAndTheConstructorGoesOn)
{
    const CapturedLog log;
    const Pair first;
    const Pair second;
    {
        const Pair third;
        EXPECT_EQ(3U, Pair::getCount());
    }
    EXPECT_EQ(2U, Pair::getCount());
    ASSERT_EQ(2U, log.lines().size());
    EXPECT_EQ(errorLine(s_szLogger, "Maximum count of 2 exceeded : 3"), log.lines()[0]);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_uiCurrentCount <= in_uiMaxCount", "MaxCountClass",
                                            s_szLogger)));
}

TEST(MaxCountClass, ACopyAboveTheMaximumIsReported)
{
    const Pair first;
    const Pair second(first); // NOLINT(performance-unnecessary-copy-initialization)
    const CapturedLog log;
    const Pair third(first); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(2U, log.lines().size());
}

TEST(MaxCountClass, ACountThatDoesNotExceedIsNoAssertion)
{
    const CapturedLog log;
    MaxCountClassNoT::maxCountExceeded(2, 2);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "Maximum count of 2 exceeded : 2")));
}

} // namespace Velmora::Test

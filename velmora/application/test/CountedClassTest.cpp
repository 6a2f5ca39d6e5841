// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/CountedClass.h"

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

class Board : public CountedClass<Board>
{
};

class Channel : public CountedClass<Channel>
{
  public:
    static void forgetAll() { s_uiCount = 0; }
};

} // namespace

TEST(CountedClass, CountsTheLivingObjectsOfEachClass)
{
    EXPECT_EQ(0U, Board::getCount());
    {
        const Board first;
        const Board second;
        const Channel channel;
        EXPECT_EQ(2U, Board::getCount());
        EXPECT_EQ(1U, Channel::getCount());
    }
    EXPECT_EQ(0U, Board::getCount());
}

TEST(CountedClass, CopiesCountToo)
{
    Board first;
    const Board copy(first);
    EXPECT_EQ(2U, Board::getCount());
    first = copy;
    EXPECT_EQ(2U, Board::getCount());
}

TEST(CountedClass, AnObjectThatGoesUncountedIsAnAssertionAndTheCountStays)
{
    const CapturedLog log;
    {
        const Channel channel;
        Channel::forgetAll();
    }
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_uiCount > 0", "CountedClass",
                                            "keswardin.infra.CountedClass")));
    EXPECT_EQ(0U, Channel::getCount());
}

TEST(CountedClass, ACountAboveZeroIsNoAssertion)
{
    const CapturedLog log;
    CountedClassNoT::assertCountLargerThanZero(1, "File.cpp", 7);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CountedClass, TheAssertionShowsTheGivenPlace)
{
    const CapturedLog log;
    CountedClassNoT::assertCountLargerThanZero(0, "File.cpp", 7);
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("keswardin.infra.CountedClass",
                                      "Assertion failed (in_uiCount > 0) file=File.cpp line=7")));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Fallible.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Velmora::Fallible;
using Velmora::FallibleBase;
using Velmora::Test::CapturedLog;
using Velmora::Test::errorLine;
using Velmora::Test::failedAssertion;
using Velmora::Test::failedAssertions;

const auto s_invalidState = failedAssertion("Fallible object used in invalid state", "Fallible",
                                            "keswardin.infra.Fallible");

TEST(Fallible, FreshOneHoldsNothing) { EXPECT_FALSE(Fallible<int>().isValid()); }

TEST(Fallible, ReadingAFreshOneIsReported)
{
    const CapturedLog log;
    const Fallible<int> fallible;

    static_cast<void>(fallible.get());

    EXPECT_THAT(failedAssertions(log), ElementsAre(s_invalidState));
}

TEST(Fallible, ReadingAFreshOneByConversionIsReported)
{
    const CapturedLog log;
    const Fallible<int> fallible;

    const int& iValue = fallible;

    EXPECT_EQ(iValue, 0);
    EXPECT_THAT(failedAssertions(log), ElementsAre(s_invalidState));
}

TEST(Fallible, EachReadOfAFreshOneIsReported)
{
    const CapturedLog log;
    const Fallible<int> fallible;

    static_cast<void>(fallible.get());
    static_cast<void>(fallible.get());

    EXPECT_THAT(failedAssertions(log), ElementsAre(s_invalidState, s_invalidState));
}

TEST(Fallible, ReportHasThePlaceOfTheReadInItsHeader)
{
    const CapturedLog log;

    static_cast<void>(Fallible<int>().get());

    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].strFile, "velmora/application/Fallible.h");
    EXPECT_GT(log.lines()[0].iLine, 0);
}

TEST(Fallible, ReadingAFreshOneGivesWhatTheFieldHolds)
{
    const CapturedLog log;

    EXPECT_EQ(Fallible<int>().get(), 0);
    EXPECT_EQ(Fallible<std::string>().get(), "");
}

TEST(Fallible, HoldsTheValueThatItIsMadeWith)
{
    const CapturedLog log;
    const Fallible<std::string> fallible(std::string("trunk 7"));

    EXPECT_TRUE(fallible.isValid());
    EXPECT_EQ(fallible.get(), "trunk 7");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Fallible, HoldsACopyOfTheValueThatItIsMadeWith)
{
    std::string strValue = "trunk 7";
    const Fallible<std::string> fallible(strValue);

    strValue = "trunk 8";

    EXPECT_EQ(fallible.get(), "trunk 7");
}

TEST(Fallible, HoldsAnAssignedValue)
{
    const CapturedLog log;
    const std::string strValue = "trunk 7";
    Fallible<std::string> fallible;

    fallible = strValue;

    EXPECT_TRUE(fallible.isValid());
    EXPECT_EQ(fallible.get(), "trunk 7");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Fallible, HoldsTheValueThatWasAssignedLast)
{
    Fallible<int> fallible(1);

    fallible = 2;

    EXPECT_EQ(fallible.get(), 2);
}

TEST(Fallible, AssignmentGivesTheObject)
{
    Fallible<int> fallible;
    const int iValue = 2;

    EXPECT_EQ(&(fallible = 1), &fallible);
    EXPECT_EQ(&(fallible = iValue), &fallible);
}

TEST(Fallible, HoldsAValueThatIsEqualToAFreshOne)
{
    const CapturedLog log;
    Fallible<int> fallible;

    fallible = 0;

    EXPECT_TRUE(fallible.isValid());
    EXPECT_EQ(fallible.get(), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Fallible, IsReadByConversion)
{
    const Fallible<int> fallible(7);

    const int iValue = fallible;

    EXPECT_EQ(iValue, 7);
}

TEST(Fallible, CopyHoldsTheSameValue)
{
    const Fallible<std::string> fallible(std::string("trunk 7"));

    const Fallible<std::string> copy(fallible);

    EXPECT_TRUE(copy.isValid());
    EXPECT_EQ(copy.get(), "trunk 7");
}

TEST(Fallible, CopyOfAFreshOneHoldsNothing)
{
    Fallible<int> fallible(7);

    fallible = Fallible<int>();

    EXPECT_FALSE(fallible.isValid());
}

TEST(Fallible, HoldsAValueThatCannotBeCopied)
{
    Fallible<std::unique_ptr<int>> fallible;

    fallible = std::make_unique<int>(7);

    EXPECT_EQ(*fallible.get(), 7);
}

TEST(FallibleBase, FailsAnAssertionAtTheGivenPlace)
{
    const CapturedLog log;

    FallibleBase::assertUsedInInvalidStateErr("Trunk.cpp", 12);

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("keswardin.infra.Fallible",
                                      "Assertion failed (Fallible object used in invalid state) "
                                      "file=Trunk.cpp line=12")));
    EXPECT_EQ(log.lines()[0].strFile, "Trunk.cpp");
    EXPECT_EQ(log.lines()[0].iLine, 12);
}

TEST(FallibleBase, LeavesOutANullFile)
{
    const CapturedLog log;

    FallibleBase::assertUsedInInvalidStateErr(nullptr, 0);

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("keswardin.infra.Fallible",
                                      "Assertion failed (Fallible object used in invalid state) "
                                      "line=0")));
}

} // namespace

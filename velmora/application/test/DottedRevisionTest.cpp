// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/DottedRevision.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace Velmora::Test
{

/// Makes a revision read from any stream.
class DottedRevisionPeer
{
  public:
    static bool readComponents(DottedRevision& out_revision, std::istream& in_stream)
    {
        return out_revision.readComponents(in_stream);
    }
};

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

DottedRevision revision(const char* in_szText)
{
    DottedRevision result;
    EXPECT_TRUE(result.initFrom(in_szText)) << in_szText;
    return result;
}

/// Fails at the end of its text.
class BrokenBuffer : public std::stringbuf
{
  public:
    using std::stringbuf::stringbuf;

  protected:
    int_type underflow() override { throw std::runtime_error("broken"); }
};

class GoodRevision : public testing::TestWithParam<std::pair<const char*, const char*>>
{
};

class BadRevision : public testing::TestWithParam<const char*>
{
};

} // namespace

TEST(DottedRevision, HasNoComponentsAtFirst)
{
    EXPECT_THAT(DottedRevision().getComponents(), IsEmpty());
}

TEST(DottedRevision, HasTheComponentsFromLeftToRight)
{
    EXPECT_THAT(revision("1.20.3").getComponents(), ElementsAre(1, 20, 3));
}

TEST(DottedRevision, ReadsBlanksAroundADotAsTwoComponents)
{
    EXPECT_THAT(revision("1 . 2").getComponents(), ElementsAre(1, 2));
}

TEST_P(GoodRevision, IsRead)
{
    DottedRevision result;

    EXPECT_TRUE(result.initFrom(GetParam().first));

    EXPECT_EQ(written(result), GetParam().second);
}

// The last ones are texts that streams accept as unsigned numbers. That behaviour is kept.
INSTANTIATE_TEST_SUITE_P(
    Texts, GoodRevision,
    testing::Values(std::pair("1", "1"), std::pair("1.2.3", "1.2.3"), std::pair("0", "0"),
                    std::pair("0.0", "0.0"), std::pair("007.08", "7.8"), std::pair("  1", "1"),
                    std::pair("1 ", "1"), std::pair("1.2 \t\n", "1.2"), std::pair("1. 2", "1.2"),
                    std::pair("1 .2", "1.2"), std::pair("\n1\n.\n2\n", "1.2"),
                    std::pair("1.2.3.4.5.6.7.8.9.10.11.12", "1.2.3.4.5.6.7.8.9.10.11.12"),
                    std::pair("18446744073709551615.1", "18446744073709551615.1"),
                    std::pair("+1.+2", "1.2"), std::pair("-1", "18446744073709551615"),
                    std::pair("1.-2", "1.18446744073709551614")));

TEST_P(BadRevision, IsRefusedAndLeavesNoComponents)
{
    DottedRevision result = revision("9.8");

    EXPECT_FALSE(result.initFrom(GetParam()));

    EXPECT_THAT(result.getComponents(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Texts, BadRevision,
                         testing::Values("", " ", "x", ".", ".1", "1.", "1.2.", "1. ", "1..2",
                                         "1.x", "1-2", "1x", "1 2", "1.2 3", "1.2.3x", "1,2", "v1",
                                         "1.2-3", "18446744073709551616",
                                         "1.18446744073709551616"));

TEST(DottedRevision, TakesWhatItHasFromAStreamThatBreaksWithAFailedAssertion)
{
    BrokenBuffer buffer("1.2 ");
    std::istream stream(&buffer);
    DottedRevision result;
    const CapturedLog log;

    EXPECT_TRUE(DottedRevisionPeer::readComponents(result, stream));

    EXPECT_THAT(result.getComponents(), ElementsAre(1, 2));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("iss.eof()", "DottedRevision",
                                            "keswardin.infra.DottedRevision")));
}

TEST(DottedRevision, FailsNoAssertionAtTheEndOfItsText)
{
    const CapturedLog log;

    revision("1 ");
    revision("1.2");

    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DottedRevision, ForgetsItsComponentsWhenItIsReadAgain)
{
    DottedRevision result = revision("1.2.3");

    EXPECT_TRUE(result.initFrom("4.5"));

    EXPECT_THAT(result.getComponents(), ElementsAre(4, 5));
}

TEST(DottedRevision, IsReadTheSameInALocaleWithDotsBetweenThousands)
{
    const GlobalLocale locale;

    EXPECT_THAT(revision("1.2.3").getComponents(), ElementsAre(1, 2, 3));
    EXPECT_THAT(revision("1.200").getComponents(), ElementsAre(1, 200));
}

TEST(DottedRevision, IsWrittenWithSingleDots)
{
    EXPECT_EQ(written(revision("1 . 20 . 3")), "1.20.3");
}

TEST(DottedRevision, IsWrittenAsNothingWhenItIsEmpty) { EXPECT_EQ(written(DottedRevision()), ""); }

TEST(DottedRevision, IsWrittenInDecimalWhateverTheStreamIsSetTo)
{
    std::ostringstream stream;
    stream.imbue(groupingLocale());
    stream << std::hex << std::showbase << std::showpos;

    revision("1000.255").write(stream);

    EXPECT_EQ(stream.str(), "1000.255");
}

TEST(DottedRevision, GivesTheStreamThatItWasWrittenTo)
{
    std::ostringstream stream;

    EXPECT_EQ(&revision("1").write(stream), &stream);
    EXPECT_EQ(&DottedRevision().write(stream), &stream);
}

TEST(DottedRevision, ComesBeforeALargerOne)
{
    EXPECT_TRUE(revision("1.9") < revision("1.10"));
    EXPECT_FALSE(revision("1.10") < revision("1.9"));
    EXPECT_TRUE(revision("1.99") < revision("2"));
    EXPECT_FALSE(revision("2") < revision("1.99"));
}

TEST(DottedRevision, ComesBeforeALongerOneThatBeginsWithIt)
{
    EXPECT_TRUE(revision("1.2") < revision("1.2.0"));
    EXPECT_FALSE(revision("1.2.0") < revision("1.2"));
    EXPECT_TRUE(DottedRevision() < revision("0"));
    EXPECT_FALSE(revision("0") < DottedRevision());
}

TEST(DottedRevision, DoesNotComeBeforeAnEqualOne)
{
    EXPECT_FALSE(revision("1.2") < revision("1.2"));
    EXPECT_FALSE(DottedRevision() < DottedRevision());
}

TEST(DottedRevision, IsAValue)
{
    const DottedRevision source = revision("1.2");
    DottedRevision copy(source);
    DottedRevision assigned;

    assigned = copy;
    EXPECT_TRUE(copy.initFrom("3"));

    EXPECT_EQ(written(source), "1.2");
    EXPECT_EQ(written(assigned), "1.2");
    EXPECT_EQ(written(copy), "3");
}

} // namespace Velmora::Test

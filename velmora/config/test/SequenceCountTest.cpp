// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/SequenceCount.h"

#include <gtest/gtest.h>

namespace Velmora::Test
{

TEST(SequenceCount, ReadsWhatNobodyChanges)
{
    SequenceCount count;
    int iReads = 0;
    EXPECT_TRUE(count.read([&] { ++iReads; }));
    count.beginChange();
    count.endChange();
    EXPECT_TRUE(count.read([&] { ++iReads; }));
    EXPECT_EQ(2, iReads);
}

TEST(SequenceCount, ReadsNothingDuringAChange)
{
    SequenceCount count;
    count.beginChange();
    int iReads = 0;
    EXPECT_FALSE(count.read([&] { ++iReads; }));
    EXPECT_EQ(0, iReads);
}

TEST(SequenceCount, AReadingFailsIfAChangeBeginsInIt)
{
    SequenceCount count;
    EXPECT_FALSE(count.read([&] { count.beginChange(); }));
}

TEST(SequenceCount, AReadingFailsIfAWholeChangeIsMadeInIt)
{
    SequenceCount count;
    EXPECT_FALSE(count.read(
        [&]
        {
            count.beginChange();
            count.endChange();
        }));
}

TEST(SequenceCount, AChangeThatWasNeverEndedEndsWithTheNextOne)
{
    SequenceCount count;
    count.beginChange();
    count.beginChange();
    count.endChange();
    EXPECT_TRUE(count.read([] {}));
}

} // namespace Velmora::Test

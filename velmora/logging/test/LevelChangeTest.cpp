// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LevelChange.h"

#include "tests/support/ForkedChild.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <optional>
#include <thread>

namespace Velmora::Test
{

TEST(LevelChange, AWalkThatMeetsNoneIsNotRepeated)
{
    int iWalks = 0;
    EXPECT_EQ(7, LevelChange::notMeetingOne(
                     [&]
                     {
                         ++iWalks;
                         return 7;
                     }));
    EXPECT_EQ(1, iWalks);
}

TEST(LevelChange, AWalkThatMeetsOneIsRepeated)
{
    int iWalks = 0;
    EXPECT_EQ(2, LevelChange::notMeetingOne(
                     [&]
                     {
                         if (++iWalks == 1)
                             std::thread([] { const LevelChange change; }).join();
                         return iWalks;
                     }));
}

TEST(LevelChange, AWalkIsRepeatedUntilALongChangeEnds)
{
    std::optional<LevelChange> change(std::in_place);
    std::atomic<int> iWalks{0};
    std::atomic<int> iLevel{1};
    std::atomic<int> iFound{0};
    std::thread walker(
        [&]
        {
            iFound = LevelChange::notMeetingOne(
                [&]
                {
                    ++iWalks;
                    return iLevel.load();
                });
        });
    // Longer than a walk that only yields.
    EXPECT_TRUE(waitUntil([&] { return iWalks > 1010; }));
    EXPECT_EQ(0, iFound);
    iLevel = 2;
    change.reset();
    walker.join();
    EXPECT_EQ(2, iFound);
}

TEST(LevelChange, TheThreadThatMakesItDoesNotWaitForItself)
{
    const LevelChange change;
    EXPECT_EQ(7, LevelChange::notMeetingOne([] { return 7; }));
}

TEST(LevelChange, AChildOfAForkDoesNotWaitForAThreadThatItDoesNotHave)
{
    std::latch begun(1);
    std::latch forked(1);
    std::thread changer(
        [&]
        {
            const LevelChange change;
            begun.count_down();
            forked.wait();
        });
    begun.wait();
    EXPECT_EQ(7, exitCodeOfChild(
                     []
                     {
                         LevelChange::startAnewInChild();
                         return LevelChange::notMeetingOne([] { return 7; });
                     }));
    forked.count_down();
    changer.join();
}

TEST(LevelChange, AChildOfAForkWithoutOneKeepsTheNumber)
{
    LevelChange::startAnewInChild();
    EXPECT_EQ(7, LevelChange::notMeetingOne([] { return 7; }));
}

} // namespace Velmora::Test

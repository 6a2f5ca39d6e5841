// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/LevinsteinDistanceScan.h"

#include "velmora/memory/test/MallocWatch.h"
#include "velmora/system/LevinsteinDistance.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <string_view>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

unsigned long distance(std::string_view in_str, std::string_view in_strRef)
{
    return LevinsteinDistanceScan(in_str).distance(in_strRef);
}

std::string randomString(std::minstd_rand& out_random, unsigned int in_uiAlphabet,
                         unsigned int in_uiLength)
{
    std::string str(in_uiLength, ' ');
    // No character is the terminator, which `LevinsteinDistanceComputer` cannot process.
    for (char& character : str)
        character = static_cast<char>(255 - out_random() % in_uiAlphabet);
    return str;
}

/// Returns a string that is a few operations away.
std::string edited(std::minstd_rand& out_random, std::string in_str, unsigned int in_uiAlphabet)
{
    for (unsigned int i = out_random() % 8; i > 0; --i)
    {
        const auto uiPosition = out_random() % (in_str.size() + 1);
        const std::string strNew = randomString(out_random, in_uiAlphabet, out_random() % 3);
        in_str.replace(uiPosition, out_random() % 3, strNew);
    }
    return in_str;
}

void expectTheDistancesOfTheComputer(unsigned int in_uiAlphabet, unsigned int in_uiSeed)
{
    std::minstd_rand random(in_uiSeed);
    LevinsteinDistanceComputer computer;
    LevinsteinDistanceScan scan;
    std::string strOperations;
    for (int iRound = 0; iRound < 150; ++iRound)
    {
        const std::string str = randomString(random, in_uiAlphabet, random() % 201);
        scan.prepare(str);
        for (int i = 0; i < 4; ++i)
        {
            const std::string strRef = i % 2 == 0
                                           ? edited(random, str, in_uiAlphabet)
                                           : randomString(random, in_uiAlphabet, random() % 201);
            ASSERT_EQ(computer(str.c_str(), strRef.c_str(), strOperations,
                               std::numeric_limits<unsigned long>::max())
                          .get(),
                      scan.distance(strRef))
                << str << '\n'
                << strRef;
        }
    }
}

} // namespace

TEST(LevinsteinDistanceScan, KittenIsThreeAwayFromSitting)
{
    EXPECT_EQ(3U, distance("kitten", "sitting"));
    EXPECT_EQ(3U, distance("sitting", "kitten"));
}

TEST(LevinsteinDistanceScan, TwoEmptyStringsAreAlike) { EXPECT_EQ(0U, distance("", "")); }

TEST(LevinsteinDistanceScan, AnEmptyStringIsItsLengthAwayFromAnother)
{
    EXPECT_EQ(3U, distance("", "abc"));
    EXPECT_EQ(3U, distance("abc", ""));
    EXPECT_EQ(100U, distance(std::string(100, 'a'), ""));
}

TEST(LevinsteinDistanceScan, IsPreparedForTheEmptyStringAtFirst)
{
    LevinsteinDistanceScan scan;
    EXPECT_EQ(2U, scan.distance("ab"));
}

TEST(LevinsteinDistanceScan, AStringIsNoneAwayFromItselfWhateverItsLength)
{
    for (const unsigned int uiLength : {1U, 63U, 64U, 65U, 127U, 128U, 129U, 200U})
    {
        std::minstd_rand random(uiLength);
        const std::string str = randomString(random, 26, uiLength);
        EXPECT_EQ(0U, distance(str, str)) << uiLength;
        EXPECT_EQ(1U, distance(str, str + 'x')) << uiLength;
        EXPECT_EQ(1U, distance(str, 'x' + str)) << uiLength;
        EXPECT_EQ(1U, distance(str, str.substr(1))) << uiLength;
    }
}

TEST(LevinsteinDistanceScan, ForgetsTheStringBefore)
{
    LevinsteinDistanceScan scan("abc");
    scan.prepare("xyz");
    EXPECT_EQ(3U, scan.distance("abc"));
    scan.prepare(std::string(100, 'a'));
    EXPECT_EQ(100U, scan.distance(std::string(100, 'b')));
    scan.prepare(std::string(70, 'b'));
    EXPECT_EQ(70U, scan.distance(std::string(70, 'a')));
    scan.prepare("b");
    EXPECT_EQ(1U, scan.distance("a"));
}

TEST(LevinsteinDistanceScan, GivesTheDistancesOfTheComputerForOneLetter)
{
    expectTheDistancesOfTheComputer(1, 1);
}

TEST(LevinsteinDistanceScan, GivesTheDistancesOfTheComputerForTwoLetters)
{
    expectTheDistancesOfTheComputer(2, 2);
}

TEST(LevinsteinDistanceScan, GivesTheDistancesOfTheComputerForFourLetters)
{
    expectTheDistancesOfTheComputer(4, 3);
}

TEST(LevinsteinDistanceScan, GivesTheDistancesOfTheComputerForAnyBytes)
{
    expectTheDistancesOfTheComputer(255, 4);
}

TEST(LevinsteinDistanceScan, AllocatesNothingForAStringOfOneBlock)
{
    const std::string str(64, 'a');
    const MallocWatch watch;
    LevinsteinDistanceScan scan(str);
    const unsigned long uiDistance = scan.distance("keswardin");
    EXPECT_EQ(0U, watch.countMallocs());
    EXPECT_EQ(63U, uiDistance);
}

TEST(LevinsteinDistanceScan, AllocatesNothingForALongStringNoLongerThanOneBefore)
{
    const std::string strLongest(200, 'a');
    const std::string strOther(190, 'b');
    LevinsteinDistanceScan scan(strLongest);
    const MallocWatch watch;
    scan.prepare(strOther);
    const unsigned long uiDistance = scan.distance(strLongest);
    EXPECT_EQ(0U, watch.countMallocs());
    EXPECT_EQ(200U, uiDistance);
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/UUID.h"

#include "tests/support/ForkedChild.h"
#include "tests/support/Lines.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextOf.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/time.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <latch>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{

/// The time that this program sees; the real time if `bReal`.
struct Clock
{
    bool bReal = true;
    int iResult = 0;
    timeval now{};
};
Clock s_clock;

} // namespace

// Replaces the system's function for the whole process.
extern "C" [[gnu::visibility("default")]] int gettimeofday(timeval* out_pNow, void*) noexcept
{
    if (s_clock.bReal)
        return static_cast<int>(syscall(SYS_gettimeofday, out_pNow, nullptr));
    if (s_clock.iResult == 0)
        *out_pNow = s_clock.now;
    return s_clock.iResult;
}

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::MatchesRegex;

namespace
{

/// Stops the clock.
class UUIDAtOneTime : public testing::Test
{
  protected:
    void SetUp() override { s_clock = {false, 0, {1700000000, 42}}; }
    void TearDown() override { s_clock = {}; }
};

/// Returns the fields of an identifier's text.
std::vector<std::string> fieldsOf(const UUID& in_uuid)
{
    std::vector<std::string> fields;
    std::istringstream text(textOf(in_uuid));
    for (std::string strField; std::getline(text, strField, '-');)
        fields.push_back(strField);
    return fields;
}

/// Returns the texts of the first identifiers that a forked child makes.
std::vector<std::string> textsOfTwin(std::size_t in_uiCount)
{
    const TemporaryDirectory directory;
    const int iCode = exitCodeOfChild(
        [&]
        {
            std::ofstream file(directory.file("texts"));
            for (std::size_t i = 0; i < in_uiCount; ++i)
                file << textOf(UUID()) << '\n';
            return file.flush() ? 0 : 1;
        });
    EXPECT_EQ(0, iCode);
    std::vector<std::string> texts = linesOf(directory.read("texts"));
    EXPECT_EQ(in_uiCount, texts.size());
    return texts;
}

} // namespace

TEST_F(UUIDAtOneTime, IsTimeRandomNumberAndRunningNumber)
{
    std::srand(1);
    const int iRandom = std::rand();
    std::srand(1);
    const UUID uuid;
    EXPECT_THAT(fieldsOf(uuid), ElementsAre("1700000000", "42", std::to_string(iRandom), "0"));
    EXPECT_EQ("1700000000-42-" + std::to_string(iRandom) + "-0", textOf(uuid));
}

TEST_F(UUIDAtOneTime, RunningNumbersCountObjectsFromZero)
{
    EXPECT_EQ("0", fieldsOf(UUID())[3]);
    EXPECT_EQ("1", fieldsOf(UUID())[3]);
    const UUID uuid;
    const UUID copy(uuid);
    EXPECT_EQ("2", fieldsOf(copy)[3]);
    EXPECT_EQ("3", fieldsOf(UUID())[3]);
}

TEST_F(UUIDAtOneTime, HasASecondOfMinusOneWithoutATime)
{
    s_clock.iResult = -1;
    EXPECT_THAT(textOf(UUID()), MatchesRegex("-1-0-[0-9]+-0"));
}

TEST(UUID, TakesTheTimeOfItsMaking)
{
    timeval before{};
    ASSERT_EQ(0, gettimeofday(&before, nullptr));
    const UUID uuid;
    timeval after{};
    ASSERT_EQ(0, gettimeofday(&after, nullptr));
    const long lSeconds = std::stol(fieldsOf(uuid)[0]);
    const long lMicroseconds = std::stol(fieldsOf(uuid)[1]);
    const long lMade = lSeconds * 1000000 + lMicroseconds;
    EXPECT_LE(before.tv_sec * 1000000 + before.tv_usec, lMade);
    EXPECT_GE(after.tv_sec * 1000000 + after.tv_usec, lMade);
    EXPECT_LT(lMicroseconds, 1000000);
}

TEST(UUID, AllWaysToItsTextGiveTheSame)
{
    const UUID uuid;
    std::string strText = "what was there";
    uuid.convertTo(strText);
    EXPECT_THAT(strText, MatchesRegex("[0-9]+-[0-9]+-[0-9]+-0"));
    EXPECT_EQ(strText, textOf(uuid));
    EXPECT_EQ(strText, static_cast<std::string>(uuid));
}

TEST(UUID, WritesPlainDecimalsWhateverTheStream)
{
    const UUID uuid;
    EXPECT_EQ(textOf(uuid), textOf(std::hex, std::showbase, uuid));
}

TEST(UUID, DoesNotSeedTheRandomNumbers)
{
    // The sequence of a process that never calls `srand`.
    std::srand(1);
    const int iFirst = std::rand();
    const int iSecond = std::rand();
    std::srand(1);
    EXPECT_EQ(std::to_string(iFirst), fieldsOf(UUID())[2]);
    EXPECT_EQ(std::to_string(iSecond), fieldsOf(UUID())[2]);
}

TEST_F(UUIDAtOneTime, OfManyThreadsAllDiffer)
{
    constexpr std::size_t uiNumThreads = 8;
    constexpr std::size_t uiPerThread = 2000;
    std::vector<std::vector<std::string>> texts(uiNumThreads);
    std::latch ready(uiNumThreads);
    onThreads(uiNumThreads,
              [&](std::size_t in_uiThread)
              {
                  ready.arrive_and_wait();
                  for (std::size_t i = 0; i < uiPerThread; ++i)
                      texts[in_uiThread].push_back(fieldsOf(UUID())[3]);
              });
    // The running numbers alone are different, whatever the random numbers are.
    std::set<std::string> all;
    for (const std::vector<std::string>& some : texts)
        all.insert(some.begin(), some.end());
    EXPECT_EQ(uiNumThreads * uiPerThread, all.size());
}

TEST_F(UUIDAtOneTime, OfAForkedTwinDiffersFromThatOfItsParent)
{
    std::srand(1);
    const std::vector<std::string> ofTwin = textsOfTwin(100);
    std::set<std::string> all(ofTwin.begin(), ofTwin.end());
    for (int i = 0; i < 100; ++i)
        all.insert(textOf(UUID()));
    EXPECT_EQ(200U, all.size());
}

TEST_F(UUIDAtOneTime, OfTwoForkedTwinsDiffer)
{
    std::srand(1);
    const std::vector<std::string> ofOne = textsOfTwin(100);
    const std::vector<std::string> ofOther = textsOfTwin(100);
    std::set<std::string> all(ofOne.begin(), ofOne.end());
    all.insert(ofOther.begin(), ofOther.end());
    EXPECT_EQ(200U, all.size());
}

TEST_F(UUIDAtOneTime, OfAParentGoesOnAsIfItHadNotForked)
{
    const UUID before;
    textsOfTwin(1);
    EXPECT_EQ("1", fieldsOf(UUID())[3]);
}

TEST(UUID, CanBeMadeInTheChildOfAProcessWhoseThreadsMakeThem)
{
    const RepeatingThreads threads(1, [] { const UUID uuid; });
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(1U, textsOfTwin(1).size());
}

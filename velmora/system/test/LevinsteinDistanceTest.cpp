// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/LevinsteinDistance.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// Gives a test access to private members of a computer.
class LevinsteinDistanceComputerPeer
{
  public:
    using Table = std::vector<std::vector<LevinsteinDistanceComputer::StateData>>;

    static void setDumpTrellis(LevinsteinDistanceComputer& out_computer, bool in_bDump)
    {
        out_computer.m_bDumpTrellis = in_bDump;
    }
    static Table& table(LevinsteinDistanceComputer& in_computer) { return in_computer.m_vVState; }
    static Fallible<unsigned long> walkBack(const LevinsteinDistanceComputer& in_computer,
                                            std::size_t in_uiStrLen, std::size_t in_uiRefLen,
                                            std::string& out_strOperations)
    {
        return in_computer.walkBack(in_uiStrLen, in_uiRefLen, out_strOperations);
    }
};

} // namespace Velmora::Test

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.LevinsteinDistance";
constexpr unsigned long s_uiNoLimit = std::numeric_limits<unsigned long>::max();

using Peer = LevinsteinDistanceComputerPeer;

/// The result of a computer for two strings.
struct Answer
{
    bool bValid;
    unsigned long uiDistance;
    std::string strOperations;
};

Answer ask(const char* in_szStr, const char* in_szRef, unsigned long in_uiMaxCost = s_uiNoLimit)
{
    LevinsteinDistanceComputer computer;
    Answer answer{false, 0, "what was there"};
    const Fallible<unsigned long> distance =
        computer(in_szStr, in_szRef, answer.strOperations, in_uiMaxCost);
    answer.bValid = distance.isValid();
    if (answer.bValid)
        answer.uiDistance = distance;
    return answer;
}

/// Computes only the distance, with two rows of the table.
unsigned long distanceByTwoRows(const std::string& in_str, const std::string& in_strRef)
{
    std::vector<unsigned long> above(in_strRef.size() + 1);
    std::iota(above.begin(), above.end(), 0UL);
    std::vector<unsigned long> row(above.size());
    for (std::size_t i = 1; i <= in_str.size(); ++i)
    {
        row[0] = i;
        for (std::size_t j = 1; j <= in_strRef.size(); ++j)
            row[j] = std::min({row[j - 1] + 1, above[j] + 1,
                               above[j - 1] + (in_str[i - 1] == in_strRef[j - 1] ? 0UL : 1UL)});
        std::swap(row, above);
    }
    return above.back();
}

/// Applies the operations. Returns false if they do not turn one string into the other.
bool leadsTo(const std::string& in_str, const std::string& in_strRef,
             const std::string& in_strOperations)
{
    std::size_t i = 0;
    std::size_t j = 0;
    for (const char cOperation : in_strOperations)
    {
        const bool bBoth = cOperation == '-' || cOperation == 's';
        if (!bBoth && cOperation != 'i' && cOperation != 'd')
            return false;
        if (((bBoth || cOperation == 'i') && i == in_str.size()) ||
            ((bBoth || cOperation == 'd') && j == in_strRef.size()))
            return false;
        if (bBoth && (cOperation == '-') != (in_str[i] == in_strRef[j]))
            return false;
        i += bBoth || cOperation == 'i' ? 1 : 0;
        j += bBoth || cOperation == 'd' ? 1 : 0;
    }
    return i == in_str.size() && j == in_strRef.size();
}

std::string randomString(std::minstd_rand& out_random, unsigned int in_uiAlphabet,
                         unsigned int in_uiMaxLength)
{
    std::string str(out_random() % (in_uiMaxLength + 1), ' ');
    for (char& character : str)
        character = static_cast<char>('a' + out_random() % in_uiAlphabet);
    return str;
}

} // namespace

TEST(LevinsteinDistanceComputer, KittenIsThreeAwayFromSitting)
{
    const Answer answer = ask("kitten", "sitting");
    EXPECT_TRUE(answer.bValid);
    EXPECT_EQ(3U, answer.uiDistance);
    EXPECT_EQ("s---s-d", answer.strOperations);
}

TEST(LevinsteinDistanceComputer, TwoEmptyStringsAreAlike)
{
    const Answer answer = ask("", "");
    EXPECT_TRUE(answer.bValid);
    EXPECT_EQ(0U, answer.uiDistance);
    EXPECT_EQ("", answer.strOperations);
}

TEST(LevinsteinDistanceComputer, EqualStringsKeepEachCharacter)
{
    const Answer answer = ask("abc", "abc");
    EXPECT_EQ(0U, answer.uiDistance);
    EXPECT_EQ("---", answer.strOperations);
}

TEST(LevinsteinDistanceComputer, AnEmptyStringLacksEachCharacterOfTheOther)
{
    const Answer answer = ask("", "abc");
    EXPECT_EQ(3U, answer.uiDistance);
    EXPECT_EQ("ddd", answer.strOperations);
}

TEST(LevinsteinDistanceComputer, AStringHasEachCharacterMoreThanAnEmptyOne)
{
    const Answer answer = ask("abc", "");
    EXPECT_EQ(3U, answer.uiDistance);
    EXPECT_EQ("iii", answer.strOperations);
}

TEST(LevinsteinDistanceComputer, SubstitutionWinsATie)
{
    // "is", "si" and "ss" cost the same; substitution is chosen in each cell.
    EXPECT_EQ("ss", ask("ab", "cd").strOperations);
    EXPECT_EQ("is", ask("ab", "c").strOperations);
    EXPECT_EQ("ds", ask("a", "cd").strOperations);
    EXPECT_EQ("ss", ask("ab", "ba").strOperations);
}

TEST(LevinsteinDistanceComputer, InsertionWinsATieWithDeletion)
{
    // The ways into the last cell cost 3 by substitution, and 2 by each of the other operations.
    EXPECT_EQ("d--i", ask("aba", "bab").strOperations);
}

TEST(LevinsteinDistanceComputer, BytesAreCompared)
{
    EXPECT_EQ(2U, ask("a", "\xC3\xA4").uiDistance);
    EXPECT_EQ(0U, ask("\xFF\x80", "\xFF\x80").uiDistance);
}

TEST(LevinsteinDistanceComputer, StopsWhenTheLimitIsPassed)
{
    const Answer answer = ask("abc", "xyz", 1);
    EXPECT_FALSE(answer.bValid);
    EXPECT_EQ("", answer.strOperations);
}

TEST(LevinsteinDistanceComputer, DoesNotStopAtTheLimitItself)
{
    const Answer answer = ask("abc", "xyz", 3);
    EXPECT_TRUE(answer.bValid);
    EXPECT_EQ(3U, answer.uiDistance);
    EXPECT_FALSE(ask("abc", "xyz", 2).bValid);
}

TEST(LevinsteinDistanceComputer, GoesOnPastTheLimitWhileSomeWayStaysBelowIt)
{
    // The last row begins at 3 and its smallest distance is 0, in the column of the third
    // character. The smallest one is compared with the limit.
    const Answer answer = ask("abc", "abcdef", 0);
    EXPECT_TRUE(answer.bValid);
    EXPECT_EQ(3U, answer.uiDistance);
}

TEST(LevinsteinDistanceComputer, DoesNotTestTheFirstRowAgainstTheLimit)
{
    const Answer answer = ask("", "abc", 0);
    EXPECT_TRUE(answer.bValid);
    EXPECT_EQ(3U, answer.uiDistance);
}

TEST(LevinsteinDistanceComputer, RefusesANullString)
{
    const CapturedLog log;
    const Answer answer = ask(nullptr, "a");
    EXPECT_FALSE(answer.bValid);
    EXPECT_EQ("what was there", answer.strOperations);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_szStr != 0", "LevinsteinDistance", s_szLogger)));
}

TEST(LevinsteinDistanceComputer, RefusesANullReference)
{
    const CapturedLog log;
    EXPECT_FALSE(ask("a", nullptr).bValid);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_szRef != 0", "LevinsteinDistance", s_szLogger)));
}

TEST(LevinsteinDistanceComputer, NamesBothStringsThatAreNull)
{
    const CapturedLog log;
    EXPECT_FALSE(ask(nullptr, nullptr).bValid);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("in_szStr != 0", "LevinsteinDistance", s_szLogger),
                            failedAssertion("in_szRef != 0", "LevinsteinDistance", s_szLogger)));
}

TEST(LevinsteinDistanceComputer, TracesItsScopeAndLogsNothingElse)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    ask("kitten", "sitting");
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(traceLine(s_szLogger, "entering LevinsteinDistanceComputer::operator()"),
                    traceLine(s_szLogger, "exiting LevinsteinDistanceComputer::operator()")));
}

TEST(LevinsteinDistanceComputer, DumpsItsTrellisALineForEachColumn)
{
    const CapturedLog log;
    LevinsteinDistanceComputer computer;
    Peer::setDumpTrellis(computer, true);
    std::string strOperations;
    EXPECT_EQ(1U, computer("ab", "a", strOperations, s_uiNoLimit).get());
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(
                                 s_szLogger, "LevinsteinDistanceComputer::operator() : trellis\n"
                                             "(0, ) (1,i) (2,i) \n"
                                             "(1,d) (0,-) (1,i) \n")));
}

TEST(LevinsteinDistanceComputer, DumpsTheSameInEachLocale)
{
    const CapturedLog log;
    const GlobalLocale locale;
    LevinsteinDistanceComputer computer;
    Peer::setDumpTrellis(computer, true);
    std::string strOperations;
    EXPECT_EQ(1200U,
              computer(std::string(1200, 'a').c_str(), "", strOperations, s_uiNoLimit).get());
    EXPECT_THAT(log.lines().back().strText, testing::HasSubstr("(1199,i) (1200,i) \n"));
}

TEST(LevinsteinDistanceComputer, DumpsNothingAboveDebug)
{
    const CapturedLog log(INFO_LOG_LEVEL);
    LevinsteinDistanceComputer computer;
    Peer::setDumpTrellis(computer, true);
    std::string strOperations;
    EXPECT_EQ(1U, computer("ab", "a", strOperations, s_uiNoLimit).get());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LevinsteinDistanceComputer, DumpsNothingWhenItStops)
{
    const CapturedLog log;
    LevinsteinDistanceComputer computer;
    Peer::setDumpTrellis(computer, true);
    std::string strOperations;
    EXPECT_FALSE(computer("abc", "xyz", strOperations, 1).isValid());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LevinsteinDistanceComputer, NeverMakesItsTableShorter)
{
    LevinsteinDistanceComputer computer;
    std::string strOperations;
    computer("abcd", "ab", strOperations, s_uiNoLimit);
    computer("a", "abc", strOperations, s_uiNoLimit);
    const Peer::Table& table = Peer::table(computer);
    ASSERT_EQ(5U, table.size());
    EXPECT_EQ(4U, table[0].size());
    EXPECT_EQ(4U, table[1].size());
    EXPECT_EQ(3U, table[2].size());
}

TEST(LevinsteinDistanceComputer, DoesNotAllocateForStringsNoLongerThanThoseBefore)
{
    LevinsteinDistanceComputer computer;
    std::string strOperations(1000, ' ');
    computer("keswardin.media.rtp", "keswardin.media.rtcp", strOperations, s_uiNoLimit);
    const MallocWatch watch;
    const Fallible<unsigned long> distance =
        computer("keswardin.pstn.isd", "keswardin.pstn.isdn", strOperations, s_uiNoLimit);
    EXPECT_EQ(0U, watch.countMallocs());
    EXPECT_EQ(1U, distance.get());
}

TEST(LevinsteinDistanceComputer, ResetCellHasNoOperationAndTheLargestDistance)
{
    LevinsteinDistanceComputer::StateData cell{'s', 3};
    cell.reset();
    EXPECT_EQ('\0', cell.m_cOperation);
    EXPECT_EQ(std::numeric_limits<unsigned long>::max(), cell.m_uiDistance);
}

namespace
{

/// A computer whose table a test can change, and the walk through it.
class BrokenTable : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::string strOperations;
        m_computer("ab", "ab", strOperations, s_uiNoLimit);
    }

    LevinsteinDistanceComputer::StateData& cell(std::size_t i, std::size_t j)
    {
        return Peer::table(m_computer)[i][j];
    }

    /// Returns whether the walk has a result.
    bool walk()
    {
        const bool bValid = Peer::walkBack(m_computer, 2, 2, m_strOperations).isValid();
        EXPECT_TRUE(bValid || m_strOperations.empty());
        return bValid;
    }

    [[nodiscard]] std::vector<FailedAssertion> failures() const { return failedAssertions(m_log); }
    static FailedAssertion failure(const std::string& in_strCondition)
    {
        return failedAssertion(in_strCondition, "LevinsteinDistance", s_szLogger);
    }

    LevinsteinDistanceComputer m_computer;
    std::string m_strOperations;
    CapturedLog m_log;
};

using LevinsteinDistanceComputerWithABrokenTable = BrokenTable;

} // namespace

TEST_F(LevinsteinDistanceComputerWithABrokenTable, RefusesAnUnknownOperation)
{
    cell(1, 1).m_cOperation = 'x';
    EXPECT_FALSE(walk());
    EXPECT_THAT(failures(), ElementsAre(failure("bUp || bLeft")));
}

TEST_F(LevinsteinDistanceComputerWithABrokenTable, RefusesToLeaveItAtTheTop)
{
    cell(0, 1).m_cOperation = 'i';
    cell(1, 1).m_cOperation = 'i';
    EXPECT_FALSE(walk());
    EXPECT_THAT(failures(), ElementsAre(failure("i > 0")));
}

TEST_F(LevinsteinDistanceComputerWithABrokenTable, RefusesToLeaveItAtTheLeft)
{
    cell(1, 0).m_cOperation = 'd';
    cell(1, 1).m_cOperation = 'd';
    EXPECT_FALSE(walk());
    EXPECT_THAT(failures(), ElementsAre(failure("j > 0")));
}

TEST_F(LevinsteinDistanceComputerWithABrokenTable, RefusesToKeepACharacterAtItsEdge)
{
    cell(0, 1).m_cOperation = '-';
    cell(1, 1).m_cOperation = 'i';
    EXPECT_FALSE(walk());
    EXPECT_THAT(failures(), ElementsAre(failure("i > 0")));
}

TEST_F(LevinsteinDistanceComputerWithABrokenTable, ReportsWhenItsCornerDisagreesWithTheWalk)
{
    cell(2, 2).m_uiDistance = 7;
    EXPECT_TRUE(walk());
    EXPECT_EQ("--", m_strOperations);
    EXPECT_THAT(failures(),
                ElementsAre(failure("uiDistance == m_vVState[uiStrLen][uiRefLen].m_uiDistance")));
}

TEST(LevinsteinDistanceComputer, GivesTheDistanceAndAWayThatCostsItForAnyStrings)
{
    std::minstd_rand random(1);
    LevinsteinDistanceComputer computer;
    std::string strOperations;
    for (int iRound = 0; iRound < 3000; ++iRound)
    {
        const unsigned int uiAlphabet = iRound % 3 == 0 ? 1 : iRound % 3 == 1 ? 4 : 26;
        const std::string str = randomString(random, uiAlphabet, 40);
        const std::string strRef = randomString(random, uiAlphabet, 40);
        const Fallible<unsigned long> distance =
            computer(str.c_str(), strRef.c_str(), strOperations, s_uiNoLimit);
        ASSERT_TRUE(distance.isValid());
        ASSERT_EQ(distanceByTwoRows(str, strRef), distance.get()) << str << ' ' << strRef;
        ASSERT_TRUE(leadsTo(str, strRef, strOperations))
            << str << ' ' << strRef << ' ' << strOperations;
        ASSERT_EQ(distance.get(), static_cast<unsigned long>(std::count_if(
                                      strOperations.begin(), strOperations.end(),
                                      [](char in_cOperation) { return in_cOperation != '-'; })));
    }
}

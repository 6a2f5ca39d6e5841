// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/LMVector.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/Fragile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

constexpr const char* s_szAccount = "LMVector<T>";

template <class T>
std::vector<std::pair<std::size_t, T>> contentOf(const LMVector<T>& in_vector)
{
    std::vector<std::pair<std::size_t, T>> result;
    for (auto iter = in_vector.begin_valid(); iter != in_vector.end_valid();
         in_vector.increment(iter))
        result.emplace_back(in_vector.indexOf(iter), *iter);
    return result;
}

/// Returns the bytes behind the slots: the count and the bitmap.
template <class T>
std::vector<unsigned char> trailerOf(const LMVector<T>& in_vector)
{
    const auto* const pTrailer =
        reinterpret_cast<const unsigned char*>(&in_vector.slot(0) + in_vector.capacity());
    return {pTrailer, pTrailer + 8 + in_vector.capacity() / 8 + 1};
}

template <std::size_t uiSize>
struct Sized
{
    std::array<char, uiSize> bytes{};
};

template <std::size_t uiSize>
void expectBlockOf(std::size_t in_uiCapacity, int in_iBytes)
{
    {
        const LMVector<Sized<uiSize>> vector(in_uiCapacity);
        EXPECT_EQ(bytesHeld(s_szAccount), in_iBytes) << in_uiCapacity << " of " << uiSize;
    }
    EXPECT_EQ(bytesHeld(s_szAccount), 0);
}

/// Counts constructions, copies and destructions.
struct Counted
{
    Counted() { ++s_iConstructed; }
    Counted(const Counted&) { ++s_iCopied; }
    ~Counted() { ++s_iDestroyed; }
    static inline int s_iConstructed = 0;
    static inline int s_iCopied = 0;
    static inline int s_iDestroyed = 0;
};

} // namespace

TEST(LMVector, IsAPointerAndANumber)
{
    EXPECT_EQ(sizeof(LMVector<std::string>), sizeof(void*) + sizeof(std::uint64_t));
}

TEST(LMVector, AnIteratorIsTwoPointersAndAMask)
{
    EXPECT_EQ(sizeof(LMVectorIterator<std::string>), 3 * sizeof(void*));
}

TEST(LMVector, TakesOneBlockOfSlotsCountAndBitmap)
{
    inAccountingProcess(
        []
        {
            expectBlockOf<1>(1, 1 + 9);
            expectBlockOf<1>(7, 7 + 9);
            expectBlockOf<1>(8, 8 + 10);
            expectBlockOf<3>(9, 27 + 10);
            expectBlockOf<16>(16, 256 + 11);
            expectBlockOf<24>(1000, 24000 + 125 + 9);
        });
}

TEST(LMVector, WithoutSlotsAllocatesNothing)
{
    inAccountingProcess(
        []
        {
            const LMVector<int> none;
            const LMVector<int> vector(0);
            EXPECT_EQ(mostBytesHeld(s_szAccount), 0);
            EXPECT_EQ(vector.capacity(), 0U);
            EXPECT_EQ(vector.size(), 0U);
            EXPECT_EQ(vector.begin_valid(), vector.end_valid());
        });
}

TEST(LMVector, ACopyOfOneWithoutSlotsAllocatesNothing)
{
    inAccountingProcess(
        []
        {
            const LMVector<int> vector(0);
            const LMVector<int> copy(vector);
            EXPECT_EQ(mostBytesHeld(s_szAccount), 0);
            EXPECT_EQ(copy.capacity(), 0U);
        });
}

TEST(LMVector, BeginsWithoutValidSlots)
{
    const LMVector<int> vector(20);
    EXPECT_EQ(vector.capacity(), 20U);
    EXPECT_TRUE(vector.empty());
    EXPECT_THAT(contentOf(vector), IsEmpty());
    EXPECT_EQ(trailerOf(vector), std::vector<unsigned char>(8 + 3, 0));
}

TEST(LMVector, TheTrailerIsNeverShorterThanNineBytes)
{
    LMVector<char> vector(3);
    vector[2] = 'c';
    EXPECT_THAT(trailerOf(vector), ElementsAre(1, 0, 0, 0, 0, 0, 0, 0, 0b100));
}

TEST(LMVector, TheLastBitsOfACapacityThatIsNoMultipleOfEightHaveTheirByte)
{
    LMVector<char> vector(11);
    vector[0] = 'a';
    vector[7] = 'h';
    vector[10] = 'k';
    EXPECT_THAT(trailerOf(vector), ElementsAre(3, 0, 0, 0, 0, 0, 0, 0, 0b10000001, 0b100));
}

TEST(LMVector, TheCountStandsBehindTheSlotsAlignedOrNot)
{
    LMVector<Sized<3>> vector(3);
    for (std::size_t i = 0; i != 3; ++i)
        vector[i].bytes = {'x', 'y', 'z'};
    EXPECT_EQ(vector.size(), 3U);
    EXPECT_THAT(trailerOf(vector), ElementsAre(3, 0, 0, 0, 0, 0, 0, 0, 0b111));
    EXPECT_EQ(vector[2].bytes[2], 'z');
}

TEST(LMVector, AccessMakesASlotValid)
{
    LMVector<std::string> vector(5);
    EXPECT_EQ(vector[3], "");
    EXPECT_TRUE(vector.isValid(3));
    EXPECT_FALSE(vector.isValid(2));
    EXPECT_EQ(vector.size(), 1U);
}

TEST(LMVector, AccessMakesAZeroOfANumber)
{
    LMVector<int> vector(1);
    vector[0] = 7;
    vector.invalidate(0);
    EXPECT_EQ(vector[0], 0);
}

TEST(LMVector, AccessGivesAValidSlotAsItStands)
{
    LMVector<Counted> vector(1);
    Counted& counted = vector[0];
    Counted::s_iConstructed = Counted::s_iCopied = Counted::s_iDestroyed = 0;
    EXPECT_EQ(&vector[0], &counted);
    EXPECT_EQ(Counted::s_iConstructed + Counted::s_iCopied + Counted::s_iDestroyed, 0);
    EXPECT_EQ(vector.size(), 1U);
}

TEST(LMVector, IteratesByRisingIndex)
{
    LMVector<int> vector(40);
    for (const std::size_t i : {39U, 0U, 7U, 8U, 31U, 32U, 16U})
        vector[i] = static_cast<int>(100 + i);
    EXPECT_THAT(contentOf(vector),
                ElementsAre(Pair(0, 100), Pair(7, 107), Pair(8, 108), Pair(16, 116), Pair(31, 131),
                            Pair(32, 132), Pair(39, 139)));
}

TEST(LMVector, BeginsAtTheLowestValidSlot)
{
    LMVector<int> vector(20);
    vector[19] = 1;
    vector[13] = 2;
    EXPECT_EQ(vector.indexOf(vector.begin_valid()), 13U);
    EXPECT_EQ(vector.indexOf(std::as_const(vector).begin_valid()), 13U);
}

TEST(LMVector, ElementsCanBeWrittenThroughAnIterator)
{
    LMVector<int> vector(3);
    vector[1] = 1;
    *vector.begin_valid() = 5;
    EXPECT_EQ(vector[1], 5);
}

TEST(LMVector, ACopyHasTheSameSlots)
{
    LMVector<std::string> vector(11);
    vector[2] = "two";
    vector[10] = "a text that is too long for the string object itself";
    const LMVector<std::string> copy(vector);
    vector[2] = "changed";
    EXPECT_EQ(copy.capacity(), 11U);
    EXPECT_EQ(trailerOf(copy), trailerOf(vector));
    EXPECT_THAT(contentOf(copy), ElementsAre(Pair(2, "two"), Pair(10, vector[10])));
}

TEST(LMVector, AMoveLeavesTheOtherWithoutSlots)
{
    LMVector<std::string> vector(2);
    vector[1] = "one";
    const LMVector<std::string> moved(std::move(vector));
    EXPECT_THAT(contentOf(moved), ElementsAre(Pair(1, "one")));
    EXPECT_EQ(vector.capacity(), 0U); // NOLINT(bugprone-use-after-move)
}

TEST(LMVector, AssignmentReplacesSlotsAndCapacity)
{
    inAccountingProcess(
        []
        {
            LMVector<std::string> vector(2);
            vector[1] = "one";
            LMVector<std::string> assigned(100);
            assigned[50] = "fifty";
            assigned = vector;
            EXPECT_EQ(assigned.capacity(), 2U);
            EXPECT_THAT(contentOf(assigned), ElementsAre(Pair(1, "one")));
            EXPECT_EQ(bytesHeld(s_szAccount), 2 * (2 * 32 + 9));
        });
}

TEST(LMVector, AssignmentToItselfChangesNothing)
{
    LMVector<std::string> vector(2);
    vector[1] = "one";
    const LMVector<std::string>& same = vector;
    vector = same;
    EXPECT_THAT(contentOf(vector), ElementsAre(Pair(1, "one")));
}

TEST(LMVector, ReserveKeepsEachIndex)
{
    LMVector<std::string> vector(3);
    vector[0] = "zero";
    vector[2] = "two";
    vector.reserve(30);
    EXPECT_EQ(vector.capacity(), 30U);
    EXPECT_THAT(contentOf(vector), ElementsAre(Pair(0, "zero"), Pair(2, "two")));
    EXPECT_THAT(trailerOf(vector), ElementsAre(2, 0, 0, 0, 0, 0, 0, 0, 0b101, 0, 0, 0));
}

TEST(LMVector, ReserveNeverShrinks)
{
    LMVector<int> vector(3);
    const int* const pSlot = &vector[1];
    vector.reserve(3);
    vector.reserve(2);
    vector.reserve(0);
    EXPECT_EQ(vector.capacity(), 3U);
    EXPECT_EQ(&vector[1], pSlot);
}

TEST(LMVector, ReserveHoldsBothBlocksAndReleasesTheFormerOne)
{
    inAccountingProcess(
        []
        {
            LMVector<char> vector(16);
            vector.reserve(32);
            EXPECT_EQ(bytesHeld(s_szAccount), 32 + 4 + 9);
            EXPECT_EQ(mostBytesHeld(s_szAccount), 32 + 4 + 9 + 16 + 2 + 9);
        });
}

TEST(LMVector, ReserveWithoutSlotsGoesStraightToTheNewBlock)
{
    inAccountingProcess(
        []
        {
            LMVector<char> vector(0);
            vector.reserve(16);
            EXPECT_EQ(mostBytesHeld(s_szAccount), 16 + 2 + 9);
            EXPECT_TRUE(vector.empty());
        });
}

TEST(LMVector, ElementsThatCannotBeCopiedAreMoved)
{
    LMVector<std::unique_ptr<int>> vector(1);
    vector[0] = std::make_unique<int>(7);
    vector.reserve(2);
    EXPECT_EQ(*vector[0], 7);
}

TEST(LMVector, ClearDestroysTheElementsAndKeepsTheBlock)
{
    inAccountingProcess(
        []
        {
            LMVector<Counted> vector(9);
            vector[0];
            vector[8];
            Counted::s_iDestroyed = 0;
            vector.clear();
            EXPECT_EQ(Counted::s_iDestroyed, 2);
            EXPECT_EQ(vector.capacity(), 9U);
            EXPECT_EQ(bytesHeld(s_szAccount), 9 + 10);
            EXPECT_EQ(trailerOf(vector), std::vector<unsigned char>(10, 0));
        });
}

TEST(LMVector, ClearOfPlainElementsZeroesTheTrailer)
{
    LMVector<int> vector(9);
    vector[0] = vector[8] = 1;
    vector.clear();
    EXPECT_EQ(trailerOf(vector), std::vector<unsigned char>(10, 0));
    EXPECT_EQ(vector.capacity(), 9U);
}

TEST(LMVector, ClearWithoutSlotsDoesNothing)
{
    LMVector<std::string> vector(0);
    vector.clear();
    EXPECT_EQ(vector.capacity(), 0U);
}

TEST(LMVector, DestroyGivesTheBlockBack)
{
    inAccountingProcess(
        []
        {
            LMVector<Counted> vector(9);
            vector[3];
            Counted::s_iDestroyed = 0;
            vector.destroy();
            EXPECT_EQ(Counted::s_iDestroyed, 1);
            EXPECT_EQ(vector.capacity(), 0U);
            EXPECT_EQ(vector.size(), 0U);
            EXPECT_EQ(bytesHeld(s_szAccount), 0);
            vector.destroy();
            EXPECT_EQ(bytesHeld(s_szAccount), 0);
        });
}

TEST(LMVector, ServesAgainAfterDestroy)
{
    LMVector<std::string> vector(9);
    vector.destroy();
    vector.reserve(1);
    vector[0] = "again";
    EXPECT_THAT(contentOf(vector), ElementsAre(Pair(0, "again")));
}

TEST(LMVector, TheDestructorDestroysWhatIsLeft)
{
    inAccountingProcess(
        []
        {
            Counted::s_iDestroyed = 0;
            {
                LMVector<Counted> vector(9);
                vector[3];
            }
            EXPECT_EQ(Counted::s_iDestroyed, 1);
            EXPECT_EQ(bytesHeld(s_szAccount), 0);
        });
}

TEST(LMVector, RefusesASizeThatDoesNotFitMemory)
{
    const std::size_t uiTooMany = std::numeric_limits<std::size_t>::max();
    EXPECT_THROW(LMVector<std::uint64_t>{uiTooMany}, std::bad_alloc);
    EXPECT_THROW(LMVector<std::uint64_t>(std::size_t{1} << 61), std::bad_alloc);
    LMVector<std::uint64_t> vector(1);
    vector[0] = 7;
    EXPECT_THROW(vector.reserve(std::size_t{1} << 61), std::bad_alloc);
    EXPECT_THAT(contentOf(vector), ElementsAre(Pair(0, 7)));
}

namespace
{

template <class T>
class LMVectorOfFragile : public testing::Test
{
  public:
    /// Puts three elements into seven slots.
    void fill()
    {
        m_vector = LMVector<T>(7);
        for (const int i : {1, 2, 6})
            m_vector[static_cast<std::size_t>(i)] = T(10 * i);
    }
    void expectUnchanged(int in_iOthersLive = 0, int in_iOthersBytes = 0) const
    {
        ASSERT_EQ(m_vector.capacity(), 7U);
        ASSERT_EQ(m_vector.size(), 3U);
        for (const int i : {1, 2, 6})
            ASSERT_EQ(m_vector.slot(static_cast<std::size_t>(i)).value(), 10 * i);
        ASSERT_EQ(trailerOf(m_vector)[8], 0b1000110);
        ASSERT_EQ(T::s_iLive, 3 + in_iOthersLive);
        ASSERT_EQ(bytesHeld(s_szAccount), 7 * 4 + 9 + in_iOthersBytes);
    }
    int countFailures(const std::function<void()>& in_work)
    {
        return failAtEveryStep([this] { fill(); }, in_work, [this] { expectUnchanged(); });
    }
    LMVector<T> m_vector;
};

using Fragiles = testing::Types<Fragile<Moves::AS_COPIES>, Fragile<Moves::SAFELY>>;
TYPED_TEST_SUITE(LMVectorOfFragile, Fragiles);

} // namespace

TYPED_TEST(LMVectorOfFragile, AFailedAccessChangesNothing)
{
    inAccountingProcess([this]
                        { EXPECT_EQ(1, this->countFailures([this] { this->m_vector[0]; })); });
}

TYPED_TEST(LMVectorOfFragile, AFailedReserveChangesNothing)
{
    constexpr bool bMayFail = !std::is_nothrow_move_constructible_v<TypeParam>;
    inAccountingProcess(
        [this] {
            EXPECT_EQ(bMayFail ? 3 : 0, this->countFailures([this] { this->m_vector.reserve(8); }));
        });
}

TYPED_TEST(LMVectorOfFragile, AFailedCopyLeavesNothingBehind)
{
    inAccountingProcess(
        [this] {
            EXPECT_EQ(
                3, this->countFailures([this] { const LMVector<TypeParam> copy(this->m_vector); }));
        });
}

TYPED_TEST(LMVectorOfFragile, AFailedAssignmentChangesNothing)
{
    inAccountingProcess(
        [this]
        {
            LMVector<TypeParam> other(20);
            other[4] = TypeParam(4);
            other[19] = TypeParam(19);
            EXPECT_EQ(2, failAtEveryStep([this] { this->fill(); }, [&] { this->m_vector = other; },
                                         [this] { this->expectUnchanged(2, 20 * 4 + 11); }));
            EXPECT_EQ(this->m_vector.slot(19).value(), 19);
        });
}

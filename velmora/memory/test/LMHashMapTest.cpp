// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/LMHashMap.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/Fragile.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

/// A map that frees its table on destruction, as an owner must.
template <class K, class D, class H = LMHashFcn<K>>
class OwnedMap : public LMHashMap<K, D, H>
{
  public:
    OwnedMap() = default;
    OwnedMap(const OwnedMap&) = default;
    OwnedMap& operator=(const OwnedMap&) = default;
    ~OwnedMap() { this->destroy(); }
};

using StringMap = OwnedMap<std::string, int>;

template <class Map>
std::vector<std::pair<std::string, int>> contentOf(const Map& in_map)
{
    std::vector<std::pair<std::string, int>> result;
    for (auto iter = in_map.begin(); iter != in_map.end(); ++iter)
        result.emplace_back(iter.key(), iter.data());
    return result;
}

StringMap mapOf(const std::vector<std::string>& in_keys)
{
    StringMap map;
    for (const std::string& strKey : in_keys)
        map.insert(strKey, static_cast<int>(map.size()));
    return map;
}

void expectNothingHeld()
{
    EXPECT_EQ(bytesHeld("InternalHashMap"), 0);
    EXPECT_EQ(bytesHeld("LMVector<T>"), 0);
}

} // namespace

TEST(LMHashMap, IsOnePointerWithoutADestructor)
{
    EXPECT_EQ(sizeof(LMHashMap<std::string, int>), sizeof(void*));
    EXPECT_TRUE((std::is_trivially_destructible_v<LMHashMap<std::string, std::string>>));
}

TEST(LMHashMap, WithoutAnInsertionAllocatesNothing)
{
    inAccountingProcess(
        []
        {
            StringMap map;
            EXPECT_EQ(map.find("key"), map.end());
            EXPECT_EQ(std::as_const(map).find("key"), std::as_const(map).end());
            EXPECT_EQ(map.begin(), map.end());
            EXPECT_EQ(std::as_const(map).begin(), std::as_const(map).end());
            map.clear();
            map.erase(map.end());
            map.destroy();
            const StringMap copy(map);
            EXPECT_EQ(copy.table(), nullptr);
            EXPECT_TRUE(copy.empty());
            EXPECT_EQ(mostBytesHeld("InternalHashMap") + mostBytesHeld("LMVector<T>"), 0);
        });
}

TEST(LMHashMap, TheNullIteratorIsTheEndOfAMapThatWasNeverFilled)
{
    StringMap map;
    EXPECT_EQ(map.end(), StringMap::iterator());
    EXPECT_EQ(map.find("key"), StringMap::iterator());
    EXPECT_EQ(std::as_const(map).find("key"), StringMap::const_iterator());
    map.insert("key", 1);
    EXPECT_NE(map.end(), StringMap::iterator());
}

TEST(LMHashMap, TheFirstInsertionMakesATableOfOneSlot)
{
    inAccountingProcess(
        []
        {
            StringMap map;
            map.insert("key", 1);
            EXPECT_EQ(map.table()->capacity(), 1U);
            EXPECT_EQ(bytesHeld("InternalHashMap"), 16);
            EXPECT_EQ(bytesHeld("LMVector<T>"), 40 + 9);
        });
}

TEST(LMHashMap, InsertsAnEntryAndGivesIt)
{
    StringMap map;
    const auto [first, bFirst] = map.insert("key", 1);
    EXPECT_TRUE(bFirst);
    EXPECT_EQ(first.key(), "key");
    EXPECT_EQ(first.data(), 1);
    EXPECT_EQ(*first, std::pair(std::string("key"), 1));
    EXPECT_EQ(first->second, 1);
    const auto [second, bSecond] = map.insert("other", 2);
    EXPECT_TRUE(bSecond);
    EXPECT_EQ(second.key(), "other");
    EXPECT_EQ(map.size(), 2U);
}

TEST(LMHashMap, InsertingAKeyThatIsThereGivesItsEntryUntouched)
{
    StringMap map;
    map.insert("key", 1);
    const auto [iter, bInserted] = map.insert("key", 2);
    EXPECT_FALSE(bInserted);
    EXPECT_EQ(iter, map.find("key"));
    EXPECT_EQ(iter.data(), 1);
    EXPECT_EQ(map.size(), 1U);
}

TEST(LMHashMap, FindsEntriesAndTheirDataCanBeWritten)
{
    StringMap map = mapOf({"a", "b", "c"});
    map.find("b").data() = 7;
    EXPECT_EQ(std::as_const(map).find("b").data(), 7);
    EXPECT_EQ(map.find("d"), map.end());
    EXPECT_EQ(map.find(std::string_view("cd").substr(0, 1)).data(), 2);
}

TEST(LMHashMap, UpToEightEntriesIterateInOrderOfInsertion)
{
    const StringMap map = mapOf({"h", "g", "f", "e", "d", "c", "b", "a"});
    EXPECT_THAT(contentOf(map),
                ElementsAre(Pair("h", 0), Pair("g", 1), Pair("f", 2), Pair("e", 3), Pair("d", 4),
                            Pair("c", 5), Pair("b", 6), Pair("a", 7)));
}

TEST(LMHashMap, TheNinthEntryScattersAllByHash)
{
    const StringMap map = mapOf({"h", "g", "f", "e", "d", "c", "b", "a", "p"});
    EXPECT_THAT(contentOf(map),
                ElementsAre(Pair("p", 8), Pair("a", 7), Pair("b", 6), Pair("c", 5), Pair("d", 4),
                            Pair("e", 3), Pair("f", 2), Pair("g", 1), Pair("h", 0)));
}

TEST(LMHashMap, ACopyHasTheSameTableSlotForSlot)
{
    inAccountingProcess(
        []
        {
            StringMap map = mapOf({"a", "b", "c", "d", "e"});
            map.erase(map.find("a"));
            const int iTable = bytesHeld("InternalHashMap");
            const int iBlock = bytesHeld("LMVector<T>");
            const StringMap copy(map);
            EXPECT_EQ(contentOf(copy), contentOf(map));
            EXPECT_EQ(copy.table()->capacity(), 8U);
            EXPECT_EQ(bytesHeld("InternalHashMap"), 2 * iTable);
            EXPECT_EQ(bytesHeld("LMVector<T>"), 2 * iBlock);
        });
}

TEST(LMHashMap, AssignmentReplacesTheTable)
{
    inAccountingProcess(
        []
        {
            {
                const StringMap map = mapOf({"a", "b"});
                StringMap assigned = mapOf({"c", "d", "e"});
                assigned = map;
                EXPECT_EQ(contentOf(assigned), contentOf(map));
                EXPECT_EQ(assigned.table()->capacity(), 2U);
                const StringMap& same = assigned;
                assigned = same;
                EXPECT_EQ(contentOf(assigned), contentOf(map));
                assigned = StringMap();
                EXPECT_EQ(assigned.table(), nullptr);
            }
            expectNothingHeld();
        });
}

TEST(LMHashMap, AMoveLeavesTheOtherWithoutTable)
{
    LMHashMap<std::string, int> map;
    map.insert("a", 1);
    LMHashMap<std::string, int> moved(std::move(map));
    EXPECT_EQ(map.table(), nullptr); // NOLINT(bugprone-use-after-move)
    EXPECT_THAT(contentOf(moved), ElementsAre(Pair("a", 1)));
    moved.destroy();
}

TEST(LMHashMap, MoveAssignmentExchangesTheTables)
{
    LMHashMap<std::string, int> map;
    map.insert("a", 1);
    LMHashMap<std::string, int> other;
    other.insert("b", 2);
    map = std::move(other);
    EXPECT_THAT(contentOf(map), ElementsAre(Pair("b", 2)));
    EXPECT_THAT(contentOf(other), ElementsAre(Pair("a", 1))); // NOLINT(bugprone-use-after-move)
    map.destroy();
    other.destroy();
}

TEST(LMHashMap, EraseTakesAnEntryAway)
{
    StringMap map = mapOf({"a", "b", "c"});
    map.erase(map.find("b"));
    EXPECT_THAT(contentOf(map), ElementsAre(Pair("a", 0), Pair("c", 2)));
    map.erase(map.find("b"));
    EXPECT_EQ(map.size(), 2U);
}

TEST(LMHashMap, ClearKeepsTheTable)
{
    StringMap map = mapOf({"a", "b", "c"});
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.begin(), map.end());
    EXPECT_EQ(map.table()->capacity(), 4U);
    map.insert("d", 1);
    EXPECT_THAT(contentOf(map), ElementsAre(Pair("d", 1)));
}

TEST(LMHashMap, DestroyGivesTheTableBack)
{
    inAccountingProcess(
        []
        {
            StringMap map = mapOf({"a", "b", "c"});
            EXPECT_GT(bytesHeld("InternalHashMap"), 0);
            map.destroy();
            EXPECT_EQ(map.table(), nullptr);
            EXPECT_THAT(contentOf(map), IsEmpty());
            expectNothingHeld();
            map.insert("d", 1);
            EXPECT_THAT(contentOf(map), ElementsAre(Pair("d", 1)));
        });
}

TEST(LMHashMap, AFailedFirstInsertionAndAFailedCopyLeaveNothingBehind)
{
    using Element = Fragile<Moves::SAFELY>;
    using Map = OwnedMap<Element, Element, FragileHash<Moves::SAFELY>>;
    inAccountingProcess(
        []
        {
            Map map;
            const auto expectEmpty = [&map]
            {
                ASSERT_EQ(map.table(), nullptr);
                ASSERT_EQ(Element::s_iLive, 0);
                expectNothingHeld();
            };
            const auto work = [&map]
            {
                map.insert(1, 10);
                const Map copy(map);
                map.destroy();
            };
            // Six steps can fail: two each for the arguments, the entry and its copy. Only at the
            // last two has the first map an entry.
            const auto afterFailure = [&]
            {
                map.destroy();
                expectEmpty();
            };
            EXPECT_EQ(failAtEveryStep([&] { expectEmpty(); }, work, afterFailure), 6);
        });
}

TEST(LMHashMap, AFailedFirstInsertionMakesNoTable)
{
    using Element = Fragile<Moves::SAFELY>;
    using Map = OwnedMap<int, Element, std::hash<int>>;
    inAccountingProcess(
        []
        {
            Map map;
            const Element element(1);
            const auto expectEmpty = [&map]
            {
                ASSERT_EQ(map.table(), nullptr);
                expectNothingHeld();
            };
            EXPECT_EQ(failAtEveryStep([] {}, [&] { map.insert(1, element); }, expectEmpty), 1);
        });
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

TEST(LMHashMap, AnInsertionThatFindsNoMemoryLosesNoEntry)
{
    StringMap map;
    int iNumFailures = 0;
    for (int iValue = 0; iValue < 200; ++iValue)
    {
        const std::string strKey = "a key that needs memory of its own " + std::to_string(iValue);
        const auto before = contentOf(map);
        for (std::size_t uiNumServed = 0; map.size() == before.size(); ++uiNumServed)
        {
            try
            {
                const MallocFailure failure(uiNumServed);
                map.insert(strKey, iValue);
            }
            catch (const std::bad_alloc&)
            {
                ++iNumFailures;
                ASSERT_THAT(contentOf(map), testing::UnorderedElementsAreArray(before));
            }
        }
        ASSERT_THAT(map.find(strKey), testing::Ne(map.end()));
    }
    EXPECT_GT(iNumFailures, 200);
}

#endif

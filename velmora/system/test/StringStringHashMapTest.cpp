// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/StringStringHashMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

using namespace Velmora;
using testing::Pair;
using testing::UnorderedElementsAre;

TEST(StringStringHashMap, IsEmptyAtFirst)
{
    const StringStringHashMap map;
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(0U, map.size());
    EXPECT_TRUE(map.find("a") == map.end());
}

TEST(StringStringHashMap, TakesEntries)
{
    StringStringHashMap map;
    const auto [entry, bInserted] = map.insert({"a", "1"});
    EXPECT_TRUE(bInserted);
    EXPECT_EQ("1", entry->second);
    map.insert({"b", "2"});
    EXPECT_THAT(map, UnorderedElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST(StringStringHashMap, KeepsTheEntryThatItHas)
{
    StringStringHashMap map;
    map.insert({"a", "1"});
    const auto [entry, bInserted] = map.insert({"a", "2"});
    EXPECT_FALSE(bInserted);
    EXPECT_EQ("1", entry->second);
}

TEST(StringStringHashMap, ErasesByKey)
{
    StringStringHashMap map;
    map["a"] = "1";
    EXPECT_EQ(1U, map.erase("a"));
    EXPECT_EQ(0U, map.erase("a"));
    EXPECT_TRUE(map.empty());
}

TEST(StringStringHashMap, ErasesByIterator)
{
    StringStringHashMap map;
    map["a"] = "1";
    map["b"] = "2";
    map.erase(map.find("a"));
    EXPECT_THAT(map, UnorderedElementsAre(Pair("b", "2")));
    EXPECT_TRUE(map.erase(map.begin()) == map.end());
}

TEST(StringStringHashMap, MakesAnEmptyValueForANewKey)
{
    StringStringHashMap map;
    EXPECT_EQ("", map["a"]);
    map["a"] = "1";
    EXPECT_EQ("1", map["a"]);
    EXPECT_EQ(1U, map.size());
}

TEST(StringStringHashMap, IsCleared)
{
    StringStringHashMap map;
    map["a"] = "1";
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_TRUE(map.begin() == map.end());
}

TEST(StringStringHashMap, IsResizedInItsBuckets)
{
    StringStringHashMap map;
    map["a"] = "1";
    map.resize(1000);
    EXPECT_LE(1000U, map.bucket_count());
    EXPECT_THAT(map, UnorderedElementsAre(Pair("a", "1")));
}

TEST(StringStringHashMap, CopiesAreDeep)
{
    StringStringHashMap map;
    map["a"] = "1";
    const StringStringHashMap copy(map);
    StringStringHashMap assigned;
    assigned = map;
    map["a"] = "2";
    EXPECT_EQ("1", copy.find("a")->second);
    EXPECT_EQ("1", assigned["a"]);
}

TEST(StringStringHashMap, MovesTakeTheEntries)
{
    StringStringHashMap map;
    const std::string* const pValue = &map["a"];
    StringStringHashMap moved(std::move(map));
    EXPECT_EQ(pValue, &moved["a"]);
    StringStringHashMap assigned;
    assigned = std::move(moved);
    EXPECT_EQ(pValue, &assigned["a"]);
}

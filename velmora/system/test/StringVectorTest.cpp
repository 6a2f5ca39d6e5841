// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/StringVector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

using namespace Velmora;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StringVector, IsEmptyAtFirst)
{
    const StringVector vector;
    EXPECT_TRUE(vector.empty());
    EXPECT_EQ(0U, vector.size());
}

TEST(StringVector, IsMadeOfACount) { EXPECT_THAT(StringVector(2), ElementsAre("", "")); }

TEST(StringVector, IsMadeOfACountAndAValue)
{
    EXPECT_THAT(StringVector(2, "a"), ElementsAre("a", "a"));
}

TEST(StringVector, IsMadeOfOneString)
{
    EXPECT_THAT(StringVector(std::string("abc")), ElementsAre("abc"));
    EXPECT_THAT(StringVector("abc"), ElementsAre("abc"));
}

TEST(StringVector, GrowsAndIsCleared)
{
    StringVector vector;
    vector.push_back("a");
    vector.push_back("b");
    EXPECT_THAT(vector, ElementsAre("a", "b"));
    EXPECT_EQ(2U, vector.size());
    vector.clear();
    EXPECT_THAT(vector, IsEmpty());
}

TEST(StringVector, ReservesMemory)
{
    StringVector vector;
    vector.reserve(100);
    EXPECT_LE(100U, vector.capacity());
    EXPECT_THAT(vector, IsEmpty());
}

TEST(StringVector, GivesItsElements)
{
    StringVector vector(2);
    vector[1] = "b";
    const StringVector& seen = vector;
    EXPECT_EQ("", seen[0]);
    EXPECT_EQ("b", seen[1]);
    for (std::string& text : vector)
        text += 'x';
    EXPECT_THAT(vector, ElementsAre("x", "bx"));
}

TEST(StringVector, CopiesAreDeep)
{
    StringVector vector("a");
    const StringVector copy(vector);
    StringVector assigned;
    assigned = vector;
    vector[0] = "b";
    EXPECT_THAT(copy, ElementsAre("a"));
    EXPECT_THAT(assigned, ElementsAre("a"));
}

TEST(StringVector, MovesTakeTheStrings)
{
    StringVector vector("a");
    const std::string* const pString = &vector[0];
    StringVector moved(std::move(vector));
    EXPECT_EQ(pString, &moved[0]);
    StringVector assigned;
    assigned = std::move(moved);
    EXPECT_EQ(pString, &assigned[0]);
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterBounds.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

namespace Velmora::Test
{

namespace
{

template <class T>
ParameterValue valueOf(T in_value)
{
    ParameterValue value;
    value = in_value;
    return value;
}

template <class T>
ParameterBounds atLeast(T in_lowest)
{
    ParameterBounds bounds;
    bounds.m_lowest = in_lowest;
    return bounds;
}

template <class T>
ParameterBounds atMost(T in_highest)
{
    ParameterBounds bounds;
    bounds.m_highest = in_highest;
    return bounds;
}

template <class T>
ParameterBounds between(T in_lowest, T in_highest)
{
    ParameterBounds bounds = atLeast(in_lowest);
    bounds.m_highest = in_highest;
    return bounds;
}

std::string written(const ParameterBounds& in_bounds)
{
    std::ostringstream text;
    text << in_bounds;
    return text.str();
}

} // namespace

TEST(ParameterBounds, AreThemselvesAmongTheValues)
{
    const ParameterBounds bounds = between(-1, 5);
    EXPECT_FALSE(bounds.contain(valueOf(-2)));
    EXPECT_TRUE(bounds.contain(valueOf(-1)));
    EXPECT_TRUE(bounds.contain(valueOf(5)));
    EXPECT_FALSE(bounds.contain(valueOf(6)));
}

TEST(ParameterBounds, OfFloatsCompareAsFloats)
{
    const ParameterBounds bounds = between(0.1F, 0.5F);
    EXPECT_FALSE(bounds.contain(valueOf(std::nextafter(0.1F, 0.0F))));
    EXPECT_TRUE(bounds.contain(valueOf(0.1F)));
    EXPECT_TRUE(bounds.contain(valueOf(0.5F)));
    EXPECT_FALSE(bounds.contain(valueOf(std::nextafter(0.5F, 1.0F))));
}

TEST(ParameterBounds, MayBeOpenAtOneEnd)
{
    constexpr int iLeast = std::numeric_limits<int>::min();
    constexpr int iMost = std::numeric_limits<int>::max();
    EXPECT_TRUE(atLeast(1).contain(valueOf(iMost)));
    EXPECT_FALSE(atLeast(1).contain(valueOf(0)));
    EXPECT_TRUE(atMost(1).contain(valueOf(iLeast)));
    EXPECT_FALSE(atMost(1).contain(valueOf(2)));
}

TEST(ParameterBounds, DoNotContainWhatIsNotANumber)
{
    const ParameterValue notANumber = valueOf(std::nanf(""));
    EXPECT_FALSE(atLeast(0.0F).contain(notANumber));
    EXPECT_FALSE(atMost(0.0F).contain(notANumber));
}

TEST(ParameterBounds, DoNotContainValuesOfAnotherType)
{
    const ParameterBounds bounds = between(0, 5);
    EXPECT_FALSE(bounds.contain(valueOf(3.0F)));
    EXPECT_FALSE(bounds.contain(valueOf("3")));
    EXPECT_FALSE(bounds.contain(valueOf(true)));
    EXPECT_FALSE(bounds.contain(ParameterValue()));
}

TEST(ParameterBounds, ContainEverythingWhereThereAreNone)
{
    const ParameterBounds bounds;
    EXPECT_FALSE(bounds.defined());
    EXPECT_TRUE(bounds.contain(valueOf("text")));
    EXPECT_TRUE(bounds.contain(valueOf(std::nanf(""))));
}

TEST(ParameterBounds, AreDefinedByEither)
{
    EXPECT_TRUE(atLeast(0).defined());
    EXPECT_TRUE(atMost(0).defined());
}

TEST(ParameterBounds, AreWrittenAsASentenceGoesOn)
{
    EXPECT_EQ("from 1 to 65535", written(between(1, 65535)));
    EXPECT_EQ("at least -1", written(atLeast(-1)));
    EXPECT_EQ("at most 0.5", written(atMost(0.5F)));
    EXPECT_EQ("", written(ParameterBounds()));
}

} // namespace Velmora::Test

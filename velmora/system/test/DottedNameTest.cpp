// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/DottedName.h"

#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::string> componentsOf(const char* in_szName)
{
    std::vector<std::string> components;
    dottedStringToVector(in_szName, components);
    std::vector<std::string> walked;
    for (const std::string_view component : DottedComponents(in_szName))
        walked.emplace_back(component);
    EXPECT_EQ(components, walked) << in_szName;
    return components;
}

std::string joined(const std::vector<std::string>& in_components)
{
    std::string strName = "what was there";
    vectorToDottedString(in_components, strName);
    return strName;
}

/// Applies the rule character by character.
std::vector<std::string> componentsByTheRule(const std::string& in_strName)
{
    std::vector<std::string> components;
    std::string strComponent;
    for (const char character : in_strName)
    {
        if (character != '.')
        {
            strComponent += character;
            continue;
        }
        components.push_back(strComponent);
        strComponent.clear();
    }
    if (!strComponent.empty())
        components.push_back(strComponent);
    return components;
}

constexpr const char* s_szSixParts = "keswardin.media.rtp.jitterBuffer.initial.delayInMilliseconds";

} // namespace

TEST(DottedName, IsSplitAtItsDots)
{
    EXPECT_THAT(componentsOf("a.bc.d"), ElementsAre("a", "bc", "d"));
}

TEST(DottedName, WithoutADotIsOneComponent)
{
    EXPECT_THAT(componentsOf("abc"), ElementsAre("abc"));
}

TEST(DottedName, OfAnEmptyTextHasNoComponents) { EXPECT_THAT(componentsOf(""), IsEmpty()); }

TEST(DottedName, GainsNothingByATrailingDot)
{
    EXPECT_THAT(componentsOf("a."), ElementsAre("a"));
    EXPECT_THAT(componentsOf("a.."), ElementsAre("a", ""));
}

TEST(DottedName, HasAnEmptyComponentBeforeALeadingDot)
{
    EXPECT_THAT(componentsOf(".a"), ElementsAre("", "a"));
    EXPECT_THAT(componentsOf("."), ElementsAre(""));
}

TEST(DottedName, HasAnEmptyComponentBetweenTwoDots)
{
    EXPECT_THAT(componentsOf("a..b"), ElementsAre("a", "", "b"));
}

TEST(DottedName, SplitWithoutResizingLeavesWhatItDoesNotNeed)
{
    std::vector<std::string> components{"one", "two", "three", "four", "five"};
    EXPECT_EQ(2U, dottedStringToVectorNoResize("a.b", components));
    EXPECT_THAT(components, ElementsAre("a", "b", "three", "four", "five"));
}

TEST(DottedName, SplitWithoutResizingMakesTheVectorAsLongAsItMust)
{
    std::vector<std::string> components{"one"};
    EXPECT_EQ(3U, dottedStringToVectorNoResize("a.b.c", components));
    EXPECT_THAT(components, ElementsAre("a", "b", "c"));
}

TEST(DottedName, SplitWithoutResizingOfAnEmptyTextTouchesNothing)
{
    std::vector<std::string> components{"one"};
    EXPECT_EQ(0U, dottedStringToVectorNoResize("", components));
    EXPECT_THAT(components, ElementsAre("one"));
}

TEST(DottedName, SplitResizesTheVectorToTheComponents)
{
    std::vector<std::string> components{"one", "two", "three"};
    dottedStringToVector("a.b", components);
    EXPECT_THAT(components, ElementsAre("a", "b"));
}

TEST(DottedName, SplitDoesNotAllocateForANameLikeTheOneBefore)
{
    std::vector<std::string> components;
    dottedStringToVectorNoResize(s_szSixParts, components);
    const MallocWatch watch;
    unsigned long uiCount = dottedStringToVectorNoResize("a.b.c.d.e.f", components);
    uiCount += dottedStringToVectorNoResize(s_szSixParts, components);
    EXPECT_EQ(0U, watch.countMallocs());
    EXPECT_EQ(12U, uiCount);
}

TEST(DottedName, SplitsByTheRuleWhateverTheNameAndTheVector)
{
    std::minstd_rand random(1);
    std::vector<std::string> components;
    for (int iRound = 0; iRound < 20000; ++iRound)
    {
        std::string strName(random() % 60, ' ');
        for (char& character : strName)
            character = random() % 4 == 0 ? '.' : static_cast<char>('a' + random() % 26);
        const std::vector<std::string> expected = componentsByTheRule(strName);
        const unsigned long uiCount = dottedStringToVectorNoResize(strName.c_str(), components);
        ASSERT_EQ(expected.size(), uiCount) << strName;
        for (std::size_t i = 0; i < uiCount; ++i)
            ASSERT_EQ(expected[i], components[i]) << strName;
    }
}

TEST(DottedName, IsJoinedWithOneDotBetweenComponents)
{
    EXPECT_EQ("a.bc.d", joined({"a", "bc", "d"}));
    EXPECT_EQ("a", joined({"a"}));
    EXPECT_EQ("a..b", joined({"a", "", "b"}));
    EXPECT_EQ(".a", joined({"", "a"}));
}

TEST(DottedName, IsEmptyWithoutComponents) { EXPECT_EQ("", joined({})); }

TEST(DottedName, IsJoinedIntoMemoryThatIsAllocatedOnceIfItIsNeeded)
{
    // The longest text that a string holds itself.
    const std::vector<std::string> shortOnes{"abcd", "efghi", "jklm"};
    const std::vector<std::string> longOnes{"keswardin", "infra", "coreDump", "writeOnCrash"};
    std::string strShort;
    std::string strLong;
    const MallocWatch watch;
    vectorToDottedString(shortOnes, strShort);
    EXPECT_EQ(0U, watch.countMallocs());
    vectorToDottedString(longOnes, strLong);
    EXPECT_EQ(1U, watch.countMallocs());
    EXPECT_EQ(15U, strShort.size());
}

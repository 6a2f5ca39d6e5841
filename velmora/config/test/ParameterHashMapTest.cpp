// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterHashMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <log4cplus/logger.h>

#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using testing::UnorderedElementsAre;

namespace
{

std::string written(const OutputStreamable& in_object)
{
    std::ostringstream stream;
    stream << in_object;
    return stream.str();
}

} // namespace

TEST(ParameterHashMap, IsEmptyAtFirstAndReadyForAHundredParameters)
{
    const ParameterHashMap map;
    EXPECT_TRUE(map.empty());
    EXPECT_GE(map.bucket_count(), 100U);
}

TEST(ParameterHashMap, GetsACopyOfTheStoredValue)
{
    ParameterHashMap map;
    map["name"] = "text";
    ParameterValue value;
    map.getParameter("name", value);
    EXPECT_STREQ(static_cast<const char*>(value), "text");
    EXPECT_NE(static_cast<const char*>(value), static_cast<const char*>(map["name"]));
}

TEST(ParameterHashMap, MakesTheOutputUndefinedForAnAbsentName)
{
    ParameterValue value;
    value = "former";
    ParameterHashMap().getParameter("absent", value);
    EXPECT_EQ(value.getType(), ParameterValue::UNDEF_TYPE);
}

TEST(ParameterHashMap, InsertsANewParameter)
{
    ParameterHashMap map;
    ParameterValue value;
    value = 12345678901L;
    EXPECT_TRUE(map.setParameter("name", value));
    ASSERT_EQ(map.size(), 1U);
    EXPECT_EQ(static_cast<long>(map["name"]), 12345678901L);
}

TEST(ParameterHashMap, AssignsToAParameterThatExists)
{
    ParameterHashMap map;
    EXPECT_TRUE(map.setStringParameter("name", "text"));
    EXPECT_TRUE(map.setIntParameter("name", 7));
    ASSERT_EQ(map.size(), 1U);
    EXPECT_EQ(static_cast<int>(map["name"]), 7);
}

TEST(ParameterHashMap, AssignsAnUndefinedValueToo)
{
    ParameterHashMap map;
    map.setIntParameter("name", 7);
    EXPECT_TRUE(map.setParameter("name", ParameterValue()));
    EXPECT_FALSE(map.parameterDefined("name"));
    EXPECT_EQ(map.size(), 1U);
}

TEST(ParameterHashMap, ServesTypedGetAndSetThroughTheConfigurationInterfaces)
{
    ParameterHashMap map;
    Configuration& configuration = map;
    configuration.setIntParameter("int", 7);
    configuration.setBoolParameter("bool", true);
    configuration.setStringParameter("string", "text");
    configuration.setFloatParameter("float", 2.5F);

    const ROConfiguration& readOnly = map;
    int iValue = 0;
    bool bValue = false;
    std::string strValue;
    float fValue = 0;
    EXPECT_TRUE(readOnly.getIntParameter("int", iValue));
    EXPECT_EQ(iValue, 7);
    EXPECT_TRUE(readOnly.getBoolParameter("bool", bValue));
    EXPECT_TRUE(bValue);
    EXPECT_TRUE(readOnly.getStringParameter("string", strValue));
    EXPECT_EQ(strValue, "text");
    EXPECT_TRUE(readOnly.getFloatParameter("float", fValue));
    EXPECT_EQ(fValue, 2.5F);
}

TEST(ParameterHashMap, WritesNothingWhenEmpty) { EXPECT_EQ(written(ParameterHashMap()), ""); }

TEST(ParameterHashMap, WritesOneParameterWithoutALineEnd)
{
    ParameterHashMap map;
    map.setStringParameter("a name", "some text");
    EXPECT_EQ(written(map), "a name some text");
}

TEST(ParameterHashMap, WritesALineForEachParameterWithLineEndsBetweenThem)
{
    ParameterHashMap map;
    map.setIntParameter("int", 7);
    map.setBoolParameter("bool", true);
    map.setFloatParameter("float", 2.5F);
    map.setParameter("undefined", ParameterValue());

    const std::string strText = written(map);
    EXPECT_NE(strText.back(), '\n');
    std::vector<std::string> lines;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
        lines.push_back(strLine);
    EXPECT_THAT(lines, UnorderedElementsAre("int 7", "bool true", "float 2.5", "undefined UNDEF"));
}

TEST(ParameterHashMap, CopiesAreDeep)
{
    ParameterHashMap map;
    map.setStringParameter("name", "text");
    const ParameterHashMap copy(map);
    map.setStringParameter("name", "other");

    std::string strValue;
    EXPECT_TRUE(copy.getStringParameter("name", strValue));
    EXPECT_EQ(strValue, "text");
}

TEST(ParameterHashMap, HasALoggerOfItsOwnFromTheLoadOn)
{
    EXPECT_TRUE(log4cplus::Logger::exists("keswardin.infra.ParameterHashMap"));
}

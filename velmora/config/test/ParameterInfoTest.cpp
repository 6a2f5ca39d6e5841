// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterInfo.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace Velmora::Test
{

namespace
{

void expectNothingKnown(const ParameterInfo& in_info)
{
    EXPECT_EQ(ParameterValue::UNDEF_TYPE, in_info.m_type);
    EXPECT_FALSE(in_info.m_defaultValue.defined());
    EXPECT_FALSE(in_info.m_bRunTimeSettable);
    EXPECT_FALSE(in_info.m_bDeprecated);
    EXPECT_EQ("", in_info.m_strDescription);
}

ParameterInfo transport()
{
    ParameterInfo info;
    info.m_type = ParameterValue::STRING_TYPE;
    info.m_defaultValue = "udp";
    info.m_bRunTimeSettable = true;
    info.m_bDeprecated = true;
    info.m_strDescription = "Use another \"one\".";
    return info;
}

std::string written(const ParameterInfo& in_info)
{
    std::ostringstream stream;
    in_info.write(stream);
    return stream.str();
}

} // namespace

TEST(ParameterInfo, KnowsNothingAtFirst) { expectNothingKnown(ParameterInfo()); }

TEST(ParameterInfo, KnowsNothingAfterAReset)
{
    ParameterInfo info = transport();
    info.reset();
    expectNothingKnown(info);
}

TEST(ParameterInfo, WritesAllOfItOnOneLine)
{
    EXPECT_EQ("type=STRING default-value=udp run-time-settable=true deprecated=true "
              "description=\"Use another \"one\".\"",
              written(transport()));
}

TEST(ParameterInfo, WritesWhatIsNotThereAsUndefinedFalseAndEmpty)
{
    EXPECT_EQ("type=UNDEF default-value=UNDEF run-time-settable=false deprecated=false "
              "description=\"\"",
              written(ParameterInfo()));
}

TEST(ParameterInfo, WritesDefaultsOfEachTypeBare)
{
    ParameterInfo info;
    info.m_type = ParameterValue::INT_TYPE;
    info.m_defaultValue = 60;
    EXPECT_EQ("type=INT default-value=60 run-time-settable=false deprecated=false description=\"\"",
              written(info));
    info.m_type = ParameterValue::BOOL_TYPE;
    info.m_defaultValue = true;
    EXPECT_EQ(
        "type=BOOL default-value=true run-time-settable=false deprecated=false description=\"\"",
        written(info));
    info.m_type = ParameterValue::FLOAT_TYPE;
    info.m_defaultValue = 0.5F;
    EXPECT_EQ(
        "type=FLOAT default-value=0.5 run-time-settable=false deprecated=false description=\"\"",
        written(info));
}

TEST(ParameterInfo, GoesIntoAStreamAsItIsWritten)
{
    std::ostringstream stream;
    stream << transport() << '|';
    EXPECT_EQ(written(transport()) + '|', stream.str());
}

TEST(ParameterInfo, IsCopiedDeeply)
{
    const ParameterInfo original = transport();
    const ParameterInfo copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(written(original), written(copy));
    EXPECT_NE(static_cast<const char*>(original.m_defaultValue),
              static_cast<const char*>(copy.m_defaultValue));
}

TEST(ParameterInfoWithName, HasTheNameBesideTheRest)
{
    const ParameterInfoWithName info("keswardin.sip.transport", transport());
    EXPECT_EQ("keswardin.sip.transport", info.m_strName);
    EXPECT_EQ(written(transport()), written(info));
}

TEST(ParameterInfoWithName, KnowsNothingAtFirst)
{
    const ParameterInfoWithName info;
    EXPECT_EQ("", info.m_strName);
    expectNothingKnown(info);
}

} // namespace Velmora::Test

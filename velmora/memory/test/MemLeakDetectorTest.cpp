// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemLeakDetector.h"

#include "tests/support/CapturedLog.h"
#include "velmora/config/ParameterHashMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Velmora::Test
{

namespace
{

/// A configuration that records which parameters were read.
class ConfigurationThatRecordsReads : public ParameterHashMap
{
  public:
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        m_strReads += in_szParamName;
        ParameterHashMap::getParameter(in_szParamName, out_value);
    }

    mutable std::string m_strReads;
};

} // namespace

TEST(MemLeakDetector, HasNoUseForTheConfiguration)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    ConfigurationThatRecordsReads configuration;
    configuration.setBoolParameter("keswardin.mem.leak.detecting.enabled", true);
    EXPECT_TRUE(MemLeakDetector::sConfigure(configuration));
    EXPECT_EQ("", configuration.m_strReads);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST(MemLeakDetector, ClearsNothing)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    MemLeakDetector::__clear__();
    EXPECT_THAT(log.lines(), testing::IsEmpty());
    EXPECT_TRUE(MemLeakDetector::sConfigure(ParameterHashMap()));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfig.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/RWGlobalConfig.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

TEST(GlobalConfigOfProcess, BothInterfacesHaveTheSameObjectAndCount)
{
    const TSHandle<GlobalConfig>& hRead = GlobalConfig::getInstance();
    const TSHandle<RWGlobalConfig>& hWrite = RWGlobalConfig::getInstance();
    ASSERT_FALSE(hRead.isNull());
    EXPECT_EQ(static_cast<GlobalConfig*>(hWrite.get()), hRead.get());
    EXPECT_EQ(&GlobalConfig::getInstance(), &hRead) << "the handle stays the same one";
    EXPECT_NE(nullptr, dynamic_cast<GlobalConfigImpl*>(hRead.get()));
}

TEST(GlobalConfigOfProcess, ItLivesInAnAccountOfItsOwn)
{
    inAccountingProcess(
        []
        {
            const auto* const pConfig = new GlobalConfigImpl;
            EXPECT_EQ(static_cast<int>(sizeof(GlobalConfigImpl)), bytesHeld("GlobalConfigImpl"));
            delete pConfig;
            EXPECT_EQ(0, bytesHeld("GlobalConfigImpl"));
        });
}

TEST(GlobalConfigOfProcess, AnAssertionReadsItsParameterInIt)
{
    const CapturedLog log;
    EXPECT_TRUE(
        RWGlobalConfig::getInstance()->setBoolParameter("keswardin.infra.abortOnAssert", false));
    bool bValue = true;
    EXPECT_TRUE(AssertionSeam::getBoolParameters()->getBoolParameter(
        "keswardin.infra.abortOnAssert", bValue));
    EXPECT_FALSE(bValue);
}

TEST(GlobalConfigOfProcess, AbortingOnAnAssertionIsSetInIt)
{
    const CapturedLog log;
    EXPECT_TRUE(Assertion::setAbortOnAssert(true));
    bool bValue = false;
    GlobalConfig::getInstance()->getBoolParameter("keswardin.infra.abortOnAssert", bValue);
    EXPECT_TRUE(bValue);
    EXPECT_TRUE(Assertion::setAbortOnAssert(false));
}

} // namespace Velmora::Test

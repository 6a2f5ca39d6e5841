// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Configuration.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <log4cplus/logger.h>

#include <cstddef>
#include <cstring>
#include <string>

using namespace Velmora;
using namespace Velmora::Test;
using testing::IsEmpty;

namespace
{

/// A store of one parameter, "name", that records the name that was set last.
class OneParameterStore : public Configuration
{
  public:
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        out_value = std::strcmp(in_szParamName, "name") == 0 ? m_value : ParameterValue();
    }

    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override
    {
        m_strLastName = in_szParamName;
        m_value = in_value;
        return m_bAccepting;
    }

    ParameterValue m_value;
    std::string m_strLastName;
    bool m_bAccepting = true;
};

template <class T>
OneParameterStore storeOf(T in_value)
{
    OneParameterStore store;
    store.m_value = in_value;
    return store;
}

/// Returns the position of a virtual operation among those of its class, as the platform's calls
/// use it.
template <class T>
std::size_t slotOf(T in_pOperation)
{
    std::size_t uiOffsetPlusOne = 0;
    std::memcpy(&uiOffsetPlusOne, &in_pOperation, sizeof uiOffsetPlusOne);
    return (uiOffsetPlusOne - 1) / sizeof(void*);
}

} // namespace

TEST(ROConfiguration, ReturnsWhetherAParameterIsDefined)
{
    const OneParameterStore store = storeOf(7L);
    const ROConfiguration& configuration = store;
    EXPECT_TRUE(configuration.parameterDefined("name"));
    EXPECT_FALSE(configuration.parameterDefined("absent"));
}

TEST(ROConfiguration, GetsAParameterOfExactlyTheType)
{
    int iValue = 0;
    EXPECT_TRUE(storeOf(7).getIntParameter("name", iValue));
    EXPECT_EQ(iValue, 7);

    bool bValue = false;
    EXPECT_TRUE(storeOf(true).getBoolParameter("name", bValue));
    EXPECT_TRUE(bValue);
    EXPECT_TRUE(storeOf(false).getBoolParameter("name", bValue));
    EXPECT_FALSE(bValue);

    std::string strValue;
    EXPECT_TRUE(storeOf("text").getStringParameter("name", strValue));
    EXPECT_EQ(strValue, "text");

    float fValue = 0;
    EXPECT_TRUE(storeOf(2.5F).getFloatParameter("name", fValue));
    EXPECT_EQ(fValue, 2.5F);
}

TEST(ROConfiguration, KeepsTheOutputForAParameterOfAnotherType)
{
    const CapturedLog log;
    int iValue = 5;
    EXPECT_FALSE(storeOf(7.0F).getIntParameter("name", iValue));
    EXPECT_FALSE(storeOf(7L).getIntParameter("name", iValue));
    EXPECT_FALSE(storeOf("7").getIntParameter("name", iValue));
    EXPECT_EQ(iValue, 5);

    std::string strValue = "former";
    EXPECT_FALSE(storeOf(7).getStringParameter("name", strValue));
    EXPECT_EQ(strValue, "former");

    float fValue = 5;
    EXPECT_FALSE(storeOf(7).getFloatParameter("name", fValue));
    EXPECT_EQ(fValue, 5.0F);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ROConfiguration, KeepsTheOutputForAnAbsentParameter)
{
    const OneParameterStore store;
    int iValue = 5;
    EXPECT_FALSE(store.getIntParameter("absent", iValue));
    EXPECT_EQ(iValue, 5);

    std::string strValue = "former";
    EXPECT_FALSE(store.getStringParameter("absent", strValue));
    EXPECT_EQ(strValue, "former");

    float fValue = 5;
    EXPECT_FALSE(store.getFloatParameter("absent", fValue));
    EXPECT_EQ(fValue, 5.0F);
}

TEST(ROConfiguration, ClearsABoolOutputForAnAbsentParameterAndForOneOfAnotherType)
{
    const CapturedLog log;
    bool bValue = true;
    EXPECT_FALSE(OneParameterStore().getBoolParameter("absent", bValue));
    EXPECT_FALSE(bValue);

    bValue = true;
    EXPECT_FALSE(storeOf(1).getBoolParameter("name", bValue));
    EXPECT_FALSE(bValue);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ROConfiguration, VirtualOperationsStandInTheirOrder)
{
    // The two slots before it are the destructor's.
    EXPECT_EQ(slotOf(&ROConfiguration::getParameter), 2U);
    EXPECT_EQ(slotOf(&ROConfiguration::parameterDefined), 3U);
    EXPECT_EQ(slotOf(&ROConfiguration::getIntParameter), 4U);
    EXPECT_EQ(slotOf(&ROConfiguration::getBoolParameter), 5U);
    EXPECT_EQ(slotOf(&ROConfiguration::getStringParameter), 6U);
    EXPECT_EQ(slotOf(&ROConfiguration::getFloatParameter), 7U);
}

TEST(Configuration, VirtualOperationsFollowThoseOfTheReadInterface)
{
    EXPECT_EQ(slotOf(&Configuration::setParameter), 8U);
    EXPECT_EQ(slotOf(&Configuration::setIntParameter), 9U);
    EXPECT_EQ(slotOf(&Configuration::setBoolParameter), 10U);
    EXPECT_EQ(slotOf(&Configuration::setStringParameter), 11U);
    EXPECT_EQ(slotOf(&Configuration::setFloatParameter), 12U);
}

TEST(Configuration, SetsAParameterOfEachType)
{
    OneParameterStore store;
    EXPECT_TRUE(store.setIntParameter("int", -7));
    EXPECT_EQ(store.m_strLastName, "int");
    EXPECT_EQ(static_cast<int>(store.m_value), -7);

    EXPECT_TRUE(store.setBoolParameter("bool", true));
    EXPECT_EQ(store.m_strLastName, "bool");
    EXPECT_TRUE(static_cast<bool>(store.m_value));

    EXPECT_TRUE(store.setStringParameter("string", "text"));
    EXPECT_EQ(store.m_strLastName, "string");
    EXPECT_STREQ(static_cast<const char*>(store.m_value), "text");

    EXPECT_TRUE(store.setFloatParameter("float", 2.5F));
    EXPECT_EQ(store.m_strLastName, "float");
    EXPECT_EQ(static_cast<float>(store.m_value), 2.5F);
}

TEST(Configuration, ReportsThatTheStoreRefuses)
{
    OneParameterStore store;
    store.m_bAccepting = false;
    EXPECT_FALSE(store.setIntParameter("name", 7));
    EXPECT_FALSE(store.setBoolParameter("name", true));
    EXPECT_FALSE(store.setStringParameter("name", "text"));
    EXPECT_FALSE(store.setFloatParameter("name", 2.5F));
}

TEST(Configuration, HasALoggerOfItsOwnFromTheLoadOn)
{
    EXPECT_TRUE(log4cplus::Logger::exists("keswardin.infra.Configuration"));
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefs.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/test/ParamDefsSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

ParameterRow deprecatedRow(const char* in_szName, const char* in_szDescription,
                           const char* in_szDefault = nullptr)
{
    return {in_szName, INT_TYPE, in_szDefault, false, true, in_szDescription};
}

/// An empty configuration that records the names that it is asked for.
class AskedConfiguration : public ROConfiguration
{
  public:
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        m_names.emplace_back(in_szParamName);
        out_value = ParameterValue();
    }

    mutable std::vector<std::string> m_names;
};

} // namespace

// Deprecated parameters

TEST(ParamDefs, WarnsOfEachDeprecatedParameterThatAConfigurationHas)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.sip.transport", "tcp");
    configuration.setIntParameter("keswardin.sip.userAgentPort", 5060);
    configuration.setStringParameter("keswardin.sip.userAgentIPAddress", "10.0.0.1");
    configuration.setStringParameter("keswardin.media.audioFormat", "mulaw");
    configuration.setBoolParameter("keswardin.b2bua.doDlgcCPD", false);
    configuration.setStringParameter("keswardin.run.mode", "production");
    EXPECT_TRUE(ParamDefs().warnOnDeprecated(configuration));
    EXPECT_THAT(
        log.lines(),
        UnorderedElementsAre(
            warnLine(s_szLogger, "Parameter keswardin.sip.transport is deprecated. "
                                 "Use parameter sip.userAgent.IPAddress"),
            warnLine(s_szLogger, "Parameter keswardin.sip.userAgentPort is deprecated. "
                                 "Use parameter sip.userAgent.IPAddress"),
            warnLine(s_szLogger, "Parameter keswardin.sip.userAgentIPAddress is deprecated. "
                                 "Use parameter sip.userAgent.IPAddress"),
            warnLine(s_szLogger, "Parameter keswardin.media.audioFormat is deprecated. "
                                 "Use parameter rtp.encodingList"),
            warnLine(s_szLogger,
                     "Parameter keswardin.b2bua.doDlgcCPD is deprecated. NO LONGER SUPPORTED! When "
                     "set to true, the B2BUA will perform Call Progress Analysis (CPA) on audio "
                     "received from the callee. Set to false if you want the CPA to be performed "
                     "in the Velmora Gateway.")));
}

TEST(ParamDefs, WarnsOfADeprecatedParameterOfTheWrongTypeToo)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("old", "text");
    EXPECT_TRUE(tableOf({deprecatedRow("old", "Use new.")}).warnOnDeprecated(configuration));
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "Parameter old is deprecated. Use new.")));
}

TEST(ParamDefs, HasNoWarningForAnEmptyConfiguration)
{
    const CapturedLog log;
    EXPECT_FALSE(ParamDefs().warnOnDeprecated(ParameterHashMap()));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, HasNoWarningForParametersThatAreNotDeprecatedOrNotDefined)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.run.mode", "production");
    configuration.setStringParameter("keswardin.unknown", "text");
    configuration.setParameter("keswardin.sip.transport", ParameterValue());
    EXPECT_FALSE(ParamDefs().warnOnDeprecated(configuration));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, ReportsDeprecatedParametersAlsoWhereWarningsAreOff)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    ParameterHashMap configuration;
    configuration.setIntParameter("old", 1);
    EXPECT_TRUE(tableOf({deprecatedRow("old", "Use new.")}).warnOnDeprecated(configuration));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, AsksAConfigurationForDeprecatedParametersOnly)
{
    const AskedConfiguration configuration;
    const ParamDefs defs =
        tableOf({row("a"), deprecatedRow("b", "Use a."), row("c"), deprecatedRow("d", "Use c.")});
    EXPECT_FALSE(defs.warnOnDeprecated(configuration));
    EXPECT_THAT(configuration.m_names, ElementsAre("b", "d"));
}

// Defaults

TEST(ParamDefs, AddsTheDefaultsThatAConfigurationDoesNotHave)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    const ParamDefs defs =
        tableOf({row("string", STRING_TYPE, "text"), row("int", INT_TYPE, "60"),
                 row("bool", BOOL_TYPE, "true"), row("float", FLOAT_TYPE, "90.0"), row("none"),
                 row("empty", STRING_TYPE, "")});
    defs.addDefaultsToConfig(configuration, false);
    EXPECT_EQ(5U, configuration.size());
    EXPECT_EQ("type=STRING value=text", dumped(configuration["string"]));
    EXPECT_EQ("type=INT value=60", dumped(configuration["int"]));
    EXPECT_EQ("type=BOOL value=true", dumped(configuration["bool"]));
    EXPECT_EQ("type=FLOAT value=90", dumped(configuration["float"]));
    EXPECT_EQ("type=STRING value=", dumped(configuration["empty"]));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, AddsADefaultForAnUndefinedValue)
{
    ParameterHashMap configuration;
    configuration.setParameter("a", ParameterValue());
    tableOf({row("a", INT_TYPE, "7")}).addDefaultsToConfig(configuration, false);
    EXPECT_EQ("type=INT value=7", dumped(configuration["a"]));
}

TEST(ParamDefs, AddsNothingToNamesThatAreOnlyOnTheWayToOthers)
{
    ParameterHashMap configuration;
    tableOf({row("a.b", INT_TYPE, "7")}).addDefaultsToConfig(configuration, true);
    EXPECT_EQ(1U, configuration.size());
    EXPECT_TRUE(configuration.parameterDefined("a.b"));
}

TEST(ParamDefs, LeavesValuesOfTheDeclaredTypeAsTheyAre)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.run.mode", "development");
    configuration.setIntParameter("keswardin.exitTimeoutSec", 3);
    ParamDefs().addDefaultsToConfig(configuration, false);
    EXPECT_EQ("type=STRING value=development", dumped(configuration["keswardin.run.mode"]));
    EXPECT_EQ("type=INT value=3", dumped(configuration["keswardin.exitTimeoutSec"]));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ParamDefs, LeavesAValueOfAnotherTypeWithAWarning)
{
    const CapturedLog log;
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.exitTimeoutSec", "soon");
    configuration.setIntParameter("keswardin.system.cpu.monitor.setAlarmThreshold", 90);
    ParamDefs().addDefaultsToConfig(configuration, false);
    EXPECT_EQ("type=STRING value=soon", dumped(configuration["keswardin.exitTimeoutSec"]));
    EXPECT_EQ("type=INT value=90",
              dumped(configuration["keswardin.system.cpu.monitor.setAlarmThreshold"]))
        << "nothing is converted here";
    EXPECT_THAT(
        log.lines(),
        UnorderedElementsAre(
            warnLine(s_szLogger, "ParamDefs::addDefaultsToConfig : parameter "
                                 "keswardin.exitTimeoutSec with value soon should be of type INT, "
                                 "not STRING"),
            warnLine(s_szLogger,
                     "ParamDefs::addDefaultsToConfig : parameter "
                     "keswardin.system.cpu.monitor.setAlarmThreshold with value 90 should be of "
                     "type FLOAT, not INT")));
}

TEST(ParamDefs, AddsDeprecatedDefaultsOnlyWhereAskedFor)
{
    const ParamDefs defs;
    ParameterHashMap without;
    defs.addDefaultsToConfig(without, false);
    EXPECT_FALSE(without.parameterDefined("keswardin.sip.transport"));
    EXPECT_FALSE(without.parameterDefined("keswardin.b2bua.doDlgcCPD"));
    EXPECT_EQ(169U, without.size());

    ParameterHashMap with;
    defs.addDefaultsToConfig(with, true);
    EXPECT_EQ("type=STRING value=udp", dumped(with["keswardin.sip.transport"]));
    EXPECT_EQ("type=BOOL value=true", dumped(with["keswardin.b2bua.doDlgcCPD"]));
    EXPECT_EQ(171U, with.size());
}

TEST(ParamDefs, WarnsOfWrongTypesOfDeprecatedParametersOnlyWhereAskedFor)
{
    const ParamDefs defs = tableOf({deprecatedRow("old", "Use new.", "7")});
    ParameterHashMap configuration;
    configuration.setBoolParameter("old", true);
    const CapturedLog log;
    defs.addDefaultsToConfig(configuration, false);
    EXPECT_THAT(log.lines(), IsEmpty());
    defs.addDefaultsToConfig(configuration, true);
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger,
                                     "ParamDefs::addDefaultsToConfig : parameter old with value "
                                     "true should be of type INT, not BOOL")));
    EXPECT_EQ("type=BOOL value=true", dumped(configuration["old"]));
}

} // namespace Velmora::Test

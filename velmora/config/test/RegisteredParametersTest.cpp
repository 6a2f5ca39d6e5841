// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/RegisteredParameters.h"

#include "velmora/config/ParamDefs.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/test/RegisteredParametersSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

LogLine warning(const std::string& in_strText)
{
    return warnLine("keswardin.infra.ParameterInfo", in_strText);
}

template <class T>
ParameterValue valueOf(T in_value)
{
    ParameterValue value;
    value = in_value;
    return value;
}

/// Returns what the table of the process knows of a name.
std::string knownOf(const char* in_szName)
{
    ParameterInfo info;
    EXPECT_TRUE(ParameterInfoDB::getInstance().retrieve(in_szName, info)) << in_szName;
    std::ostringstream text;
    text << info;
    ParameterBounds bounds;
    if (ParameterInfoDB::retrieveBounds(in_szName, bounds))
        text << ' ' << bounds;
    return text.str();
}

/// Expects that the row is refused with one log line, and that nothing of it is registered.
void expectRefusal(const ProgramParameter& in_row, const std::string& in_strReason)
{
    const CapturedLog log;
    EXPECT_FALSE(registerRows({in_row}));
    const std::string strName = in_row.szName == nullptr ? "" : in_row.szName;
    EXPECT_THAT(log.lines(),
                ElementsAre(error("cannot register parameter " + strName + ": " + in_strReason)));
    EXPECT_FALSE(isKnown(strName.c_str()) && strName.find("keswardin") == std::string::npos);
    EXPECT_EQ(s_uiRowsOfLibrary, namesMatching("").size());
}

} // namespace

// The effect of a row

TEST(RegisteredParameters, AreKnownWithAllThatTheirRowsSay)
{
    const CapturedLog log;
    EXPECT_TRUE(registerRows({s_port, s_load, s_realm}));
    EXPECT_EQ("type=INT default-value=8090 run-time-settable=false deprecated=false "
              "description=\"The port on which the monitor serves.\" from 1 to 65535",
              knownOf("monitor.port"));
    EXPECT_EQ("type=FLOAT default-value=0.5 run-time-settable=true deprecated=false "
              "description=\"\" at most 1",
              knownOf("monitor.load"));
    EXPECT_EQ("type=STRING default-value=UNDEF run-time-settable=false deprecated=false "
              "description=\"\"",
              knownOf("monitor.realm"));
    EXPECT_EQ(ParameterValue::FLOAT_TYPE,
              ParameterInfoDB::getInstance().retrieveType("monitor.load"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RegisteredParameters, LeaveTheLibrarysOwnAsTheyAre)
{
    const std::vector<std::string> before = namesMatching("");
    ASSERT_EQ(s_uiRowsOfLibrary, before.size());
    const std::string strKnownBefore = knownOf("keswardin.run.mode");
    registerRows({s_port});
    std::vector<std::string> after = namesMatching("");
    ASSERT_EQ(s_uiRowsOfLibrary + 1, after.size());
    after.pop_back();
    EXPECT_EQ(before, after);
    EXPECT_EQ(strKnownBefore, knownOf("keswardin.run.mode"));
}

TEST(RegisteredParameters, AreInTheTableOfTheProcessAlone)
{
    registerRows({s_port});
    ParameterInfo info;
    EXPECT_FALSE(ParamDefs().retrieve("monitor.port", info));
}

TEST(RegisteredParameters, AreListedBehindTheOthersInTheOrderOfRegistrations)
{
    registerRows({{.szName = "z.first", .type = ParameterValue::INT_TYPE}});
    registerRows({{.szName = "a.mode", .type = ParameterValue::INT_TYPE}});
    EXPECT_THAT(namesMatching("^(keswardin.run|[az])\\."),
                ElementsAre("keswardin.run.mode", "z.first", "a.mode"));
}

TEST(RegisteredParameters, KeepNothingOfTheRows)
{
    std::string strName = "monitor.name";
    std::string strDefault = "default";
    std::string strDescription = "described";
    registerRows({{.szName = strName.c_str(),
                   .type = ParameterValue::STRING_TYPE,
                   .szDefault = strDefault.c_str(),
                   .szDescription = strDescription.c_str()}});
    for (std::string* const pText : {&strName, &strDefault, &strDescription})
        pText->assign(pText->size(), 'x');
    EXPECT_EQ("type=STRING default-value=default run-time-settable=false deprecated=false "
              "description=\"described\"",
              knownOf("monitor.name"));
}

TEST(RegisteredParameters, AreSuggestedForWrongNames)
{
    registerRows({s_port, s_realm});
    EXPECT_EQ("monitor.port", closest("monitor.prot"));
    EXPECT_EQ("monitor.realm", closest("monitr.realm"));
    EXPECT_EQ("keswardin.run.mode", closest("keswardin.run.mods"));
}

TEST(RegisteredParameters, GiveWayToTheLibrarysOwnThatAreEquallyClose)
{
    registerRows({{.szName = "keswardjn.run.mode", .type = ParameterValue::INT_TYPE}});
    EXPECT_EQ("keswardin.run.mode", closest("keswardxn.run.mode"));
}

TEST(RegisteredParameters, GiveTheirDefaultsToAConfiguration)
{
    registerRows({s_port, s_load, s_realm});
    ParameterHashMap configuration;
    configuration.setFloatParameter("monitor.load", 0.25F);
    ParameterInfoDB::getInstance().addDefaultsToConfig(configuration, false);
    EXPECT_EQ(8090, intOf(configuration, "monitor.port"));
    float fLoad = 0;
    EXPECT_TRUE(configuration.getFloatParameter("monitor.load", fLoad));
    EXPECT_EQ(0.25F, fLoad);
    EXPECT_FALSE(configuration.parameterDefined("monitor.realm"));
}

TEST(RegisteredParameters, WarnOfValuesThatAConfigurationHasOutOfBoundsWhereDefaultsAreAdded)
{
    registerRows({s_port});
    ParameterHashMap configuration;
    configuration.setIntParameter("monitor.port", 70000);
    const CapturedLog log;
    ParameterInfoDB::getInstance().addDefaultsToConfig(configuration, false);
    EXPECT_EQ(70000, intOf(configuration, "monitor.port"));
    EXPECT_THAT(log.lines(),
                ElementsAre(warning("ParamDefs::addDefaultsToConfig : parameter monitor.port with "
                                    "value 70000 should be from 1 to 65535")));
}

TEST(RegisteredParameters, TakeValuesByTypeAndBounds)
{
    registerRows({s_port, s_load, s_realm});
    const ParameterInfoDB& table = ParameterInfoDB::getInstance();
    const CapturedLog log;
    ParameterValue value = valueOf(65535);
    EXPECT_TRUE(table.validateParamValue("monitor.port", value));
    value = 1;
    EXPECT_TRUE(table.validateParamValue("monitor.load", value));
    EXPECT_EQ(ParameterValue::FLOAT_TYPE, value.getType());
    value = 7;
    EXPECT_TRUE(table.validateParamValue("monitor.realm", value));
    EXPECT_EQ(ParameterValue::STRING_TYPE, value.getType());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RegisteredParameters, RefuseValuesOutOfBoundsAndLeaveThemAsTheyAre)
{
    registerRows({s_port, s_load});
    const ParameterInfoDB& table = ParameterInfoDB::getInstance();
    const CapturedLog log;
    ParameterValue port = valueOf(0);
    EXPECT_FALSE(table.validateParamValue("monitor.port", port));
    EXPECT_EQ(valueOf(0), port);
    ParameterValue load = valueOf(2);
    EXPECT_FALSE(table.validateParamValue("monitor.load", load));
    EXPECT_EQ(valueOf(2), load) << "it became a float";
    load = 1.5F;
    EXPECT_FALSE(table.validateParamValue("monitor.load", load));
    port = "8090";
    EXPECT_FALSE(table.validateParamValue("monitor.port", port));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(warning("Parameter monitor.port has value 0 but should be from 1 to 65535"),
                    warning("Parameter monitor.load has value 2 but should be at most 1"),
                    warning("Parameter monitor.load has value 1.5 but should be at most 1"),
                    warning("Parameter monitor.port has type STRING but should be INT")));
}

TEST(RegisteredParameters, HaveTheBoundsThatTheirRowsSay)
{
    registerRows({s_port, s_realm});
    ParameterBounds bounds;
    EXPECT_TRUE(ParameterInfoDB::retrieveBounds("monitor.port", bounds));
    EXPECT_EQ(valueOf(1), bounds.m_lowest);
    EXPECT_EQ(valueOf(65535), bounds.m_highest);
    for (const char* const szName : {"monitor.realm", "keswardin.exitTimeoutSec", "nobody", ""})
    {
        bounds.m_lowest = 1;
        EXPECT_FALSE(ParameterInfoDB::retrieveBounds(szName, bounds)) << szName;
        EXPECT_FALSE(bounds.defined()) << szName;
    }
}

// Rows that are accepted

TEST(RegisteredParameters, MayBeNoneAtAll)
{
    EXPECT_TRUE(registerRows({}));
    EXPECT_EQ(s_uiRowsOfLibrary, namesMatching("").size());
}

TEST(RegisteredParameters, MayHaveANameThatBeginsAnotherOne)
{
    constexpr auto type = ParameterValue::INT_TYPE;
    EXPECT_TRUE(registerRows({{.szName = "a.b", .type = type}, {.szName = "a.b.c", .type = type}}));
    EXPECT_TRUE(registerRows({{.szName = "a", .type = type}, {.szName = "d.e.f", .type = type}}));
    EXPECT_TRUE(registerRows({{.szName = "d.e", .type = type}}));
    EXPECT_THAT(namesMatching("^[ad]"),
                testing::UnorderedElementsAre("a", "a.b", "a.b.c", "d.e", "d.e.f"));
    EXPECT_FALSE(isKnown("d"));
}

TEST(RegisteredParameters, MayHaveANameThatOnlyBeginsLikeTheLibrarys)
{
    EXPECT_TRUE(registerRows({{.szName = "keswardinx.a", .type = ParameterValue::INT_TYPE},
                              {.szName = "log4cplus2.a", .type = ParameterValue::INT_TYPE}}));
    EXPECT_TRUE(isKnown("keswardinx.a"));
    EXPECT_TRUE(isKnown("log4cplus2.a"));
}

TEST(RegisteredParameters, MayBeRegisteredAgainByTheSameRow)
{
    const CapturedLog log;
    EXPECT_TRUE(registerRows({s_port, s_port, s_realm, s_load}));
    EXPECT_TRUE(registerRows({s_load, s_realm, s_port}));
    EXPECT_EQ(s_uiRowsOfLibrary + 3, namesMatching("").size());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RegisteredParameters, MayHaveADefaultOnTheirBounds)
{
    ProgramParameter row = s_port;
    row.szDefault = "65535";
    EXPECT_TRUE(registerRows({row}));
}

TEST(RegisteredParameters, MayHaveOneValueOnly)
{
    ProgramParameter row = s_port;
    row.szLowest = row.szHighest = row.szDefault;
    EXPECT_TRUE(registerRows({row}));
}

// Rows that are refused

TEST(RegisteredParameters, AreRefusedWithoutAName)
{
    const std::string strReason = "it has no name; write one such as \"monitor.port\"";
    expectRefusal({.szName = nullptr, .type = ParameterValue::INT_TYPE}, strReason);
    expectRefusal({.szName = "", .type = ParameterValue::INT_TYPE}, strReason);
}

TEST(RegisteredParameters, AreRefusedWithAnEmptyComponent)
{
    for (const char* const szName : {".", ".a", "a.", "a..b"})
        expectRefusal({.szName = szName, .type = ParameterValue::INT_TYPE},
                      "its name has an empty component; write one dot between two components");
}

TEST(RegisteredParameters, AreRefusedWithANameThatNoConfigurationHas)
{
    for (const char* const szName :
         {"a b", "a=b", "a#", "${a}", "a.{b", "a}", "\ta", "a\n", "a\x7F"})
        expectRefusal({.szName = szName, .type = ParameterValue::INT_TYPE},
                      "its name has a blank or one of \"=#${}\", which no name in a configuration "
                      "has; leave that out");
}

TEST(RegisteredParameters, AreRefusedAmongTheLibrarysOwn)
{
    for (const char* const szName : {"keswardin", "keswardin.own", "keswardin.run.mode"})
        expectRefusal({.szName = szName, .type = ParameterValue::STRING_TYPE},
                      "the parameters below \"keswardin\" are the library's; begin the name with "
                      "another component");
}

TEST(RegisteredParameters, AreRefusedWhereLoggingIsConfigured)
{
    for (const char* const szName : {"log4cplus", "log4cplus.rootLogger"})
        expectRefusal({.szName = szName, .type = ParameterValue::STRING_TYPE},
                      "logging is configured below \"log4cplus\"; begin the name with another "
                      "component");
}

TEST(RegisteredParameters, AreRefusedWithoutATypeOfParameters)
{
    for (const auto type :
         {ParameterValue::UNDEF_TYPE, ParameterValue::LONG_TYPE, ParameterValue::Type(77)})
        expectRefusal({.szName = "a.b", .type = type},
                      "its type is none of a parameter; write STRING, INT, BOOL or FLOAT");
}

TEST(RegisteredParameters, AreRefusedWithADefaultOfAnotherType)
{
    const auto expect =
        [](ParameterValue::Type in_type, const char* in_szDefault, const std::string& in_strReason)
    { expectRefusal({.szName = "a.b", .type = in_type, .szDefault = in_szDefault}, in_strReason); };
    expect(ParameterValue::FLOAT_TYPE, "90",
           "its default \"90\" reads as INT, not as FLOAT; write a text that reads as FLOAT, such "
           "as \"90.0\"");
    expect(ParameterValue::STRING_TYPE, "true",
           "its default \"true\" reads as BOOL, not as STRING; write a text that reads as STRING, "
           "such as \"text\"");
    expect(ParameterValue::BOOL_TYPE, "yes",
           "its default \"yes\" reads as STRING, not as BOOL; write a text that reads as BOOL, "
           "such as \"true\"");
    expect(ParameterValue::INT_TYPE, "1.5",
           "its default \"1.5\" reads as FLOAT, not as INT; write a text that reads as INT, such "
           "as \"90\"");
    expect(ParameterValue::INT_TYPE, "",
           "its default \"\" reads as STRING, not as INT; write a text that reads as INT, such "
           "as \"90\"");
}

TEST(RegisteredParameters, AreRefusedWithABoundOfAnotherType)
{
    ProgramParameter lowest = s_load;
    lowest.szLowest = "0";
    expectRefusal(lowest, "its lowest value \"0\" reads as INT, not as FLOAT; write a text that "
                          "reads as FLOAT, such as \"90.0\"");
    ProgramParameter highest = s_port;
    highest.szHighest = "many";
    expectRefusal(highest, "its highest value \"many\" reads as STRING, not as INT; write a text "
                           "that reads as INT, such as \"90\"");
}

TEST(RegisteredParameters, AreRefusedWithBoundsWhereTheTypeHasNone)
{
    expectRefusal({.szName = "a.b", .type = ParameterValue::BOOL_TYPE, .szLowest = "false"},
                  "a BOOL has no bounds; leave them out");
    expectRefusal({.szName = "a.b", .type = ParameterValue::STRING_TYPE, .szHighest = "z"},
                  "a STRING has no bounds; leave them out");
}

TEST(RegisteredParameters, AreRefusedWithBoundsTheWrongWayRound)
{
    ProgramParameter row = s_port;
    row.szLowest = "65536";
    row.szDefault = nullptr;
    expectRefusal(row, "its lowest value 65536 is above its highest value 65535; exchange them");
}

TEST(RegisteredParameters, AreRefusedWithADefaultOutOfBounds)
{
    ProgramParameter row = s_port;
    row.szDefault = "0";
    expectRefusal(row, "its default 0 is out of bounds; write one that is from 1 to 65535");
    row = s_load;
    row.szDefault = "1.5";
    expectRefusal(row, "its default 1.5 is out of bounds; write one that is at most 1");
}

TEST(RegisteredParameters, AreRefusedWithTheNameOfADifferentOne)
{
    EXPECT_TRUE(registerRows({s_port, s_load}));
    const std::string strPort = knownOf("monitor.port");
    const auto differing = [](auto in_change)
    {
        ProgramParameter row = s_port;
        in_change(row);
        return row;
    };
    const Rows rows = {differing([](auto& row) { row.szDefault = "8091"; }),
                       differing([](auto& row) { row.szDefault = nullptr; }),
                       differing([](auto& row) { row.szLowest = "2"; }),
                       differing([](auto& row) { row.szHighest = nullptr; }),
                       differing([](auto& row) { row.bRunTimeSettable = true; }),
                       differing([](auto& row) { row.szDescription = "Another one."; }),
                       {.szName = "monitor.port", .type = ParameterValue::STRING_TYPE}};
    for (const ProgramParameter& row : rows)
    {
        const CapturedLog log;
        EXPECT_FALSE(registerRows({row}));
        EXPECT_THAT(
            log.lines(),
            ElementsAre(error(
                "cannot register parameter monitor.port: that name is registered already (type=INT "
                "default-value=8090 run-time-settable=false deprecated=false description=\"The "
                "port on which the monitor serves.\", from 1 to 65535); register the same, or "
                "choose another name")));
    }
    EXPECT_EQ(strPort, knownOf("monitor.port"));
    EXPECT_EQ(s_uiRowsOfLibrary + 2, namesMatching("").size());
}

TEST(RegisteredParameters, AreRefusedWithTheNameOfADifferentOneOfTheSameArray)
{
    const CapturedLog log;
    EXPECT_FALSE(registerRows(
        {s_realm, {.szName = "monitor.realm", .type = ParameterValue::BOOL_TYPE}, s_port}));
    EXPECT_THAT(log.lines(), ElementsAre(error(
                                 "cannot register parameter monitor.realm: that name is registered "
                                 "already (type=STRING default-value=UNDEF run-time-settable=false "
                                 "deprecated=false description=\"\"); register the same, or choose "
                                 "another name")));
    EXPECT_EQ(ParameterValue::STRING_TYPE,
              ParameterInfoDB::getInstance().retrieveType("monitor.realm"));
    EXPECT_TRUE(isKnown("monitor.port"));
}

TEST(RegisteredParameters, AreTakenWhereOthersOfTheirArrayAreRefused)
{
    const CapturedLog log;
    EXPECT_FALSE(registerRows({{.szName = "a..b", .type = ParameterValue::INT_TYPE},
                               s_port,
                               {.szName = "", .type = ParameterValue::INT_TYPE}}));
    EXPECT_EQ(2U, log.lines().size());
    EXPECT_TRUE(isKnown("monitor.port"));
}

} // namespace Velmora::Test

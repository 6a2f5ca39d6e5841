// SPDX-License-Identifier: BSD-2-Clause

#include "tests/application/StartedProgram.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

const std::string s_strPort =
    "name=monitor.port type=INT default-value=8090 run-time-settable=false deprecated=false "
    "description=\"The port on which the monitor serves.\" bounds=\"from 1 to 65535\"";
const std::string s_strRealm = "name=monitor.realm type=STRING default-value=UNDEF "
                               "run-time-settable=false deprecated=false description=\"\"";
const std::string s_strLevel = "name=program.level type=INT default-value=3 run-time-settable=true "
                               "deprecated=false description=\"\" bounds=\"at least 0\"";

class OwnParameters : public testing::Test
{
  protected:
    /// Starts the program and returns the lines of its output.
    static Texts start(const Texts& in_deeds, const Texts& in_arguments, int in_iExitCode = 0)
    {
        const HelperResult result =
            startProgram(VELMORA_HELPER_APPLICATION_OWN_PARAMETERS, in_deeds, in_arguments);
        EXPECT_EQ(in_iExitCode, result.iExitCode);
        EXPECT_EQ(0, result.iSignal);
        EXPECT_EQ("", result.strErrors);
        return outputLines(result);
    }

    /// Writes the text to a file and returns the options that load it.
    [[nodiscard]] Texts configuration(const std::string& in_strText) const
    {
        return {"--global-config", m_directory.write("test.cfg", s_strLogging + in_strText)};
    }

    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(OwnParameters, AreListedWithThoseOfTheLibrary)
{
    EXPECT_THAT(start({}, {"--get-param-info", "^monitor|^program|run.mode"}),
                ElementsAre("INFO - Parameter information for regexp ^monitor|^program|run.mode : ",
                            "name=keswardin.run.mode type=STRING default-value=production "
                            "run-time-settable=true deprecated=false description=\"The mode in "
                            "which the application runs : production|development. Currently "
                            "affects logging only\"",
                            s_strPort, s_strRealm, s_strLevel, "monitor.port: 8090",
                            "program.level: 3"));
}

TEST_F(OwnParameters, HaveTheValuesOfTheConfiguration)
{
    const Texts lines = start({}, configuration("monitor.port=80\nprogram.level=0\n"));
    EXPECT_THAT(lines, ElementsAre(HasSubstr("Logger successfully configured"),
                                   HasSubstr(", unknown names = 0, wrong types = 0, redefinitions "
                                             "= 0, "),
                                   "monitor.port: 80", "program.level: 0"));
}

TEST_F(OwnParameters, KeepTheDefaultWhereTheConfigurationIsOutOfBounds)
{
    const Texts lines = start({}, configuration("monitor.port=70000\nprogram.level=-1\n"));
    const std::string strFile = m_directory.file("test.cfg");
    const Texts warnings{
        "Parameter monitor.port with value 70000 is out of bounds. Should be from 1 "
        "to 65535. The line is skipped",
        strFile + ":6 : write a value that is from 1 to 65535 instead of \"70000\"",
        "Parameter program.level with value -1 is out of bounds. Should be at least "
        "0. The line is skipped",
        strFile + ":7 : write a value that is at least 0 instead of \"-1\""};
    const auto configured = [&warnings](std::size_t in_uiLine)
    { return "configured WARN keswardin.infra.ParameterTrie: " + warnings[in_uiLine]; };
    // The log that is configured gets the warnings, too, which were logged before it existed.
    EXPECT_THAT(lines,
                ElementsAre("WARN - " + warnings[0], "WARN - " + warnings[1],
                            "WARN - " + warnings[2], "WARN - " + warnings[3],
                            HasSubstr("Logger successfully configured"), configured(0),
                            configured(1), configured(2), configured(3),
                            HasSubstr(", wrong types = 0, out of bounds = 2, redefinitions = 0, "),
                            "monitor.port: 8090", "program.level: 3"));
}

TEST_F(OwnParameters, AreSuggestedForAMisspeltName)
{
    const Texts lines = start({}, configuration("monitor.prot=80\n"));
    EXPECT_THAT(lines, IsSupersetOf(Texts{
                           "WARN - Unknown parameter : monitor.prot. Closest known parameter : "
                           "monitor.port",
                           "configured WARN keswardin.infra.GlobalConfig: Unknown parameter : "
                           "monitor.prot. Closest known parameter : monitor.port",
                           "monitor.port: 8090"}));
}

TEST_F(OwnParameters, AreSetAtRunTimeAsTheirRowsSay)
{
    const Texts lines = start(
        {"set=program.level=7", "set=program.level=-1", "set=monitor.port=80"}, configuration(""));
    const std::string strRefused = "configured ERROR keswardin.infra.GlobalConfig: failed to set a "
                                   "Global Configuration parameter because ";
    EXPECT_THAT(
        lines,
        IsSupersetOf(Texts{
            "set program.level=7: 1",
            strRefused + "the following value is out of bounds : program.level = -1, should be at "
                         "least 0",
            "set program.level=-1: 0",
            strRefused + "the following parameter can not be set at run-time : monitor.port",
            "set monitor.port=80: 0", "monitor.port: 8090", "program.level: 7"}));
}

TEST_F(OwnParameters, AreRefusedWithOneLineEach)
{
    EXPECT_THAT(start({"wrong"}, {}),
                ElementsAre("ERROR - cannot register parameter keswardin.own: the parameters below "
                            "\"keswardin\" are the library's; begin the name with another "
                            "component",
                            "ERROR - cannot register parameter program.ratio: its default \"90\" "
                            "reads as INT, not as FLOAT; write a text that reads as FLOAT, such "
                            "as \"90.0\"",
                            "wrong: 0", "monitor.port: 8090", "program.level: 3"));
}

TEST_F(OwnParameters, AreRefusedOnceTheProgramIsConfigured)
{
    const std::string strRefused = "ERROR - cannot register parameter program.late: a "
                                   "configuration has been read already; register it when the "
                                   "program is loaded, or in main before initialize";
    EXPECT_THAT(start({"late"}, {}),
                ElementsAre(strRefused, "late: 0", "monitor.port: 8090", "program.level: 3"));
}

TEST_F(OwnParameters, OfAPluginStayWhenThatIsClosed)
{
    EXPECT_THAT(start({std::string("plugin=") + VELMORA_HELPER_APPLICATION_PARAMETER_PLUGIN},
                      {"--get-param-info", "plugin"}),
                ElementsAre("plug-in: 1", "INFO - Parameter information for regexp plugin : ",
                            "name=plugin.greeting type=STRING default-value=hello "
                            "run-time-settable=false deprecated=false description=\"What the "
                            "plug-in says.\"",
                            "monitor.port: 8090", "program.level: 3"));
}

TEST_F(OwnParameters, LeaveNothingBehindWhenTheProgramEnds)
{
    const HelperResult result = startProgram(VELMORA_HELPER_APPLICATION_OWN_PARAMETERS, {},
                                             configuration(""), {{"VELMORA_MEM_ACCOUNTING", "1"}});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(outputLines(result), ElementsAre(HasSubstr("Logger successfully configured"),
                                                 HasSubstr("Start-up complete"),
                                                 "monitor.port: 8090", "program.level: 3"));
}

} // namespace Velmora::Test

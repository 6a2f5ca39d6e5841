// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::HasSubstr;

const std::string s_strConfiguration = "examples/minimal/minimal.cfg";

std::string read(const std::string& in_strPath)
{
    std::ostringstream text;
    text << std::ifstream(in_strPath).rdbuf();
    EXPECT_NE("", text.str()) << in_strPath;
    return text.str();
}

/// Replaces all durations in milliseconds with 1.
std::string withoutTime(const std::string& in_strText)
{
    return std::regex_replace(in_strText, std::regex("time = [0-9]+ ms"), "time = 1 ms");
}

/// Returns the output of the program without a warning that appears on machines whose user may not
/// raise the limit on core files.
std::string outputOf(const HelperResult& in_result)
{
    std::string strOutput;
    for (const std::string& strLine : linesOf(in_result.strOutput))
        if (strLine.find("setrlimit failed") == std::string::npos)
            strOutput += strLine + '\n';
    return strOutput;
}

/// Returns the source of the program without the line that names its licence.
std::string sourceOfProgram()
{
    const std::string strSource = read("examples/minimal/Minimal.cpp");
    const std::string strLicence = "// SPDX-License-Identifier: BSD-2-Clause\n\n";
    EXPECT_EQ(strLicence, strSource.substr(0, strLicence.size()));
    return strSource.substr(strLicence.size());
}

/// The tests run in the root directory of the project, as the README assumes.
class Minimal : public testing::Test
{
  protected:
    void SetUp() override { std::filesystem::current_path(VELMORA_SOURCE_DIRECTORY); }

    const std::string m_strReadme = read(VELMORA_SOURCE_DIRECTORY "/README.md");
};

} // namespace

TEST_F(Minimal, TheReadmeShowsThisVeryProgram)
{
    EXPECT_THAT(m_strReadme, HasSubstr("`examples/minimal/Minimal.cpp`:\n\n```cpp\n" +
                                       sourceOfProgram() + "```\n"));
}

TEST_F(Minimal, TheProgramHasTwentyLinesOfCode)
{
    const std::vector<std::string> lines = linesOf(sourceOfProgram());
    EXPECT_EQ(20, std::count_if(lines.begin(), lines.end(),
                                [](const std::string& in_strLine) { return !in_strLine.empty(); }));
}

TEST_F(Minimal, TheReadmeShowsThisVeryConfiguration)
{
    EXPECT_THAT(m_strReadme, HasSubstr("`" + s_strConfiguration + "`:\n\n```\n" +
                                       read(s_strConfiguration) + "```\n"));
}

TEST_F(Minimal, PrintsWhatTheReadmeShows)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_MINIMAL, {"--global-config", s_strConfiguration});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    EXPECT_EQ(2U, linesOf(outputOf(result)).size());
    EXPECT_THAT(m_strReadme,
                HasSubstr("`build/dev/examples/minimal --global-config " + s_strConfiguration +
                          "` prints\n\n```\n" + withoutTime(outputOf(result)) + "```\n"));
}

TEST_F(Minimal, PrintsTheOptionsForHelp)
{
    const HelperResult result = runHelper(VELMORA_HELPER_MINIMAL, {"--help"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strOutput, HasSubstr("INFO - Usage : minimal [options]\nAllowed options:\n"
                                            "  -h [ --help ]         produce help message\n"));
    EXPECT_EQ("", result.strErrors);
}

TEST_F(Minimal, PrintsWhatIsKnownOfAParameter)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_MINIMAL, {"--get-param-info", "webServicePort"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strOutput,
                HasSubstr("name=keswardin.oam.webServicePort type=INT default-value=8080"));
    EXPECT_EQ("", result.strErrors);
}

TEST_F(Minimal, SaysNothingWithoutAConfiguration)
{
    const HelperResult result = runHelper(VELMORA_HELPER_MINIMAL);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", outputOf(result));
    EXPECT_EQ("", result.strErrors);
}

TEST_F(Minimal, FailsWithAConfigurationThatIsNotThere)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_MINIMAL, {"--global-config", "nowhere.cfg"});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(
        linesOf(outputOf(result)),
        testing::ElementsAre("ERROR - failed to initialize Global Config : unable to open "
                             "nowhere.cfg for reading",
                             "ERROR - cannot open nowhere.cfg: No such file or directory (" +
                                 std::filesystem::current_path().string() + "/nowhere.cfg)",
                             "ERROR - failed to initialize the Global Configuration",
                             "ERROR - Alarm [system.configuration.error] : ALARM_ON"));
}

} // namespace Velmora::Test

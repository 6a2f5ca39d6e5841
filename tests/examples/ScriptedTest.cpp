// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/BackgroundProcess.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/VelmoraTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::HasSubstr;
using testing::Not;

const std::filesystem::path s_example = VELMORA_SOURCE_DIRECTORY "/examples/scripted";

std::string read(const std::filesystem::path& in_path)
{
    std::ostringstream text;
    text << std::ifstream(in_path).rdbuf();
    return text.str();
}

/// Runs the program with the rules of a site, and passes it numbers one by one.
class ScriptedTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_EQ(0, mkfifo(m_directory.file("calls").c_str(), 0600));
        std::ofstream(m_directory.file("scripted.cfg")) << read(s_example / "scripted.cfg");
        m_tree.addModule("rules.py", read(s_example / "rules.py"));
    }

    /// Starts the program, which reads numbers from a pipe.
    void start()
    {
        m_pProgram = std::make_unique<BackgroundProcess>(
            std::vector<std::string>{
                "/bin/sh", "-c", "exec \"$0\" \"$@\" <\"" + m_directory.file("calls") + "\"",
                VELMORA_HELPER_SCRIPTED, "--putenv", "VELMORA=" + m_tree.root(), "--global-config",
                m_directory.file("scripted.cfg")},
            m_directory.file("log"));
        m_calls.open(m_directory.file("calls"));
    }

    void use(const std::string& in_strClass)
    {
        std::ofstream(m_directory.file("scripted.cfg"), std::ios::app)
            << "keswardin.sip.ua.python.appClass=" << in_strClass << '\n';
    }

    /// Passes the program a number and waits for a text in its log.
    void give(unsigned int in_uiCalls, const std::string& in_strText)
    {
        m_calls << in_uiCalls << std::endl;
        waitFor(in_strText);
    }

    void waitFor(const std::string& in_strText)
    {
        EXPECT_TRUE(waitUntil([&] { return log().find(in_strText) != std::string::npos; }))
            << in_strText << " is not in:\n"
            << log();
    }

    [[nodiscard]] std::string log() const { return m_directory.read("log"); }

    void end()
    {
        m_calls.close();
        EXPECT_EQ(0, m_pProgram->waitForEnd()) << log();
    }

    const TemporaryDirectory m_directory;
    const VelmoraTree m_tree;
    std::unique_ptr<BackgroundProcess> m_pProgram;
    std::ofstream m_calls;
};

} // namespace

TEST_F(ScriptedTest, TheRuleOfTheSiteSetsAndClearsItsAlarm)
{
    start();
    give(95, "WARN admin.alarm - Alarm [site.trunk-full] : ALARM_ON\n");
    give(70, "INFO admin.alarm - Alarm [site.trunk-full] : ALARM_OFF\n");
    end();
    EXPECT_THAT(log(), Not(HasSubstr("ERROR")));
}

TEST_F(ScriptedTest, TheReadmeShowsTheLinesOfTheAlarm)
{
    const std::string strReadme = read(s_example / "README.md");
    EXPECT_THAT(strReadme, HasSubstr("WARN admin.alarm - Alarm [site.trunk-full] : ALARM_ON\n"));
    EXPECT_THAT(strReadme, HasSubstr("INFO admin.alarm - Alarm [site.trunk-full] : ALARM_OFF\n"));
}

TEST_F(ScriptedTest, ARuleThatRaisesIsInTheLogAndIsCalledAgain)
{
    m_tree.addModule("house.py", "class Rules:\n"
                                 "    def onActiveCalls(self, calls):\n"
                                 "        if calls == 1: raise ValueError('no rule for one')\n"
                                 "        raise SystemExit(calls)\n");
    use("house.Rules");
    start();
    give(1, "\nValueError: no rule for one\n");
    give(2, "\nSystemExit: 2\n");
    end();
    EXPECT_THAT(log(), HasSubstr("ERROR keswardin.python.EmbeddedInterpreter - Embedded Python "
                                 "Interpreter Exception :\nTraceback (most recent call last):\n"));
}

TEST_F(ScriptedTest, ARuleThatBlocksForASecondLeavesTheProgramRunning)
{
    m_tree.addModule("house.py", "import time\n"
                                 "class Rules:\n"
                                 "    def onActiveCalls(self, calls):\n"
                                 "        if calls == 1:\n"
                                 "            print('rule begins', flush=True)\n"
                                 "            time.sleep(1)\n"
                                 "        else: print('rule saw', calls, flush=True)\n");
    use("house.Rules");
    start();
    give(1, "rule begins\n");
    give(2, "2 active calls\n");
    give(3, "3 active calls\n");
    EXPECT_THAT(log(), Not(HasSubstr("took")));
    waitFor("rule saw 3\n");
    end();
    EXPECT_THAT(log(), HasSubstr("WARN keswardin.scripted.RuleRunner - onActiveCalls(1) took "));
    EXPECT_THAT(log(), Not(HasSubstr("rule saw 2")));
}

TEST_F(ScriptedTest, ARuleThatNeverReturnsDoesNotKeepTheProgramFromItsEnd)
{
    m_tree.addModule("house.py", "import time\n"
                                 "class Rules:\n"
                                 "    def onActiveCalls(self, calls):\n"
                                 "        print('rule begins', flush=True)\n"
                                 "        while True: time.sleep(0.01)\n");
    use("house.Rules");
    start();
    give(1, "rule begins\n");
    end();
    EXPECT_THAT(log(), HasSubstr("WARN keswardin.scripted.RuleRunner - onActiveCalls does not "
                                 "return; the program ends without it\n"));
}

TEST_F(ScriptedTest, WithoutItsRulesTheProgramGoesOn)
{
    m_tree.addModule("house.py",
                     "class Rules:\n    def __init__(self): raise OSError('no door')\n");
    use("house.Rules");
    start();
    give(1, "1 active calls\n");
    end();
    EXPECT_THAT(log(), HasSubstr("\nOSError: no door\n"));
    EXPECT_THAT(log(),
                HasSubstr("ERROR keswardin.scripted - goes on without the site's rules, as no "
                          "house.Rules could be made\n"));
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/ConfigPropertiesModel.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PythonExceptions.h"
#include "tests/support/VelmoraTree.h"
#include "velmora/config/GlobalConfigImpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Field;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr const char* s_szConfigLogger = "keswardin.infra.GlobalConfig";

using Urls = std::vector<std::string>;

/// Returns the source of a model that returns the value of an expression. The expression may use
/// the variable `url`.
std::string modelThatGives(const std::string& in_strExpression)
{
    return "def getPropertyNameValuesForGivenSetsAndHostnames(url):\n"
           "    return " +
           in_strExpression + "\n";
}

/// Loads configurations from URLs. Each test writes the model that answers for them.
class ConfigPropertiesModelTest : public testing::Test
{
  protected:
    void SetUp() override { m_tree.use(); }

    void setModel(const std::string& in_strText) const
    {
        m_tree.addModule("velmora/infra/ConfigPropertiesModel.py", in_strText);
    }

    /// Writes a configuration file and returns its path.
    [[nodiscard]] std::string fileWith(const std::string& in_strText) const
    {
        m_tree.addModule("file.cfg", in_strText);
        return m_tree.root() + "/lib/file.cfg";
    }

    int intOf(const char* in_szName) const
    {
        int iValue = -1;
        m_config.getIntParameter(in_szName, iValue);
        return iValue;
    }

    std::string stringOf(const char* in_szName) const
    {
        std::string strValue;
        m_config.getStringParameter(in_szName, strValue);
        return strValue;
    }

    /// Returns the text of the line of Python's logger, which must be an ERROR. If there is not
    /// exactly one line, returns the number of lines.
    std::string pythonError() const
    {
        const std::vector<LogLine> lines = m_log.linesOf(s_szPythonLogger);
        if (lines.size() != 1)
            return std::to_string(lines.size()) + " lines";
        EXPECT_EQ(errorLine(s_szPythonLogger, lines.front().strText), lines.front());
        return lines.front().strText;
    }

    void expectAssertion(const std::string& in_strPattern) const
    {
        EXPECT_THAT(m_log.linesOf(s_szConfigLogger),
                    Contains(Field(&LogLine::strText, MatchesRegex("Assertion failed \\(" +
                                                                   in_strPattern + "\\) .*"))));
    }

    const VelmoraTree m_tree;
    const CapturedLog m_log{INFO_LOG_LEVEL};
    GlobalConfigImpl m_config;
};

} // namespace

TEST_F(ConfigPropertiesModelTest, TheParametersOfADatabaseAreThoseThatTheModelGivesForTheUrl)
{
    setModel(modelThatGives("[('keswardin.exitTimeoutSec', '11'), ('log4cplus.url', url)]"));
    EXPECT_TRUE(m_config.load(Urls{"db://host/set"}));
    EXPECT_EQ(11, intOf("keswardin.exitTimeoutSec"));
    EXPECT_EQ("db://host/set", stringOf("log4cplus.url"));
    EXPECT_THAT(m_log.linesOf(s_szPythonLogger), IsEmpty());
}

TEST_F(ConfigPropertiesModelTest, AModelIsAskedForEachUrlInTheirOrder)
{
    setModel("asked = []\n" +
             modelThatGives("asked.append(url) or [('log4cplus.urls', ' '.join(asked))]"));
    EXPECT_TRUE(m_config.load(Urls{"db://host/a", "other://host/b"}));
    EXPECT_EQ("db://host/a other://host/b", stringOf("log4cplus.urls"));
}

TEST_F(ConfigPropertiesModelTest, WithoutTheVariableTheLoadFailsAndTheNextUrlIsRead)
{
    unsetenv("VELMORA");
    EXPECT_FALSE(m_config.load(Urls{"db://host/set", fileWith("keswardin.killTimeoutSec=2\n")}));
    EXPECT_EQ(2, intOf("keswardin.killTimeoutSec"));
    EXPECT_EQ("The VELMORA environment variable must be defined to determine the Python sys.path",
              pythonError());
    expectAssertion("Python::EmbeddedInterpreter::getInstance\\(\\)\\. initialize\\(\\)");
}

TEST_F(ConfigPropertiesModelTest, AMissingModelIsOneErrorWithItsTraceback)
{
    m_tree.removeModule("velmora/infra/ConfigPropertiesModel.py");
    EXPECT_FALSE(m_config.load(Urls{"db://host/set"}));
    EXPECT_EQ(
        exceptionText("ModuleNotFoundError: No module named 'velmora.infra.ConfigPropertiesModel'"),
        pythonError());
}

TEST_F(ConfigPropertiesModelTest, AnExceptionOfTheModelIsOneErrorWithItsTraceback)
{
    setModel(modelThatGives("1 // 0"));
    EXPECT_FALSE(m_config.load(Urls{"db://host/set"}));
    EXPECT_THAT(pythonError(),
                MatchesRegex(exceptionText("Traceback (.|\n)*in getPropertyNameValues(.|\n)*\n"
                                           "ZeroDivisionError: .*")));
}

TEST_F(ConfigPropertiesModelTest, AModelThatExitsIsOneErrorAndDoesNotEndTheProcess)
{
    setModel("import sys\n" + modelThatGives("sys.exit(5)"));
    EXPECT_FALSE(m_config.load(Urls{"db://host/set"}));
    EXPECT_THAT(pythonError(), EndsWith("\nSystemExit: 5"));
}

TEST_F(ConfigPropertiesModelTest, WhatIsNoTupleIsAPythonError)
{
    setModel(modelThatGives("['keswardin.exitTimeoutSec=11']"));
    EXPECT_FALSE(m_config.load(Urls{"db://host/set"}));
    EXPECT_EQ(
        exceptionText(
            "TypeError: expected a tuple of a name and a value, got 'keswardin.exitTimeoutSec=11'"),
        pythonError());
}

TEST_F(ConfigPropertiesModelTest, ATupleThatIsNoPairOfStringsIsAnAssertionAndAPythonError)
{
    setModel(modelThatGives("[('keswardin.exitTimeoutSec', 11)]"));
    EXPECT_FALSE(m_config.load(Urls{"db://host/set"}));
    expectAssertion("PyArg_ParseTuple\\(pyNameValue\\.ptr\\(\\), \"ss\", &szParamName, "
                    "&szParamValue\\)");
    EXPECT_EQ(exceptionText("TypeError: argument 2 must be str, not int"), pythonError());
}

TEST_F(ConfigPropertiesModelTest, WhatIsNoListIsAPythonError)
{
    setModel(modelThatGives("None"));
    EXPECT_FALSE(m_config.load(Urls{"db://host/set"}));
    EXPECT_EQ(exceptionText("TypeError: 'NoneType' object is not iterable"), pythonError());
}

TEST_F(ConfigPropertiesModelTest, ADatabaseThatFailsDoesNotKeepTheNextOneFromBeingRead)
{
    setModel(modelThatGives("{'db://host/b': [('keswardin.exitTimeoutSec', '3')]}[url]"));
    EXPECT_FALSE(m_config.load(Urls{"db://host/a", "db://host/b"}));
    EXPECT_EQ(3, intOf("keswardin.exitTimeoutSec"));
    EXPECT_THAT(pythonError(), EndsWith("\nKeyError: 'db://host/a'"));
    EXPECT_THAT(m_log.linesOf(s_szConfigLogger),
                ElementsAre(errorLine(s_szConfigLogger,
                                      "failed to initialize global config from db://host/a")));
}

TEST_F(ConfigPropertiesModelTest, WithoutADatabasePythonIsNotStarted)
{
    EXPECT_TRUE(m_config.load(Urls{fileWith("keswardin.killTimeoutSec=2\n")}));
    EXPECT_EQ(nullptr, std::getenv("PYTHONPATH"));
}

} // namespace Velmora::Test

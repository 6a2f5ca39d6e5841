// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationCheck.h"

#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/ProgramParameter.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextOf.h"

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// Files of random lines.
class RandomFiles
{
  public:
    explicit RandomFiles(const TemporaryDirectory& in_directory) : m_directory(in_directory) {}

    /// Writes one to three files and returns their paths.
    std::vector<std::string> next()
    {
        std::vector<std::string> paths;
        const unsigned int uiFiles = 1 + pick(3);
        for (unsigned int i = 0; i != uiFiles; ++i)
        {
            std::string strText = pick(10) == 0 ? "\xEF\xBB\xBF" : "";
            const unsigned int uiLines = pick(12);
            for (unsigned int j = 0; j != uiLines; ++j)
                strText += line() + (pick(8) == 0 ? "\r\n" : "\n");
            paths.push_back(m_directory.write("f" + std::to_string(i) + ".cfg", strText));
        }
        return paths;
    }

  private:
    unsigned int pick(unsigned int in_uiNumber)
    {
        return static_cast<unsigned int>(m_random() % in_uiNumber);
    }

    template <std::size_t Size>
    std::string of(const std::array<const char*, Size>& in_texts)
    {
        return in_texts[pick(Size)];
    }

    std::string line()
    {
        switch (pick(60))
        {
        case 0:
            return "";
        case 1:
            return "  # a comment";
        case 2:
            return "no parameter";
        case 3:
            return name() + "=$" + value();
        default:
            return name() + (pick(3) == 0 ? " = " : "=") + value();
        }
    }

    std::string name()
    {
        static constexpr std::array<const char*, 15> s_names{
            "a",     "b",      "c",       "a.b",   "a..b", "a.",
            "x",     "y",      "${a}",    "x${b}", "",     "keswardin.exitTimeoutSec",
            "p.int", "p.bool", "p.string"};
        return of(s_names);
    }

    std::string value()
    {
        static constexpr std::array<const char*, 24> s_values{
            "1",           "017",        "08",        "0x1f",     "1.5",
            "true",        "text",       "two words", "",         "${a}",
            "${b}",        "<${x}>",     "${y}!",     "${a.b}",   "${VELMORA_ORACLE}",
            "${p.string}", "${p.int}",   "${nobody}", "${a${b}}", "a=b",
            "=",           "4294967295", "99",        "${a}${x}"};
        return of(s_values);
    }

    const TemporaryDirectory& m_directory;
    std::mt19937 m_random{20261123};
};

template <class Configuration>
std::multiset<std::string> linesOf(const Configuration& in_configuration)
{
    std::multiset<std::string> lines;
    std::istringstream text(textOf(in_configuration));
    for (std::string strLine; std::getline(text, strLine);)
        lines.insert(strLine);
    return lines;
}

/// Returns whether the check has found an error that makes the load fail.
bool failsToLoad(const ConfigurationCheck& in_check, bool in_bParseOnly)
{
    static const std::set<std::string> s_parsing{"parse-error", "unclosed-tag", "stray-dollar",
                                                 "too-long"};
    const std::vector<ConfigurationProblem> all = in_check.problems();
    return std::any_of(all.begin(), all.end(),
                       [in_bParseOnly](const ConfigurationProblem& in_problem)
                       {
                           return in_problem.severity == ConfigurationProblem::Severity::ERROR &&
                                  (s_parsing.contains(in_problem.strRule) ||
                                   (!in_bParseOnly && in_problem.strRule == "unresolved-tag"));
                       });
}

} // namespace

TEST(ConfigurationCheckOracle, HasTheValuesAndTheResultOfTheLoad)
{
    static constexpr ProgramParameter s_parameters[] = {
        {.szName = "p.int",
         .type = ParameterValue::INT_TYPE,
         .szDefault = "7",
         .szLowest = "1",
         .szHighest = "20"},
        {.szName = "p.bool", .type = ParameterValue::BOOL_TYPE},
        {.szName = "p.string", .type = ParameterValue::STRING_TYPE, .szDefault = "d"}};
    ASSERT_TRUE(ParameterInfoDB::registerParameters(s_parameters));
    setenv("VELMORA_ORACLE", "of the environment", 1);
    for (const char* const szName : {"a", "b", "x", "y", "a.b", "nobody", "p.string", "p.int"})
        unsetenv(szName);
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    const TemporaryDirectory directory;
    RandomFiles files(directory);
    int iLoaded = 0;
    int iOpen = 0;
    int iNotParsed = 0;
    for (int i = 0; i != 1000; ++i)
    {
        const std::vector<std::string> sources = files.next();
        GlobalConfigImpl config;
        const bool bLoaded = config.load(sources);
        config.addDefaults(false);
        const ConfigurationCheck check(sources);
        std::string strAll;
        for (const std::string& strSource : sources)
            strAll += "--- " + strSource + "\n" +
                      directory.read(strSource.substr(strSource.rfind('/') + 1));
        ASSERT_EQ(bLoaded, !failsToLoad(check, false)) << strAll;
        if (failsToLoad(check, true))
        {
            // The load ends there, and the check goes on.
            ++iNotParsed;
            continue;
        }
        ++(bLoaded ? iLoaded : iOpen);
        const auto& trie = dynamic_cast<const ParameterTrie&>(check.configuration());
        ASSERT_EQ(linesOf(config), linesOf(trie)) << strAll;
    }
    EXPECT_LT(50, iLoaded);
    EXPECT_LT(50, iOpen);
    EXPECT_LT(50, iNotParsed);
}

} // namespace Velmora::Test

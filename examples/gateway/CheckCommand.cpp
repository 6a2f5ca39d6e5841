// SPDX-License-Identifier: BSD-2-Clause

#include "CheckCommand.h"

#include "CommandLineSources.h"
#include "SettingRules.h"

#include "velmora/config/ConfigurationCheck.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;
using Velmora::ConfigurationCheck;
using Velmora::ConfigurationProblem;
using Severity = Velmora::ConfigurationProblem::Severity;

namespace GatewayExample
{

namespace
{

/// Adds the rules of the gateway that the configuration breaks.
void addSettings(ConfigurationCheck& inout_check)
{
    for (const BrokenRule& broken : SettingRules::check(inout_check.configuration()))
    {
        std::string strWhole;
        inout_check.configuration().getStringParameter(broken.setting.name().c_str(), strWhole);
        // One part of a list.
        const bool bPart = !strWhole.empty() && broken.setting.value() != strWhole;
        inout_check.report(broken.bFatal ? Severity::ERROR : Severity::WARNING, broken.szRule,
                           broken.setting.name(),
                           (bPart ? ": " + broken.setting.value() : std::string()) + ": " +
                               broken.setting.reason());
    }
}

std::size_t count(const std::vector<ConfigurationProblem>& in_problems, Severity in_severity)
{
    return static_cast<std::size_t>(
        std::ranges::count(in_problems, in_severity, &ConfigurationProblem::severity));
}

std::string numberOf(std::size_t in_uiCount, const char* in_szName)
{
    return std::to_string(in_uiCount) + ' ' + in_szName + (in_uiCount == 1 ? "" : "s");
}

void writeText(const std::vector<ConfigurationProblem>& in_problems, std::ostream& out_stream)
{
    for (const ConfigurationProblem& problem : in_problems)
        out_stream << problem << '\n';
    const std::size_t uiErrors = count(in_problems, Severity::ERROR);
    out_stream << (uiErrors == 0 ? "The gateway starts with this configuration: "
                                 : "The gateway does not start with this configuration: ")
               << numberOf(uiErrors, "error") << ", "
               << numberOf(count(in_problems, Severity::WARNING), "warning") << ", "
               << numberOf(count(in_problems, Severity::NOTE), "note") << ".\n";
}

void writeJson(const std::vector<ConfigurationProblem>& in_problems, std::ostream& out_stream)
{
    Json list = Json::array();
    for (const ConfigurationProblem& problem : in_problems)
        list.push_back({{"severity", getSeverityString(problem.severity)},
                        {"rule", problem.strRule},
                        {"file", problem.strFile},
                        {"line", problem.uiLine},
                        {"name", problem.strName},
                        {"value", problem.strValue},
                        {"text", problem.strText}});
    const std::size_t uiErrors = count(in_problems, Severity::ERROR);
    const Json verdict{{"starts", uiErrors == 0},
                       {"errors", uiErrors},
                       {"warnings", count(in_problems, Severity::WARNING)},
                       {"notes", count(in_problems, Severity::NOTE)},
                       {"problems", list}};
    // A file may have any bytes.
    out_stream << verdict.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

} // namespace

bool CheckCommand::run(const boost::program_options::variables_map& in_variables,
                       std::ostream& out_stream)
{
    ConfigurationCheck check(sourcesOf(in_variables));
    addSettings(check);
    if (in_variables["json"].as<bool>())
        writeJson(check.problems(), out_stream);
    else
        writeText(check.problems(), out_stream);
    return !check.hasErrors();
}

} // namespace GatewayExample

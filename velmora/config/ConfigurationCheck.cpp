// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationCheck.h"

#include "velmora/application/CrashParameters.h"
#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/ConfigurationReader.h"
#include "velmora/config/GlobalConfigErrors.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/GlobalConfigSource.h"
#include "velmora/config/LogDirectories.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/RunMode.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/logging/LoggingCheck.h"
#include "velmora/system/InputFile.h"
#include "velmora/system/URL.h"
#include "velmora/system/WholeText.h"

#include <algorithm>
#include <limits>
#include <locale>
#include <new>
#include <optional>
#include <ostream>
#include <string_view>
#include <tuple>
#include <utility>

namespace Velmora
{

namespace
{

constexpr const char* s_szRunMode = "keswardin.run.mode";
constexpr std::string_view s_loggingFile = "keswardin.infra.Logger.PropertiesFile.";
constexpr std::string_view s_coreDump = "keswardin.infra.coreDump.";

bool isBelowLog4cplus(std::string_view in_name)
{
    return in_name.substr(0, in_name.find('.')) == "log4cplus";
}

std::string escaped(std::string_view in_text)
{
    std::string strEscaped;
    EscapedText::append(strEscaped, in_text);
    return strEscaped;
}

/// Returns why a file cannot be read, and what to do.
std::string textOfError(const char* in_szWhat, const std::string& in_strPath,
                        const InputFile& in_file)
{
    std::string strText = in_szWhat;
    return strText.append(GlobalConfigErrors::reason(in_strPath, in_file))
        .append("; correct the path, or make the file");
}

/// Returns a STRING parameter; nothing if there is none.
/// Failure: throws `std::bad_alloc`, for which `getStringParameter` returns false.
std::optional<std::string> stringOf(const ROConfiguration& in_configuration, const char* in_szName)
{
    ParameterValue value;
    in_configuration.getParameter(in_szName, value);
    if (value.getType() != ParameterValue::STRING_TYPE)
        return std::nullopt;
    return static_cast<const char*>(value);
}

std::vector<ParameterInfoWithName> knownParameters()
{
    std::vector<ParameterInfoWithName> infos;
    // The list fails only if memory runs out.
    if (!ParameterInfoDB::getInstance().retrieve("", infos))
        throw std::bad_alloc();
    return infos;
}

} // namespace

struct ConfigurationCheck::State
{
    /// A problem with its source, by which problems are ordered.
    using Finding = ConfigurationReader::Finding;

    /// Comes behind the sources of the configuration.
    static constexpr std::size_t s_uiLoggingFile = std::numeric_limits<std::size_t>::max() - 1;
    static constexpr std::size_t s_uiDefault = std::numeric_limits<std::size_t>::max();

    ConfigurationReader m_configuration{&ParameterInfoDB::getInstance(), nullptr};
    /// Reads the file of logging, if there is one.
    std::optional<ConfigurationReader> m_loggingFile;
    /// What logging is configured from, unless there is a file.
    ParameterTrie m_loggingSections;
    std::vector<ParameterInfoWithName> m_known = knownParameters();
    /// The problems that were found after the sources were read.
    std::vector<Finding> m_findings;

    [[nodiscard]] const ConfigurationReader& readerOf(std::string_view in_name) const
    {
        return m_loggingFile && isBelowLog4cplus(in_name) ? *m_loggingFile : m_configuration;
    }
};

std::string ConfigurationCheck::Place::text() const
{
    if (strFile.empty())
        return "default";
    const std::string strShown = ConfigurationAdvice::shown(strFile);
    return uiLine == 0 ? strShown : strShown + ':' + std::to_string(uiLine);
}

ConfigurationCheck::ConfigurationCheck(const std::vector<std::string>& in_sources)
    : m_pState(std::make_unique<State>())
{
    readSources(in_sources);
    // Before the defaults, of which none is an error of the configuration.
    if (!in_sources.empty())
        checkDeprecated();
    addDefaults();
    checkCoreDump();
    if (!in_sources.empty())
        checkRunMode();
}

ConfigurationCheck::~ConfigurationCheck() = default;

void ConfigurationCheck::readSources(const std::vector<std::string>& in_sources)
{
    ConfigurationReader& reader = m_pState->m_configuration;
    std::uint32_t uiSource = 0;
    for (const std::string& strUrl : in_sources)
    {
        const LinePlace place{uiSource++, 0};
        const GlobalConfigSource::Address address(strUrl);
        if (address.isDatabase())
        {
            readDatabase(strUrl, place);
            continue;
        }
        InputFile file(address.strPath);
        const std::string strShown = URL::withoutSecrets(address.strPath);
        const bool bOpen = !file.fail();
        reader.read(strShown, file);
        if (file.error() != 0)
            reader.report(Severity::ERROR, "unreadable-file", place, "", "",
                          escaped(textOfError(bOpen ? "the file cannot be read: "
                                                    : "the file cannot be opened: ",
                                              strShown, file)));
    }
    reader.end();
}

void ConfigurationCheck::readDatabase(const std::string& in_strUrl, LinePlace in_place)
{
    ConfigurationReader& reader = m_pState->m_configuration;
    const std::string strShown = URL::withoutSecrets(in_strUrl);
    std::vector<std::string> warnings;
    const auto parameters = GlobalConfigSeam::fetchForCheck(in_strUrl, warnings);
    if (parameters)
        reader.read(strShown, *parameters);
    else
    {
        reader.skip(strShown);
        reader.report(Severity::ERROR, "unreadable-database", in_place, "", "",
                      GlobalConfigSeam::getDatabaseSource() != nullptr
                          ? "the database cannot be read, for the reason that is logged"
                          : "there is no database source");
    }
    for (const std::string& strWarning : warnings)
        reader.report(Severity::WARNING, "database", in_place, "", "", escaped(strWarning));
}

void ConfigurationCheck::addDefaults()
{
    ParameterTrie& trie = m_pState->m_configuration.trie();
    for (const ParameterInfoWithName& info : m_pState->m_known)
        if (!info.m_bDeprecated && info.m_defaultValue.defined() &&
            !trie.parameterDefined(info.m_strName.c_str()))
            trie.setParameter(info.m_strName.c_str(), info.m_defaultValue);
}

void ConfigurationCheck::checkDeprecated()
{
    for (const ParameterInfoWithName& info : m_pState->m_known)
        if (info.m_bDeprecated &&
            m_pState->m_configuration.trie().parameterDefined(info.m_strName.c_str()))
            report(Severity::ERROR, "deprecated", info.m_strName,
                   "is deprecated; " + ConfigurationAdvice::forDeprecated(info.m_strDescription));
}

void ConfigurationCheck::checkCoreDump()
{
    bool bWrites = false;
    configuration().getBoolParameter(s_szINFRA_COREDUMP_WRITEONCRASH_PARAM, bWrites);
    if (bWrites)
        return;
    std::string strText = "has no effect, because ";
    strText.append(s_szINFRA_COREDUMP_WRITEONCRASH_PARAM)
        .append(" is false; write \"")
        .append(s_szINFRA_COREDUMP_WRITEONCRASH_PARAM)
        .append(" = true\", or delete the line");
    for (const ParameterInfoWithName& info : m_pState->m_known)
        if (info.m_strName.starts_with(s_coreDump) &&
            info.m_strName != s_szINFRA_COREDUMP_WRITEONCRASH_PARAM &&
            m_pState->m_configuration.definitionOf(info.m_strName) != nullptr)
            report(Severity::WARNING, "core-size", info.m_strName, strText);
}

void ConfigurationCheck::checkRunMode()
{
    // A value of a wrong type counts as none, and the mode is then "production".
    const std::string strMode =
        stringOf(configuration(), s_szRunMode).value_or(getRunModeString(RunMode::production));
    const RunMode mode = parseRunModeString(strMode.c_str());
    if (mode == RunMode::undefined)
        report(Severity::ERROR, "run-mode", s_szRunMode,
               "is no run mode; write production or development");
    else
        readLogging(getRunModeString(mode));
}

void ConfigurationCheck::readLogging(const std::string& in_strMode)
{
    const std::string strName = std::string(s_loggingFile) + in_strMode;
    if (const std::optional<std::string> path = stringOf(configuration(), strName.c_str()))
        readLoggingFile(strName, *path);
    else
        for (const char* const szSection : {"log4cplus", "keswardin.infra.CallLogger"})
        {
            const ParameterTrie& trie = m_pState->m_configuration.trie();
            if (const auto found = trie.find(szSection); found != trie.end())
                *m_pState->m_loggingSections.insert(szSection, ParameterValue()).first =
                    *found.node();
        }
    checkLogging();
}

void ConfigurationCheck::readLoggingFile(const std::string& in_strParamName,
                                         const std::string& in_strPath)
{
    ConfigurationReader& reader =
        m_pState->m_loggingFile.emplace(nullptr, &m_pState->m_configuration.trie());
    InputFile file(in_strPath);
    reader.read(in_strPath, file);
    reader.end();
    if (file.error() != 0)
        report(Severity::ERROR, "logging-file", in_strParamName,
               textOfError("cannot be read: ", in_strPath, file));
}

void ConfigurationCheck::checkLogging()
{
    const ParameterTrie& logging = loggingConfiguration();
    const bool bRead = std::none_of(m_pState->m_findings.begin(), m_pState->m_findings.end(),
                                    [](const State::Finding& in_finding)
                                    { return in_finding.problem.strRule == "logging-file"; });
    if (bRead && logging.find("log4cplus") == logging.end())
        report(Severity::ERROR, "no-logging", "log4cplus",
               "has no line, so logging cannot be configured; write the level and the appender of "
               "the root logger, as in \"log4cplus.rootLogger = INFO, file\", and the properties "
               "of that appender");
    for (const LoggingProblem& problem : LoggingCheck::problemsOf(logging))
        reportLogging(problem);
    for (const LogDirectories::Problem& problem : LogDirectories::problemsOf(logging))
        report(problem.bFatal ? Severity::ERROR : Severity::WARNING, "directory", problem.strName,
               ": " + problem.strText);
}

void ConfigurationCheck::reportLogging(const LoggingProblem& in_problem)
{
    // The text begins with the line, which the report has already.
    const std::string strLine = in_problem.strKey + " = " + in_problem.strValue;
    std::string_view text = in_problem.strText;
    std::string strKey = in_problem.strKey;
    if (place(strKey).strFile.empty())
        // A line that is missing: the one to which it belongs.
        strKey.erase(std::min(strKey.rfind('.'), strKey.size()));
    else if (text.starts_with(strLine))
        text.remove_prefix(strLine.size());
    text.remove_prefix(text.starts_with(' ') ? 1 : 0);
    report(Severity::WARNING, "logging", strKey, std::string(text));
}

void ConfigurationCheck::report(Severity in_severity, const std::string& in_strRule,
                                const std::string& in_strParamName, const std::string& in_strText)
{
    Problem problem{.severity = in_severity, .strRule = in_strRule, .strName = in_strParamName};
    problem.strText = escaped(in_strText);
    std::size_t uiSource = State::s_uiDefault;
    const ConfigurationReader& reader = m_pState->readerOf(in_strParamName);
    if (const ConfigurationReader::Definition* const pDefinition =
            reader.definitionOf(in_strParamName))
    {
        uiSource = &reader == &m_pState->m_configuration ? pDefinition->place.uiSource
                                                         : State::s_uiLoggingFile;
        problem.strFile = reader.fileOf(pDefinition->place);
        problem.uiLine = pDefinition->place.uiLine;
        problem.strValue = pDefinition->strValue;
    }
    else
    {
        ParameterValue value;
        reader.trie().getParameter(in_strParamName.c_str(), value);
        if (value.defined())
            problem.strValue = wholeText(std::locale::classic(), [&value](std::ostream& out_stream)
                                         { out_stream << value; });
    }
    m_pState->m_findings.push_back({uiSource, std::move(problem)});
}

std::vector<ConfigurationCheck::Problem> ConfigurationCheck::problems() const
{
    std::vector<State::Finding> findings = m_pState->m_configuration.findings();
    if (m_pState->m_loggingFile)
        for (State::Finding finding : m_pState->m_loggingFile->findings())
        {
            finding.uiSource = State::s_uiLoggingFile;
            findings.push_back(std::move(finding));
        }
    findings.insert(findings.end(), m_pState->m_findings.begin(), m_pState->m_findings.end());
    std::stable_sort(findings.begin(), findings.end(),
                     [](const State::Finding& in_left, const State::Finding& in_right)
                     {
                         return std::tuple(in_left.uiSource, in_left.problem.uiLine) <
                                std::tuple(in_right.uiSource, in_right.problem.uiLine);
                     });
    std::vector<Problem> problems;
    problems.reserve(findings.size());
    for (State::Finding& finding : findings)
        problems.push_back(std::move(finding.problem));
    return problems;
}

bool ConfigurationCheck::hasErrors() const
{
    const std::vector<Problem> all = problems();
    return std::any_of(all.begin(), all.end(),
                       [](const Problem& in_problem)
                       { return in_problem.severity == Severity::ERROR; });
}

const ROConfiguration& ConfigurationCheck::configuration() const
{
    return m_pState->m_configuration.trie();
}

ConfigurationCheck::Place ConfigurationCheck::place(const std::string& in_strParamName) const
{
    const ConfigurationReader& reader = m_pState->readerOf(in_strParamName);
    const ConfigurationReader::Definition* const pDefinition = reader.definitionOf(in_strParamName);
    if (pDefinition == nullptr)
        return {};
    return {reader.fileOf(pDefinition->place), pDefinition->place.uiLine};
}

const ParameterTrie& ConfigurationCheck::loggingConfiguration() const
{
    return m_pState->m_loggingFile ? m_pState->m_loggingFile->trie() : m_pState->m_loggingSections;
}

} // namespace Velmora

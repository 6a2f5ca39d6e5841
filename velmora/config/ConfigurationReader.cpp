// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationReader.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/ConfigurationLine.h"
#include "velmora/config/NumberText.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/system/ClassicText.h"
#include "velmora/system/InputFile.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <new>
#include <sstream>
#include <utility>

namespace Velmora
{

namespace
{

using ConfigurationAdvice::shown;

bool isBelowLog4cplus(std::string_view in_name)
{
    return in_name.substr(0, in_name.find('.')) == "log4cplus";
}

/// Returns an integer as text.
std::string textOf(int in_iValue) { return std::to_string(in_iValue); }

} // namespace

ConfigurationReader::ConfigurationReader(const ParameterInfoDB* in_pDB,
                                         const ParameterTrie* in_pOther)
    : m_pDB(in_pDB), m_tags(m_trie, in_pOther, nullptr, m_context)
{
}

void ConfigurationReader::skip(const std::string& in_strName)
{
    m_context.beginSource(in_strName, {}, '\n');
}

void ConfigurationReader::read(const std::string& in_strPath, InputFile& inout_file)
{
    m_context.beginSource(in_strPath, {}, '\n');
    std::string strLine;
    for (unsigned long uiLine = 1; std::getline(inout_file, strLine); ++uiLine)
    {
        m_context.advanceTo(uiLine);
        if (uiLine == 1 && ConfigurationLine::removeByteOrderMark(strLine))
            report(Severity::NOTE, "byte-order-mark",
                   "the file begins with a UTF-8 byte order mark, which is skipped; save it as "
                   "UTF-8 without one");
        if (!ConfigurationLine::isBlankOrComment(strLine))
            readLine(strLine);
    }
    // A stream swallows the exception.
    if (inout_file.bad() && inout_file.error() == 0)
        throw std::bad_alloc();
    processUnresolved();
}

void ConfigurationReader::read(
    const std::string& in_strUrl,
    const std::vector<std::pair<std::string, std::string>>& in_parameters)
{
    m_context.beginSource(in_strUrl, {}, '\n');
    // As a load does: a value of a site's own source may hold the end of a line.
    std::stringstream text;
    for (const auto& [strName, strValue] : in_parameters)
        text << strName << '=' << strValue << '\n';
    for (std::string strLine; std::getline(text, strLine);)
        if (!ConfigurationLine::isBlankOrComment(strLine))
            readLine(strLine);
    if (text.bad())
        throw std::bad_alloc();
    processUnresolved();
}

void ConfigurationReader::processUnresolved()
{
    m_unresolved.processUnresolvedConfigLines(m_tags, [this](const std::string& in_strLine)
                                              { return define(in_strLine); });
}

void ConfigurationReader::readLine(std::string& inout_strLine)
{
    std::string strReplaced = inout_strLine;
    if (inout_strLine.find('$') != std::string::npos)
    {
        if (inout_strLine.ends_with('\r'))
            inout_strLine.pop_back();
        if (!m_tags.substituteVars(inout_strLine, strReplaced))
        {
            if (ConfigurationAdvice::hasStrayDollar(inout_strLine))
                reportStrayDollar(inout_strLine, true);
            m_unresolved.add(strReplaced, m_tags);
            return;
        }
    }
    const bool bParameter = define(strReplaced);
    if (ConfigurationAdvice::hasStrayDollar(inout_strLine))
        reportStrayDollar(inout_strLine, bParameter);
    else if (!bParameter)
        reportParseError(inout_strLine, strReplaced);
}

bool ConfigurationReader::define(const std::string& in_strLine)
{
    const char* const szLine = in_strLine.c_str();
    const ParameterInitResult result =
        m_pDB == nullptr ? m_parameter.initFromText(szLine, ParameterValue::UNDEF_TYPE)
                         : m_parameter.initFromText(szLine, *m_pDB);
    const std::string_view value = ConfigurationLine::valueOf(in_strLine);
    if (result == INIT_UNDEFINED)
        return false;
    if (result == INIT_WRONG_TYPE)
        reportWrongType(value);
    else
        reportNumber(value);
    if (m_pDB != nullptr && result == INIT_UNKNOWN_PARAMETER)
        reportUnknownName(value);
    else if (m_pDB != nullptr && result == INIT_OK && !isWithinBounds(value))
        return true;
    store(in_strLine);
    return true;
}

void ConfigurationReader::store(const std::string& in_strLine)
{
    const std::string& strName = m_parameter.getName();
    Definition definition{m_context.current(), std::string(ConfigurationLine::valueOf(in_strLine))};
    const auto [entry, bNew] =
        m_definitions.try_emplace(std::string(ConfigurationLine::keyOf(strName)), definition);
    if (!bNew)
    {
        const LinePlace former = entry->second.place;
        const LinePlace current = definition.place;
        // A later file is meant to replace the values of an earlier one.
        const bool bOverride = former.uiSource < current.uiSource;
        report(bOverride ? Severity::NOTE : Severity::WARNING, "redefinition",
               "replaces the value " + shown(entry->second.strValue) + " of " + placeText(former) +
                   (bOverride ? "" : "; delete one of the two lines"),
               strName, definition.strValue);
        entry->second = std::move(definition);
    }
    m_trie.setParameter(strName.c_str(), m_parameter.getValue());
}

std::string ConfigurationReader::placeText(LinePlace in_place) const
{
    return in_place.known() ? m_context.textOf(in_place) : shown(fileOf(in_place));
}

void ConfigurationReader::end()
{
    for (std::size_t i = 0; i != m_lines.size(); ++i)
    {
        const std::string_view name = ConfigurationLine::nameOf(m_lines[i]);
        report(Severity::ERROR, "unresolved-tag", m_unresolved.placeOf(i), std::string(name),
               std::string(ConfigurationLine::valueOf(m_lines[i])),
               "has a tag without a value: " +
                   ConfigurationAdvice::forUnknownTags(m_tags.unknownNamesIn(m_lines[i]), name));
    }
}

const ConfigurationReader::Definition*
ConfigurationReader::definitionOf(std::string_view in_name) const
{
    const auto found = m_definitions.find(std::string(ConfigurationLine::keyOf(in_name)));
    return found != m_definitions.end() ? &found->second : nullptr;
}

void ConfigurationReader::report(Severity in_severity, const char* in_szRule, LinePlace in_place,
                                 std::string in_strName, std::string in_strValue,
                                 std::string in_strText)
{
    ConfigurationProblem problem{in_severity,           in_szRule,
                                 fileOf(in_place),      in_place.uiLine,
                                 std::move(in_strName), std::move(in_strValue),
                                 std::move(in_strText)};
    m_findings.push_back({in_place.uiSource, std::move(problem)});
}

void ConfigurationReader::report(Severity in_severity, const char* in_szRule,
                                 const std::string& in_strText, std::string_view in_name,
                                 std::string_view in_value)
{
    report(in_severity, in_szRule, m_context.current(), std::string(in_name), std::string(in_value),
           in_strText);
}

void ConfigurationReader::reportParseError(const std::string& in_strLine,
                                           const std::string& in_strReplaced)
{
    report(Severity::ERROR, "parse-error",
           "the line is no parameter; " +
               ConfigurationAdvice::forParseError(in_strLine, in_strReplaced));
}

void ConfigurationReader::reportStrayDollar(const std::string& in_strLine, bool in_bParameter)
{
    const std::string strAdvice = ConfigurationAdvice::forParseError(in_strLine, in_strLine);
    const bool bTag = strAdvice.starts_with("close ");
    report(in_bParameter ? Severity::WARNING : Severity::ERROR,
           bTag ? "unclosed-tag" : "stray-dollar",
           std::string(bTag ? "a tag is not closed" : "a \"$\" opens no tag") +
               ", so the text before it is dropped; " + strAdvice);
}

void ConfigurationReader::reportUnknownName(std::string_view in_value)
{
    const std::string& strName = m_parameter.getName();
    std::string strClosest;
    if (isBelowLog4cplus(strName) ||
        ParameterInfoDB::getInstance().validateParamName(strName.c_str(), strClosest))
        return;
    if (!ConfigurationAdvice::isClose(strName, strClosest))
        strClosest.clear();
    const std::string strAdvice =
        ConfigurationAdvice::forUnknownName(strName, strClosest, in_value);
    if (strName.empty())
        report(Severity::WARNING, "unknown-name", "the line has no name; " + strAdvice);
    else
        report(Severity::WARNING, "unknown-name", "is unknown; " + strAdvice, strName, in_value);
}

void ConfigurationReader::reportWrongType(std::string_view in_value)
{
    const std::string& strName = m_parameter.getName();
    ParameterInfo info;
    if (ParameterInfoDB::getInstance().retrieve(strName.c_str(), info))
        report(
            Severity::WARNING, "wrong-type",
            std::string("is ") + ParameterValue::getTypeAsString(m_parameter.getValue().getType()) +
                " and has no effect; " + ConfigurationAdvice::forWrongType(strName, info, in_value),
            strName, in_value);
}

void ConfigurationReader::reportNumber(std::string_view in_value)
{
    const std::string_view name = m_parameter.getName();
    // What a mode is meant to be.
    const bool bMode = name.starts_with("log4cplus.appender.") && name.ends_with(".Mode");
    if (m_parameter.getValue().getType() != ParameterValue::INT_TYPE || in_value.empty() || bMode)
        return;
    const int iValue = m_parameter.getValue();
    const bool bDigits = std::all_of(in_value.begin(), in_value.end(), &ClassicText::isDigit);
    int iDecimal = 0;
    if (in_value.size() > 1 && in_value.front() == '0' && bDigits &&
        NumberText::readDecimal(in_value, iDecimal) && iDecimal != iValue)
        report(Severity::WARNING, "octal",
               "is " + textOf(iValue) + ", because a number that begins with 0 is octal; write " +
                   textOf(iDecimal),
               m_parameter.getName(), in_value);
    else if (bDigits && iValue < 0)
        report(Severity::WARNING, "overflow",
               "is " + textOf(iValue) +
                   ", because an INT has 32 bits; write a number up to 2147483647",
               m_parameter.getName(), in_value);
}

bool ConfigurationReader::isWithinBounds(std::string_view in_value)
{
    ParameterBounds bounds;
    if (!ParameterInfoDB::retrieveBounds(m_parameter.getName().c_str(), bounds) ||
        bounds.contain(m_parameter.getValue()))
        return true;
    report(Severity::WARNING, "out-of-bounds",
           "is out of bounds, so the line is skipped; " +
               ConfigurationAdvice::forBounds(bounds, in_value),
           m_parameter.getName(), in_value);
    return false;
}

void ConfigurationReader::reportTag(Severity in_severity, const char* in_szRule,
                                    const std::string& in_strText)
{
    // A line that waits is tried several times.
    if (m_reportedTags.emplace(m_context.current(), in_strText).second)
        report(in_severity, in_szRule, in_strText);
}

void ConfigurationReader::tagOfNoString(const std::string& in_strName, ParameterValue::Type in_type)
{
    // The tag fails an assertion, and the process ends there if the configuration says so by then.
    bool bAborts = false;
    m_trie.getBoolParameter(s_szINFRA_ABORTONASSERT_PARAM, bAborts);
    reportTag(bAborts ? Severity::ERROR : Severity::WARNING, "tag-type",
              "the tag " + ConfigurationAdvice::forTagOfNoString(in_strName, in_type));
}

void ConfigurationReader::lineTooLong()
{
    reportTag(Severity::ERROR, "too-long",
              "the line becomes too long with its tags replaced; " +
                  ConfigurationAdvice::forTooLongLine());
}

void ConfigurationReader::resolvedToNoParameter(const std::string& in_strLine)
{
    // The load drops such a line and goes on.
    report(Severity::WARNING, "parse-error",
           "the line is no parameter with its tags replaced; " +
               ConfigurationAdvice::forParseError(in_strLine, in_strLine));
}

} // namespace Velmora

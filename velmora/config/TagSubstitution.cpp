// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/TagSubstitution.h"

#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(ParameterTrie)

namespace Velmora
{

using ConfigurationLine::findTag;
using ConfigurationLine::Tag;

namespace
{

/// The longest line that replaced tags may make. Tags that are replaced by tags can double the
/// length of a short text with every line.
constexpr std::size_t s_uiLongestSubstitutedLine = std::size_t{2} * 1024 * 1024;

/// Returns the node of a name; null if there is none.
const TagSubstitution::StringTrie* nodeIn(const TagSubstitution::StringTrie& in_trie,
                                          std::string_view in_name)
{
    const DottedComponents components(in_name);
    return in_trie.fastFind(components.begin(), components.end());
}

} // namespace

const AceCleanupLogger* TagSubstitution::logger() const
{
    return m_context.tagReports() == nullptr ? ::liveFileScopeLogger() : nullptr;
}

void TagSubstitution::reportTooLong(const std::string& in_strLine) const
{
    if (m_context.tagReports() != nullptr)
    {
        m_context.tagReports()->lineTooLong();
        return;
    }
    constexpr std::size_t uiShown = 100;
    VELMORA_LOG_PROBLEM(
        m_context.problems(), ERROR_LOG_LEVEL,
        "Line becomes too long with its tags replaced : " << in_strLine.substr(0, uiShown));
    VELMORA_LOG_ADVICE(m_context, ERROR_LOG_LEVEL, "", ConfigurationAdvice::forTooLongLine());
}

bool TagSubstitution::getKey(const char* in_lineStart, const char* in_lineEnd,
                             Tag& out_matches) const
{
    const TraceScope scope(logger(),
                           "ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches)");
    return findTag({in_lineStart, static_cast<std::size_t>(in_lineEnd - in_lineStart)},
                   out_matches);
}

bool TagSubstitution::getKey(const std::string& in_strLine, std::string& out_strKey) const
{
    Tag matches;
    if (!getKey(in_strLine.data(), in_strLine.data() + in_strLine.size(), matches))
        return false;
    out_strKey = matches.name;
    return true;
}

bool TagSubstitution::substituteVars(const std::string& in_strLine, std::string& out_strLine) const
{
    const TraceScope scope(logger(), "ParameterTrie::substituteVars");
    bool bResult = true;
    out_strLine.clear();
    const char* pPosition = in_strLine.data();
    const char* const pEnd = pPosition + in_strLine.size();
    std::string strName;
    std::string strReplacement;
    Tag matches;
    while (getKey(pPosition, pEnd, matches))
    {
        strName = matches.name;
        if (!getReplacement(strName, strReplacement))
        {
            bResult = false;
            // The tag stays in the line, but later tags are still replaced.
            strReplacement = matches.tag;
        }
        if (const AceCleanupLogger* const pLogger = logger())
            VELMORA_LOG(*pLogger, DEBUG_LOG_LEVEL, "Parameter value: " << strReplacement);
        out_strLine += matches.text;
        out_strLine += strReplacement;
        if (out_strLine.size() > s_uiLongestSubstitutedLine)
        {
            // An empty line is no parameter, so the caller reports a parse error.
            reportTooLong(in_strLine);
            out_strLine.clear();
            return true;
        }
        pPosition = matches.tag.data() + matches.tag.size();
    }
    out_strLine += matches.text;
    return bResult;
}

const TagSubstitution::StringTrie* TagSubstitution::parameterOf(const std::string& in_strName) const
{
    const char* const szName = in_strName.c_str();
    const StringTrie* pNode = m_pIndex != nullptr ? m_pIndex->find(szName) : nodeIn(m_trie, szName);
    if ((pNode == nullptr || !pNode->data().defined()) && m_pOther != nullptr)
        pNode = nodeIn(*m_pOther, szName);
    return pNode != nullptr && pNode->data().defined() ? pNode : nullptr;
}

bool TagSubstitution::isKnown(const std::string& in_strName) const
{
    return parameterOf(in_strName) != nullptr ||
           std::getenv(in_strName.c_str()) != nullptr; // NOLINT(concurrency-mt-unsafe)
}

std::vector<std::string> TagSubstitution::unknownNamesIn(std::string_view in_line) const
{
    std::vector<std::string> names;
    Tag tag;
    for (std::string_view rest = in_line; findTag(rest, tag); rest.remove_prefix(
             static_cast<std::size_t>(tag.tag.data() + tag.tag.size() - rest.data())))
        if (std::string strName(tag.name);
            !isKnown(strName) && std::find(names.begin(), names.end(), strName) == names.end())
            names.push_back(std::move(strName));
    return names;
}

void TagSubstitution::reportNoString(const std::string& in_strName,
                                     const ParameterValue& in_value) const
{
    if (m_context.tagReports() != nullptr)
    {
        m_context.tagReports()->tagOfNoString(in_strName, in_value.getType());
        return;
    }
    // Logs an error and fails an assertion, which name neither the line nor the tag.
    static_cast<void>(static_cast<const char*>(in_value));
    VELMORA_LOG_ADVICE(m_context, ERROR_LOG_LEVEL, "",
                       ConfigurationAdvice::forTagOfNoString(in_strName, in_value.getType()));
}

bool TagSubstitution::getReplacement(const std::string& in_strName,
                                     std::string& out_strReplacement) const
{
    if (const StringTrie* const pNode = parameterOf(in_strName))
    {
        if (pNode->data().getType() == ParameterValue::STRING_TYPE)
            out_strReplacement = static_cast<const char*>(pNode->data());
        else
        {
            out_strReplacement.clear();
            reportNoString(in_strName, pNode->data());
        }
        if (const AceCleanupLogger* const pLogger = logger())
            VELMORA_LOG(*pLogger, DEBUG_LOG_LEVEL,
                        "Parameter for key: " << in_strName << " is: " << out_strReplacement);
        return true;
    }
    const char* const szVariable = std::getenv(in_strName.c_str()); // NOLINT(concurrency-mt-unsafe)
    if (szVariable == nullptr)
        return false;
    out_strReplacement = szVariable;
    return true;
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/TagSubstitution.h"

#include "velmora/config/NameIndex.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"

#include <cstddef>
#include <cstdlib>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(ParameterTrie)

namespace Velmora
{

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

void TagSubstitution::reportTooLong(const std::string& in_strLine)
{
    constexpr std::size_t uiShown = 100;
    VELMORA_FILE_LOG_ERROR(
        "Line becomes too long with its tags replaced : " << in_strLine.substr(0, uiShown));
}

// A tag matches the expression "([^$]*)(\\$\\{)([^${}]*)(\\})". A match can begin only after a "$"
// or at the beginning, so one pass over the line finds the same tags as a search with the
// expression.
bool TagSubstitution::findTag(std::string_view in_line, Tag& out_matches)
{
    std::size_t uiText = 0;
    for (std::size_t uiDollar = in_line.find('$'); uiDollar != std::string_view::npos;
         uiDollar = in_line.find('$', uiText))
    {
        if (in_line.substr(uiDollar + 1, 1) == "{")
        {
            const std::size_t uiName = uiDollar + 2;
            const std::size_t uiNameEnd = in_line.find_first_of("${}", uiName);
            if (uiNameEnd != std::string_view::npos && in_line[uiNameEnd] == '}')
            {
                out_matches.text = in_line.substr(uiText, uiDollar - uiText);
                out_matches.tag = in_line.substr(uiDollar, uiNameEnd + 1 - uiDollar);
                out_matches.name = in_line.substr(uiName, uiNameEnd - uiName);
                return true;
            }
        }
        uiText = uiDollar + 1;
    }
    out_matches = {in_line.substr(uiText), {}, {}};
    return false;
}

bool TagSubstitution::getKey(const char* in_lineStart, const char* in_lineEnd, Tag& out_matches)
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches));
    return findTag({in_lineStart, static_cast<std::size_t>(in_lineEnd - in_lineStart)},
                   out_matches);
}

bool TagSubstitution::getKey(const std::string& in_strLine, std::string& out_strKey)
{
    Tag matches;
    if (!getKey(in_strLine.data(), in_strLine.data() + in_strLine.size(), matches))
        return false;
    out_strKey = matches.name;
    return true;
}

bool TagSubstitution::substituteVars(const std::string& in_strLine, std::string& out_strLine) const
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::substituteVars);
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
        VELMORA_FILE_LOG_DEBUG("Parameter value: " << strReplacement);
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

bool TagSubstitution::getReplacement(const std::string& in_strName,
                                     std::string& out_strReplacement) const
{
    if (const StringTrie* const pNode = parameterOf(in_strName))
    {
        const char* const szValue = pNode->data();
        out_strReplacement = szValue == nullptr ? "" : szValue;
        VELMORA_FILE_LOG_DEBUG("Parameter for key: " << in_strName
                                                     << " is: " << out_strReplacement);
        return true;
    }
    const char* const szVariable = std::getenv(in_strName.c_str()); // NOLINT(concurrency-mt-unsafe)
    if (szVariable == nullptr)
        return false;
    out_strReplacement = szVariable;
    return true;
}

} // namespace Velmora

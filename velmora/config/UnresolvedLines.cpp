// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/UnresolvedLines.h"

#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/ConfigurationLine.h"
#include "velmora/config/DefiningLine.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <boost/regex.hpp>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <forward_list>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(ParameterTrie)

namespace Velmora
{

namespace
{

/// The number of characters by which the raw text of other lines may lengthen a waiting line in one
/// step.
constexpr std::size_t s_uiLongestRawText = std::size_t{64} * 1024;
/// The number of names that are expressions which one waiting line may meet: their replacements can
/// produce new ones without end.
constexpr int s_iMostExpressions = 16;
/// The longest name that is used as an expression, and the longest line that one is searched in.
/// The time of a search grows with the product of both, and a replacement may produce a name of
/// twice the length: without limits, a text of 80 characters took minutes.
constexpr std::size_t s_uiLongestExpression = 128;
constexpr std::size_t s_uiLongestSearchedLine = s_uiLongestRawText;

/// An output iterator that appends characters to a text until it has the given length.
class BoundedAppender
{
  public:
    using iterator_category = std::output_iterator_tag;
    using value_type = void;
    using difference_type = void;
    using pointer = void;
    using reference = void;

    BoundedAppender(std::string& out_strText, std::size_t in_uiLongest)
        : m_pText(&out_strText), m_uiLongest(in_uiLongest)
    {
    }

    /// Failure: throws `std::length_error` if the text has its full length.
    BoundedAppender& operator=(char in_character)
    {
        if (m_pText->size() == m_uiLongest)
            throw std::length_error("text too long");
        m_pText->push_back(in_character);
        return *this;
    }

    BoundedAppender& operator*() { return *this; }
    BoundedAppender& operator++() { return *this; }
    BoundedAppender operator++(int) { return *this; }

  private:
    std::string* m_pText;
    std::size_t m_uiLongest;
};

/// Replaces all matches of an expression in a line. The replacement is a Boost format string, so
/// the result may be a multiple of the line.
/// Failure: returns false and leaves the line unchanged if the result would be too long. Throws the
/// exceptions of `boost::regex_replace`.
bool replaceAll(std::string& inout_strLine, const boost::regex& in_regex,
                const std::string& in_strReplacement)
{
    std::string strReplaced;
    try
    {
        boost::regex_replace(
            BoundedAppender(strReplaced, inout_strLine.size() + s_uiLongestRawText),
            inout_strLine.cbegin(), inout_strLine.cend(), in_regex, in_strReplacement);
    }
    catch (const std::length_error&)
    {
        return false;
    }
    inout_strLine.swap(strReplaced);
    return true;
}

void logDebug(const TagSubstitution& in_tags, const char* in_szBefore,
              const std::string& in_strText, const char* in_szBehind = "")
{
    if (const AceCleanupLogger* const pLogger = in_tags.logger())
        VELMORA_LOG(*pLogger, DEBUG_LOG_LEVEL, in_szBefore << in_strText << in_szBehind);
}

void reportNoParameter(const ReadingContext& in_context, const std::string& in_strLine)
{
    if (in_context.tagReports() != nullptr)
    {
        in_context.tagReports()->resolvedToNoParameter(in_strLine);
        return;
    }
    VELMORA_LOG_PROBLEM(in_context.problems(), ERROR_LOG_LEVEL,
                        "parse error. failed to parse : " << in_strLine);
    VELMORA_LOG_ADVICE(in_context, ERROR_LOG_LEVEL, "",
                       ConfigurationAdvice::forParseError(in_strLine, in_strLine));
}

} // namespace

void UnresolvedLines::add(const std::string& in_strLine, const TagSubstitution& in_tags)
{
    logDebug(in_tags, "Adding line to unresolved vector: ", in_strLine);
    m_lines.push_back(in_strLine);
    m_waits.resize(m_lines.size());
    m_waits.back().place = in_tags.context().current();
    in_tags.context().exclude(m_waits.back().place);
    ++m_uiAdded;
}

void UnresolvedLines::processUnresolvedConfigLines(const TagSubstitution& in_tags,
                                                   const Store& in_addToTrie)
{
    const TraceScope scope(in_tags.logger(), "ParameterTrie::processUnresolvedConfigLines");
    std::vector<std::string> lines;
    std::vector<Wait> waits;
    // Taken out of the vector, which then receives the lines that are still unresolved.
    lines.swap(m_lines);
    waits.swap(m_waits);
    const Logger* const pLogger = in_tags.logger();
    const bool bLogged = pLogger != nullptr && pLogger->isEnabledFor(DEBUG_LOG_LEVEL);
    std::string* const pEnd = lines.data() + lines.size();
    std::string strResolved;
    for (std::string* pLine = lines.data(); pLine != pEnd; ++pLine)
    {
        Wait& wait = waits[static_cast<std::size_t>(pLine - lines.data())];
        if (bLogged || !stillWaits(wait, in_tags, {pLine + 1, pEnd}))
        {
            logDebug(in_tags, "Trying to resolve param: ", *pLine);
            in_tags.context().returnTo(wait.place);
            ++m_uiTries;
            bool bChanged = false;
            const Search result = resolveInVector(in_tags, pLine, pEnd, strResolved, bChanged);
            if (result == Search::replaced)
            {
                if (!in_addToTrie(strResolved))
                    reportNoParameter(in_tags.context(), strResolved);
                continue;
            }
            if (bChanged)
                m_uiLastChange = ++m_uiAdded;
            const LinePlace place = wait.place;
            wait = result == Search::notDefined && !bChanged ? reasonOf(*pLine, in_tags) : Wait();
            wait.place = place;
        }
        m_lines.push_back(std::move(*pLine));
        m_waits.push_back(std::move(wait));
    }
}

bool UnresolvedLines::stillWaits(Wait& inout_wait, const TagSubstitution& in_tags,
                                 std::span<const std::string> in_laterLines) const
{
    if (inout_wait.strMissing.empty() || inout_wait.uiAdded < m_uiLastChange ||
        in_tags.isKnown(inout_wait.strMissing))
        return false;
    const std::size_t uiNew = std::min(m_uiAdded - inout_wait.uiAdded, in_laterLines.size());
    if (uiNew != 0)
    {
        const DefiningLine definingLine(inout_wait.strFirst);
        std::string strValue;
        for (const std::string& strLine : in_laterLines.last(uiNew))
            if (definingLine.matches(strLine, strValue))
                return false;
    }
    inout_wait.uiAdded = m_uiAdded;
    return true;
}

UnresolvedLines::Wait UnresolvedLines::reasonOf(const std::string& in_strLine,
                                                const TagSubstitution& in_tags) const
{
    Wait wait;
    ConfigurationLine::Tag tag;
    std::string_view rest = in_strLine;
    for (bool bFirst = true; ConfigurationLine::findTag(rest, tag); bFirst = false)
    {
        if (bFirst && !DefiningLine::isPlainName(tag.name))
            return wait;
        if (bFirst)
            wait.strFirst = tag.name;
        if (!in_tags.isKnown(std::string(tag.name)))
        {
            wait.strMissing = tag.name;
            wait.uiAdded = m_uiAdded;
            return wait;
        }
        rest.remove_prefix(static_cast<std::size_t>(tag.tag.data() + tag.tag.size() - rest.data()));
    }
    return wait;
}

UnresolvedLines::Search UnresolvedLines::resolveInVector(const TagSubstitution& in_tags,
                                                         std::string* inout_pLine,
                                                         const std::string* in_pEnd,
                                                         std::string& out_strLine,
                                                         bool& out_bChanged)
{
    // Each pass replaces one tag. Its trace scope is nested in that of the previous pass.
    std::forward_list<TraceScope> passes;
    // The names replaced so far. A name that returns refers to itself, however indirectly.
    std::vector<std::string> namesMet;
    int iExpressions = 0;
    ConfigurationLine::Tag tag;
    std::string* pFound = inout_pLine;
    for (;;)
    {
        passes.emplace_front(in_tags.logger(), "ParameterTrie::resolveInVector");
        if (in_tags.substituteVars(*inout_pLine, out_strLine))
            return Search::replaced;
        if (ConfigurationLine::findTag(*inout_pLine, tag))
        {
            if (std::find(namesMet.begin(), namesMet.end(), tag.name) != namesMet.end())
                return Search::impossible;
            if (!DefiningLine::isPlainName(tag.name) &&
                (tag.name.size() > s_uiLongestExpression ||
                 inout_pLine->size() > s_uiLongestSearchedLine ||
                 ++iExpressions > s_iMostExpressions))
                return Search::impossible;
            namesMet.emplace_back(tag.name);
        }
        const Search search = findKeyValueInVector(in_tags, inout_pLine, in_pEnd, pFound);
        if (search != Search::replaced)
            return search;
        out_bChanged = true;
        inout_pLine = pFound;
    }
}

UnresolvedLines::Search UnresolvedLines::findKeyValueInVector(const TagSubstitution& in_tags,
                                                              std::string* inout_pLine,
                                                              const std::string* in_pEnd,
                                                              std::string*& out_pFound)
{
    const TraceScope scope(in_tags.logger(), "ParameterTrie::findKeyInVector");
    std::string strName;
    if (!in_tags.getKey(*inout_pLine, strName))
    {
        logDebug(in_tags, "No parameter tag of form ${x.y.z} in config line: ", *inout_pLine);
        return Search::impossible;
    }
    Search search = Search::impossible;
    try
    {
        const DefiningLine definingLine(strName);
        std::string strValue;
        const std::string* const pDefining =
            std::find_if(const_cast<const std::string*>(inout_pLine) + 1, in_pEnd,
                         [&](const std::string& in_strLine)
                         { return definingLine.matches(in_strLine, strValue); });
        if (pDefining != in_pEnd)
        {
            if (!replaceAll(*inout_pLine, boost::regex("\\$\\{" + strName + "\\}"), strValue))
            {
                in_tags.reportTooLong(*inout_pLine);
                return Search::impossible;
            }
            out_pFound = inout_pLine;
            return Search::replaced;
        }
        search = Search::notDefined;
    }
    catch (const std::exception&)
    {
        // The name is not a valid expression, or matching it takes too long.
    }
    logDebug(in_tags, "Value of parameter: ", strName,
             " not defined yet. Value might in an other configuration file");
    return search;
}

} // namespace Velmora

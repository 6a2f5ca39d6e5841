// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/UnresolvedLines.h"

#include "velmora/config/DefiningLine.h"
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

} // namespace

void UnresolvedLines::add(const std::string& in_strLine)
{
    VELMORA_FILE_LOG_DEBUG("Adding line to unresolved vector: " << in_strLine);
    m_lines.push_back(in_strLine);
}

void UnresolvedLines::processUnresolvedConfigLines(const Store& in_addToTrie)
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::processUnresolvedConfigLines);
    std::vector<std::string> lines;
    // Taken out of the vector, which then receives the lines that are still unresolved.
    lines.swap(m_lines);
    std::string* const pEnd = lines.data() + lines.size();
    std::string strResolved;
    for (std::string* pLine = lines.data(); pLine != pEnd; ++pLine)
    {
        VELMORA_FILE_LOG_DEBUG("Trying to resolve param: " << *pLine);
        if (!resolveInVector(pLine, pEnd, strResolved))
            m_lines.push_back(*pLine);
        else if (!in_addToTrie(strResolved))
            VELMORA_FILE_LOG_ERROR("parse error. failed to parse : " << strResolved);
    }
}

bool UnresolvedLines::resolveInVector(std::string* inout_pLine, const std::string* in_pEnd,
                                      std::string& out_strLine) const
{
    // Each pass replaces one tag. Its trace scope is nested in that of the previous pass.
    std::forward_list<TraceScope> passes;
    // The names replaced so far. A name that returns refers to itself, however indirectly.
    std::vector<std::string> namesMet;
    int iExpressions = 0;
    TagSubstitution::Tag tag;
    std::string* pFound = inout_pLine;
    for (;;)
    {
        passes.emplace_front(::liveFileScopeLogger(), "ParameterTrie::resolveInVector");
        if (m_tags.substituteVars(*inout_pLine, out_strLine))
            return true;
        if (TagSubstitution::findTag(*inout_pLine, tag))
        {
            if (std::find(namesMet.begin(), namesMet.end(), tag.name) != namesMet.end())
                return false;
            if (!DefiningLine::isPlainName(tag.name) &&
                (tag.name.size() > s_uiLongestExpression ||
                 inout_pLine->size() > s_uiLongestSearchedLine ||
                 ++iExpressions > s_iMostExpressions))
                return false;
            namesMet.emplace_back(tag.name);
        }
        if (!findKeyValueInVector(inout_pLine, in_pEnd, pFound))
            return false;
        inout_pLine = pFound;
    }
}

bool UnresolvedLines::findKeyValueInVector(std::string* inout_pLine, const std::string* in_pEnd,
                                           std::string*& out_pFound)
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::findKeyInVector);
    std::string strName;
    if (!TagSubstitution::getKey(*inout_pLine, strName))
    {
        VELMORA_FILE_LOG_DEBUG(
            "No parameter tag of form ${x.y.z} in config line: " << *inout_pLine);
        return false;
    }
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
                TagSubstitution::reportTooLong(*inout_pLine);
                return false;
            }
            out_pFound = inout_pLine;
            return true;
        }
    }
    catch (const std::exception&)
    {
        // The name is not a valid expression, or matching it takes too long.
    }
    VELMORA_FILE_LOG_DEBUG("Value of parameter: "
                           << strName
                           << " not defined yet. Value might in an other configuration file");
    return false;
}

} // namespace Velmora

#include "velmora/config/ParameterTrie.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/ClassicText.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/EnvironVars.h"
#include "velmora/system/QuietStream.h"
#include "velmora/system/WholeText.h"

#include <boost/regex.hpp>
#include <log4cplus/helpers/property.h>

#include <algorithm>
#include <cstdlib>
#include <forward_list>
#include <istream>
#include <iterator>
#include <ostream>
#include <stdexcept>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ParameterTrie)

namespace Velmora
{

namespace
{

/// The longest line that replaced tags may make. Tags that are replaced by tags can double the
/// length of a short text with every line.
constexpr std::size_t s_uiLongestSubstitutedLine = std::size_t{2} * 1024 * 1024;
/// The number of characters by which the raw text of other lines may lengthen a waiting line in one
/// step.
constexpr std::size_t s_uiLongestRawText = std::size_t{64} * 1024;
/// The number of names that are expressions which one waiting line may meet: their replacements can
/// produce new ones without end.
constexpr int s_iMostExpressions = 16;

/// Returns whether a line is blank or a comment.
bool isBlankOrComment(const std::string& in_strLine)
{
    const auto first =
        std::find_if_not(in_strLine.begin(), in_strLine.end(), &ClassicText::isBlank);
    return first == in_strLine.end() || *first == '#';
}

/// Returns the child of a node for a component. Makes the child if there is none.
ParameterTrie::StringTrie& childFor(ParameterTrie::StringTrie& inout_node,
                                    std::string_view in_component)
{
    const auto edge = inout_node.findChild(in_component);
    if (edge != inout_node.endChild())
        return *edge.data();
    return *inout_node.insert(std::string(in_component), ParameterValue()).first.data();
}

std::string textOf(const ParameterValue& in_value)
{
    return wholeText([&in_value](std::ostream& out_stream) { out_stream << in_value; });
}

void reportTooLong(const std::string& in_strLine)
{
    constexpr std::size_t uiShown = 100;
    VELMORA_FILE_LOG_ERROR(
        "Line becomes too long with its tags replaced : " << in_strLine.substr(0, uiShown));
}

/// Returns whether a name, used as a regular expression, matches only itself, apart from its dots.
bool isPlainName(std::string_view in_name)
{
    return std::all_of(in_name.begin(), in_name.end(),
                       [](char in_character)
                       {
                           return ClassicText::isLetter(in_character) ||
                                  ClassicText::isDigit(in_character) || in_character == '_' ||
                                  in_character == '-' || in_character == '.';
                       });
}

/// Finds the line that defines a name: the whole line matches "(^`name` *= *)(.*)", and the second
/// group is the value. The name is not escaped in the expression, so that its dots match any
/// character. A plain name is compared without the expression, which is faster.
class DefiningLine
{
  public:
    /// Failure: throws `boost::regex_error` if the name is not a valid expression.
    explicit DefiningLine(const std::string& in_strName)
        : m_strName(in_strName), m_bPlain(isPlainName(in_strName))
    {
        if (!m_bPlain)
            m_regex.assign("(^" + in_strName + " *= *)(.*)");
    }

    bool matches(const std::string& in_strLine, std::string& out_strValue) const
    {
        return m_bPlain ? matchesPlain(in_strLine, out_strValue)
                        : matchesRegex(in_strLine, out_strValue);
    }

  private:
    bool matchesPlain(const std::string& in_strLine, std::string& out_strValue) const
    {
        if (in_strLine.size() <= m_strName.size())
            return false;
        for (std::size_t i = 0; i < m_strName.size(); ++i)
            if (m_strName[i] != '.' && m_strName[i] != in_strLine[i])
                return false;
        const std::size_t uiEquals = in_strLine.find_first_not_of(' ', m_strName.size());
        if (uiEquals == std::string::npos || in_strLine[uiEquals] != '=')
            return false;
        const std::size_t uiValue = in_strLine.find_first_not_of(' ', uiEquals + 1);
        out_strValue = uiValue == std::string::npos ? "" : in_strLine.substr(uiValue);
        return true;
    }

    bool matchesRegex(const std::string& in_strLine, std::string& out_strValue) const
    {
        boost::smatch matches;
        if (!boost::regex_match(in_strLine, matches, m_regex))
            return false;
        out_strValue = matches[2].str();
        return true;
    }

    std::string m_strName;
    bool m_bPlain;
    boost::regex m_regex;
};

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

/// The first tag behind a position in a line.
struct ParameterTrie::Tag
{
    /// The text before the tag, or, without a tag, the text to the end of the line. It begins after
    /// the last "$" that opens no tag.
    std::string_view text;
    /// The tag from its "$" to its "}".
    std::string_view tag;
    /// The name between the braces.
    std::string_view name;
};

/// The state of a reading that is shared by all lines of the text.
struct ParameterTrie::Reading
{
    const ParameterInfoDB* m_pDB;
    /// Whether `m_pDB` is the table of the process, the only one with bounds of parameters.
    bool m_bHasBounds;
    LoadSummary& m_summary;
    Parameter m_parameter{};
    /// The last name up to and including its last dot, and the node of that prefix, as the next
    /// name often has the same prefix. Nodes never move, so the pointer stays valid while lines are
    /// added.
    std::string m_strBranch{};
    StringTrie* m_pBranch = nullptr;
};

ParameterTrie::ParameterTrie() = default;

ParameterTrie::ParameterTrie(const StringTrie& in_trie) : StringTrie(in_trie) {}

ParameterTrie::ParameterTrie(const ParameterTrie&) = default;

ParameterTrie& ParameterTrie::operator=(const ParameterTrie& in_trie)
{
    StringTrie::operator=(in_trie);
    return *this;
}

ParameterTrie::~ParameterTrie() = default;

void ParameterTrie::getParameter(const char* in_szParamName, ParameterValue& out_value) const
{
    const StringTrie* const pNode = nodeOf(in_szParamName);
    out_value = pNode == nullptr ? ParameterValue() : pNode->data();
}

bool ParameterTrie::setParameter(const char* in_szParamName, const ParameterValue& in_value)
{
    nodeFor(in_szParamName).data() = in_value;
    return true;
}

const ParameterTrie::StringTrie* ParameterTrie::nodeOf(std::string_view in_name) const
{
    const DottedComponents components(in_name);
    return fastFind(components.begin(), components.end());
}

ParameterTrie::StringTrie& ParameterTrie::nodeFor(std::string_view in_name)
{
    StringTrie* pNode = this;
    for (const std::string_view component : DottedComponents(in_name))
        pNode = &childFor(*pNode, component);
    return *pNode;
}

std::pair<ParameterTrie::iterator, bool> ParameterTrie::insert(const char* in_szName,
                                                               const ParameterValue& in_value)
{
    std::vector<std::string> keySequence;
    dottedStringToVector(in_szName, keySequence);
    return insert(keySequence.begin(), keySequence.end(), in_value);
}

ParameterTrie::const_iterator ParameterTrie::find(const char* in_szName) const
{
    std::vector<std::string> tmpKeySequence;
    const unsigned long uiNumKey = dottedStringToVectorNoResize(in_szName, tmpKeySequence);
    VELMORA_FILE_ASSERT(tmpKeySequence.size() == uiNumKey);
    return find(tmpKeySequence.begin(), tmpKeySequence.end());
}

const ParameterTrie::StringTrie*
ParameterTrie::fastFind(const char* in_szName, std::vector<std::string>& out_scratch) const
{
    const auto uiNumKey =
        static_cast<std::ptrdiff_t>(dottedStringToVectorNoResize(in_szName, out_scratch));
    return fastFind(out_scratch.begin(), out_scratch.begin() + uiNumKey);
}

std::ostream& ParameterTrie::write(std::ostream& out_stream) const
{
    return writeImpl(out_stream, '\n');
}

std::ostream& ParameterTrie::write(std::ostream& out_stream, char in_cSeparator) const
{
    return writeImpl(out_stream, in_cSeparator);
}

std::ostream& ParameterTrie::writeImpl(std::ostream& out_stream, char in_cSeparator) const
{
    bool bFirst = true;
    std::string strName;
    for (const_iterator iter = begin(); iter.node() != nullptr; ++iter)
    {
        if (!iter.data().defined())
            continue;
        if (!bFirst)
            out_stream << in_cSeparator;
        bFirst = false;
        vectorToDottedString(iter.key(), strName);
        out_stream << strName << '=' << iter.data();
    }
    return out_stream;
}

void ParameterTrie::convertTo(log4cplus::helpers::Properties& out_properties) const
{
    std::string strName;
    for (const_iterator iter = begin(); iter.node() != nullptr; ++iter)
    {
        if (!iter.data().defined())
            continue;
        vectorToDottedString(iter.key(), strName);
        out_properties.setProperty(strName, textOf(iter.data()));
    }
}

bool ParameterTrie::substituteEnvVarsInValues()
{
    std::string strChanged;
    for (iterator iter = begin(); iter.node() != nullptr; ++iter)
    {
        if (iter.data().getType() != ParameterValue::STRING_TYPE)
            continue;
        const std::string_view text = static_cast<const char*>(iter.data());
        if (!substEnvironVars(text, strChanged))
        {
            VELMORA_FILE_LOG_ERROR("failed to substitute environment variables in " << text);
            return false;
        }
        if (strChanged != text)
            iter.data() = strChanged.c_str();
    }
    return true;
}

bool ParameterTrie::substituteEnvVarsInKeys()
{
    ParameterTrie changed;
    for (const_iterator iter = std::as_const(*this).begin(); iter.node() != nullptr; ++iter)
    {
        if (!iter.data().defined())
            continue;
        std::vector<std::string> keySequence = iter.key();
        for (std::string& component : keySequence)
            if (!substEnvironVars(component, component))
            {
                VELMORA_FILE_LOG_ERROR("failed to substitute environment variables in "
                                       << component);
                return false;
            }
        changed.insert(keySequence.begin(), keySequence.end(), iter.data()).first.data() =
            iter.data();
    }
    *this = changed;
    return true;
}

std::istream& ParameterTrie::read(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                                  char in_cDelimiter, bool in_bSubstitute,
                                  std::vector<std::string>* inout_pUnresolved,
                                  const ParameterTrie* in_pOther, LoadSummary* inout_pSummary)
{
    LoadSummary summaryOfNobody;
    Reading reading{in_pDB, in_pDB == &ParameterInfoDB::getInstance(),
                    inout_pSummary != nullptr ? *inout_pSummary : summaryOfNobody};
    // Reading past the last line sets the failbit, which must not keep the waiting lines from being
    // tried.
    QuietStream quiet(inout_stream);
    if (!readLines(reading, inout_stream, in_cDelimiter, in_bSubstitute, inout_pUnresolved,
                   in_pOther))
        inout_stream.setstate(std::ios::failbit);
    else
    {
        if (inout_pUnresolved != nullptr)
            processUnresolvedConfigLines(reading, inout_pUnresolved, in_pOther);
        if (inout_stream.eof())
            inout_stream.clear(std::ios::eofbit);
        if (inout_stream.fail())
            VELMORA_FILE_LOG_ERROR("failed to load ParameterTrie");
    }
    quiet.end();
    return inout_stream;
}

bool ParameterTrie::readLines(Reading& inout_reading, std::istream& inout_stream,
                              char in_cDelimiter, bool in_bSubstitute,
                              std::vector<std::string>* inout_pUnresolved,
                              const ParameterTrie* in_pOther)
{
    // Without a "$" the replacement changes nothing. It runs on such lines only to write its scopes
    // into the trace.
    const Logger* const pLogger = ::liveFileScopeLogger();
    const bool bTraced = pLogger != nullptr && pLogger->isEnabledFor(TRACE_LOG_LEVEL);
    std::string strLine;
    std::string strSubstituted;
    for (unsigned long uiLine = 1; std::getline(inout_stream, strLine, in_cDelimiter); ++uiLine)
    {
        if (isBlankOrComment(strLine))
            continue;
        if (in_bSubstitute && (bTraced || strLine.find('$') != std::string::npos))
        {
            const bool bResolved = substituteVars(strLine, strSubstituted, in_pOther);
            if (!bResolved && inout_pUnresolved == nullptr)
            {
                VELMORA_FILE_LOG_ERROR("Unable to resolve line [" << strSubstituted
                                                                  << "]. Parameter unknown");
                return false;
            }
            if (!bResolved)
            {
                VELMORA_FILE_LOG_DEBUG("Adding line to unresolved vector: " << strSubstituted);
                inout_pUnresolved->push_back(strSubstituted);
                continue;
            }
            strLine.swap(strSubstituted);
        }
        if (!addToTrie(inout_reading, strLine))
        {
            VELMORA_FILE_LOG_ERROR("parse error at line " << uiLine
                                                          << ". failed to parse : " << strLine);
            return false;
        }
    }
    return true;
}

// A tag matches the expression "([^$]*)(\\$\\{)([^${}]*)(\\})". A match can begin only after a "$"
// or at the beginning, so one pass over the line finds the same tags as a search with the
// expression.
bool ParameterTrie::findTag(std::string_view in_line, Tag& out_matches)
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

bool ParameterTrie::getKey(const char* in_lineStart, const char* in_lineEnd, Tag& out_matches)
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::getKey(in_lineStart, in_lineEnd, out_matches));
    return findTag({in_lineStart, static_cast<std::size_t>(in_lineEnd - in_lineStart)},
                   out_matches);
}

bool ParameterTrie::getKey(const std::string& in_strLine, std::string& out_strKey)
{
    Tag matches;
    if (!getKey(in_strLine.data(), in_strLine.data() + in_strLine.size(), matches))
        return false;
    out_strKey = matches.name;
    return true;
}

bool ParameterTrie::substituteVars(const std::string& in_strLine, std::string& out_strLine,
                                   const ParameterTrie* in_pOther) const
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
        if (!getReplacement(strName, in_pOther, strReplacement))
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

bool ParameterTrie::getReplacement(const std::string& in_strName, const ParameterTrie* in_pOther,
                                   std::string& out_strReplacement) const
{
    const StringTrie* pNode = nodeOf(in_strName.c_str());
    if ((pNode == nullptr || !pNode->data().defined()) && in_pOther != nullptr)
        pNode = in_pOther->nodeOf(in_strName.c_str());
    if (pNode != nullptr && pNode->data().defined())
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

bool ParameterTrie::addToTrie(Reading& inout_reading, const std::string& in_strLine)
{
    Parameter& parameter = inout_reading.m_parameter;
    const ParameterInfoDB* const pDB = inout_reading.m_pDB;
    const ParameterInitResult result =
        pDB == nullptr ? parameter.initFromText(in_strLine.c_str(), ParameterValue::UNDEF_TYPE)
                       : parameter.initFromText(in_strLine.c_str(), *pDB);
    if (result == INIT_UNDEFINED)
        return false;
    if (pDB != nullptr && result != INIT_OK)
        warnOfMisfit(parameter, result, inout_reading.m_summary);
    else if (inout_reading.m_bHasBounds && !isWithinBounds(parameter, inout_reading.m_summary))
        return true;
    VELMORA_FILE_ASSERT(parameter.getValue().defined());
    store(inout_reading);
    return true;
}

void ParameterTrie::warnOfMisfit(const Parameter& in_parameter, ParameterInitResult in_result,
                                 LoadSummary& inout_summary)
{
    const ParameterInfoDB& db = ParameterInfoDB::getInstance();
    const char* const szName = in_parameter.getName().c_str();
    if (in_result == INIT_UNKNOWN_PARAMETER)
    {
        if (in_parameter.getName().starts_with("log4cplus"))
            return;
        ++inout_summary.m_uiUnknownNames;
        std::string strClosestParamName;
        const bool bKnown = db.validateParamName(szName, strClosestParamName);
        VELMORA_FILE_ASSERT_TEXT(!bKnown,
                                 "! ParameterInfoDB::getInstance(). "
                                 "validateParamName(parameter.getName(), strClosestParamName)");
        VELMORA_FILE_LOG_WARN("Unknown parameter : " << szName << ". Closest known parameter : "
                                                     << strClosestParamName);
    }
    else if (in_result == INIT_WRONG_TYPE)
    {
        ++inout_summary.m_uiWrongTypes;
        ParameterInfo paramInfo;
        const bool bKnown = db.retrieve(szName, paramInfo);
        VELMORA_FILE_ASSERT_TEXT(
            bKnown, "ParameterInfoDB::getInstance(). retrieve(parameter.getName(), paramInfo)");
        VELMORA_FILE_LOG_WARN("Parameter "
                              << szName << " with type "
                              << ParameterValue::getTypeAsString(in_parameter.getValue().getType())
                              << " has wrong type. Should be "
                              << ParameterValue::getTypeAsString(paramInfo.m_type));
    }
    else
        VELMORA_FILE_ASSERT_TEXT(false, "0");
}

bool ParameterTrie::isWithinBounds(const Parameter& in_parameter, LoadSummary& inout_summary)
{
    ParameterBounds bounds;
    if (!ParameterInfoDB::retrieveBounds(in_parameter.getName().c_str(), bounds) ||
        bounds.contain(in_parameter.getValue()))
        return true;
    ++inout_summary.m_uiOutOfBounds;
    VELMORA_FILE_LOG_WARN("Parameter " << in_parameter.getName() << " with value "
                                       << in_parameter.getValue() << " is out of bounds. Should be "
                                       << bounds << ". The line is skipped");
    return false;
}

void ParameterTrie::store(Reading& inout_reading)
{
    const Parameter& parameter = inout_reading.m_parameter;
    ParameterValue& value = nodeForNext(inout_reading, parameter.getName()).data();
    if (value.defined())
    {
        ++inout_reading.m_summary.m_uiRedefinitions;
        VELMORA_FILE_LOG_WARN("Parameter " << parameter.getName() << " redefined from " << value
                                           << " to " << parameter.getValue());
    }
    value = parameter.getValue();
}

ParameterTrie::StringTrie& ParameterTrie::nodeForNext(Reading& inout_reading,
                                                      const std::string& in_strName)
{
    std::string& strBranch = inout_reading.m_strBranch;
    std::string_view name(in_strName);
    if (inout_reading.m_pBranch == nullptr || !name.starts_with(strBranch) ||
        name.find('.', strBranch.size()) != std::string_view::npos)
    {
        const std::size_t uiDot = name.rfind('.');
        strBranch = name.substr(0, uiDot == std::string_view::npos ? 0 : uiDot + 1);
        inout_reading.m_pBranch = &nodeFor(strBranch);
    }
    name.remove_prefix(strBranch.size());
    // A dot at the end adds no component: such a name is that of the branch.
    return name.empty() ? *inout_reading.m_pBranch : childFor(*inout_reading.m_pBranch, name);
}

void ParameterTrie::processUnresolvedConfigLines(Reading& inout_reading,
                                                 std::vector<std::string>* inout_pUnresolved,
                                                 const ParameterTrie* in_pOther)
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::processUnresolvedConfigLines);
    std::vector<std::string> lines;
    // Taken out of the caller's vector, which then receives the lines that are still unresolved.
    lines.swap(*inout_pUnresolved);
    std::string* const pEnd = lines.data() + lines.size();
    std::string strResolved;
    for (std::string* pLine = lines.data(); pLine != pEnd; ++pLine)
    {
        VELMORA_FILE_LOG_DEBUG("Trying to resolve param: " << *pLine);
        if (!resolveInVector(pLine, pEnd, strResolved, in_pOther))
            inout_pUnresolved->push_back(*pLine);
        else if (!addToTrie(inout_reading, strResolved))
            VELMORA_FILE_LOG_ERROR("parse error. failed to parse : " << strResolved);
    }
}

bool ParameterTrie::resolveInVector(std::string* inout_pLine, const std::string* in_pEnd,
                                    std::string& out_strLine, const ParameterTrie* in_pOther) const
{
    // Each pass replaces one tag. Its trace scope is nested in that of the previous pass.
    std::forward_list<TraceScope> passes;
    // The names replaced so far. A name that returns refers to itself, however indirectly.
    std::vector<std::string> namesMet;
    int iExpressions = 0;
    Tag tag;
    std::string* pFound = inout_pLine;
    for (;;)
    {
        passes.emplace_front(::liveFileScopeLogger(), "ParameterTrie::resolveInVector");
        if (substituteVars(*inout_pLine, out_strLine, in_pOther))
            return true;
        if (findTag(*inout_pLine, tag))
        {
            if (std::find(namesMet.begin(), namesMet.end(), tag.name) != namesMet.end() ||
                (!isPlainName(tag.name) && ++iExpressions > s_iMostExpressions))
                return false;
            namesMet.emplace_back(tag.name);
        }
        if (!findKeyValueInVector(inout_pLine, in_pEnd, pFound))
            return false;
        inout_pLine = pFound;
    }
}

bool ParameterTrie::findKeyValueInVector(std::string* inout_pLine, const std::string* in_pEnd,
                                         std::string*& out_pFound)
{
    VELMORA_FILE_TRACE_SCOPE(ParameterTrie::findKeyInVector);
    std::string strName;
    if (!getKey(*inout_pLine, strName))
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
                reportTooLong(*inout_pLine);
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

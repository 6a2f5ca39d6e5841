// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/SharedParameterValue.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/ClassicText.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/QuietStream.h"

#include <algorithm>
#include <istream>
#include <optional>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ParameterTrie)

namespace Velmora
{

namespace
{

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

} // namespace

/// The state of a reading that is shared by all lines of the text.
struct ParameterTrie::Reading
{
    const ParameterInfoDB* m_pDB;
    /// Whether `m_pDB` is the table of the process, the only one with bounds of parameters.
    bool m_bHasBounds;
    LoadSummary& m_summary;
    NameIndex* m_pIndex;
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

std::istream& ParameterTrie::read(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                                  char in_cDelimiter, bool in_bSubstitute,
                                  std::vector<std::string>* inout_pUnresolved,
                                  const ParameterTrie* in_pOther, LoadSummary* inout_pSummary)
{
    std::optional<UnresolvedLines> unresolved;
    if (inout_pUnresolved != nullptr)
        unresolved.emplace(*inout_pUnresolved);
    return readText(inout_stream, in_pDB, in_cDelimiter, in_bSubstitute, in_pOther,
                    {inout_pSummary, nullptr, unresolved ? &*unresolved : nullptr});
}

std::istream& ParameterTrie::read(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                                  const ParameterTrie* in_pOther, const ReadHelpers& in_helpers)
{
    return readText(inout_stream, in_pDB, '\n', true, in_pOther, in_helpers);
}

std::istream& ParameterTrie::readText(std::istream& inout_stream, const ParameterInfoDB* in_pDB,
                                      char in_cDelimiter, bool in_bSubstitute,
                                      const ParameterTrie* in_pOther, const ReadHelpers& in_helpers)
{
    LoadSummary summaryOfNobody;
    Reading reading{in_pDB, in_pDB == &ParameterInfoDB::getInstance(),
                    in_helpers.pSummary != nullptr ? *in_helpers.pSummary : summaryOfNobody,
                    in_helpers.pIndex};
    // Reading past the last line sets the failbit, which must not keep the waiting lines from being
    // tried.
    QuietStream quiet(inout_stream);
    const TagSubstitution tags(*this, in_pOther, in_helpers.pIndex);
    if (!readLines(reading, inout_stream, in_cDelimiter, in_bSubstitute ? &tags : nullptr,
                   in_helpers.pUnresolved))
        inout_stream.setstate(std::ios::failbit);
    else
    {
        if (in_helpers.pUnresolved != nullptr)
            in_helpers.pUnresolved->processUnresolvedConfigLines(
                tags,
                [&](const std::string& in_strLine) { return addToTrie(reading, in_strLine); });
        if (inout_stream.eof())
            inout_stream.clear(std::ios::eofbit);
        if (inout_stream.fail())
            VELMORA_FILE_LOG_ERROR("failed to load ParameterTrie");
    }
    quiet.end();
    return inout_stream;
}

bool ParameterTrie::readLines(Reading& inout_reading, std::istream& inout_stream,
                              char in_cDelimiter, const TagSubstitution* in_pTags,
                              UnresolvedLines* inout_pUnresolved)
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
        if (in_pTags != nullptr && (bTraced || strLine.find('$') != std::string::npos))
        {
            const bool bResolved = in_pTags->substituteVars(strLine, strSubstituted);
            if (!bResolved && inout_pUnresolved == nullptr)
            {
                VELMORA_FILE_LOG_ERROR("Unable to resolve line [" << strSubstituted
                                                                  << "]. Parameter unknown");
                return false;
            }
            if (!bResolved)
            {
                inout_pUnresolved->add(strSubstituted);
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
        // The closest name is found by a comparison with all that are known, which takes long.
        const Logger* const pLogger = ::liveFileScopeLogger();
        const bool bLogged = pLogger != nullptr && pLogger->isEnabledFor(WARN_LOG_LEVEL);
        std::string strClosestParamName;
        ParameterInfo paramInfo;
        const bool bKnown = bLogged ? db.validateParamName(szName, strClosestParamName)
                                    : db.retrieve(szName, paramInfo);
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
    Parameter& parameter = inout_reading.m_parameter;
    ParameterValue& value = nodeForNext(inout_reading, parameter.getName()).data();
    if (value.defined())
    {
        ++inout_reading.m_summary.m_uiRedefinitions;
        VELMORA_FILE_LOG_WARN("Parameter " << parameter.getName() << " redefined from " << value
                                           << " to " << parameter.getValue());
    }
    // Other threads may read the value of a configuration that has an index.
    SharedParameterValue::assign(value, parameter.takeValue());
}

ParameterTrie::StringTrie& ParameterTrie::nodeForNext(Reading& inout_reading,
                                                      const std::string& in_strName)
{
    if (inout_reading.m_pIndex != nullptr)
        return inout_reading.m_pIndex->nodeFor(in_strName);
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

} // namespace Velmora

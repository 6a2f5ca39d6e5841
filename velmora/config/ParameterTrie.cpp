// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/ConfigurationLine.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/SharedParameterValue.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/QuietStream.h"

#include <istream>
#include <optional>
#include <sstream>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ParameterTrie)

namespace Velmora
{

namespace
{

/// Returns the text that a stream is about to read; empty if that is not in memory.
std::string_view textOf(std::istream& inout_stream)
{
    auto* const pBuffer = dynamic_cast<std::stringbuf*>(inout_stream.rdbuf());
    if (pBuffer == nullptr)
        return {};
    const std::streamoff iPosition = pBuffer->pubseekoff(0, std::ios::cur, std::ios::in);
    return iPosition < 0 ? std::string_view()
                         : pBuffer->view().substr(static_cast<std::size_t>(iPosition));
}

std::string adviceForRedefinition(ReadingContext& inout_context, const std::string& in_strName)
{
    const LinePlace former = inout_context.definitionOf(in_strName);
    return ConfigurationAdvice::forRedefinition(inout_context.textOf(former),
                                                former.uiSource < inout_context.current().uiSource);
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
    ReadingContext& m_context;
    Parameter m_parameter{};
    /// Whether the last line has defined the parameter.
    bool m_bStored = false;
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
    return readText(
        inout_stream, in_pDB, in_cDelimiter, in_bSubstitute, in_pOther,
        {.pSummary = inout_pSummary, .pUnresolved = unresolved ? &*unresolved : nullptr});
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
    ReadingContext contextOfNobody;
    ReadingContext& context =
        in_helpers.pContext != nullptr ? *in_helpers.pContext : contextOfNobody;
    context.beginSource(in_helpers.sourceName, textOf(inout_stream), in_cDelimiter);
    Reading reading{in_pDB, in_pDB == &ParameterInfoDB::getInstance(),
                    in_helpers.pSummary != nullptr ? *in_helpers.pSummary : summaryOfNobody,
                    in_helpers.pIndex, context};
    // Reading past the last line sets the failbit, which must not keep the waiting lines from being
    // tried.
    QuietStream quiet(inout_stream);
    const TagSubstitution tags(*this, in_pOther, in_helpers.pIndex, context);
    if (!readLines(reading, inout_stream, in_cDelimiter, in_bSubstitute ? &tags : nullptr,
                   in_helpers.pUnresolved))
        inout_stream.setstate(std::ios::failbit);
    else
    {
        if (in_helpers.pUnresolved != nullptr)
            in_helpers.pUnresolved->processUnresolvedConfigLines(
                tags,
                [&](const std::string& in_strLine)
                {
                    const bool bParameter = addToTrie(reading, in_strLine);
                    if (reading.m_bStored)
                        context.define(reading.m_parameter.getName());
                    return bParameter;
                });
        if (inout_stream.eof())
            inout_stream.clear(std::ios::eofbit);
        if (inout_stream.fail())
            VELMORA_LOG_PROBLEM(context.problems(), ERROR_LOG_LEVEL,
                                "failed to load ParameterTrie");
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
    ReadingContext& context = inout_reading.m_context;
    std::string strLine;
    std::string strSubstituted;
    for (unsigned long uiLine = 1; std::getline(inout_stream, strLine, in_cDelimiter); ++uiLine)
    {
        if (uiLine == 1)
            ConfigurationLine::removeByteOrderMark(strLine);
        if (ConfigurationLine::isBlankOrComment(strLine))
            continue;
        context.advanceTo(uiLine);
        bool bSubstituted = false;
        if (in_pTags != nullptr && (bTraced || strLine.find('$') != std::string::npos))
        {
            // A raw value that another line takes over must not end in it.
            if (strLine.ends_with('\r'))
                strLine.pop_back();
            const bool bResolved = in_pTags->substituteVars(strLine, strSubstituted);
            if (!bResolved && inout_pUnresolved == nullptr)
            {
                VELMORA_LOG_PROBLEM(context.problems(), ERROR_LOG_LEVEL,
                                    "Unable to resolve line [" << strSubstituted
                                                               << "]. Parameter unknown");
                VELMORA_LOG_ADVICE(
                    context, ERROR_LOG_LEVEL, "",
                    ConfigurationAdvice::forUnknownTags(in_pTags->unknownNamesIn(strSubstituted),
                                                        ConfigurationLine::nameOf(strSubstituted)));
                return false;
            }
            if (!bResolved)
            {
                inout_pUnresolved->add(strSubstituted, *in_pTags);
                continue;
            }
            strLine.swap(strSubstituted);
            bSubstituted = true;
        }
        if (!addToTrie(inout_reading, strLine))
        {
            VELMORA_LOG_PROBLEM(context.problems(), ERROR_LOG_LEVEL,
                                "parse error at line " << uiLine
                                                       << ". failed to parse : " << strLine);
            VELMORA_LOG_ADVICE(context, ERROR_LOG_LEVEL, "",
                               ConfigurationAdvice::forParseError(
                                   bSubstituted ? strSubstituted : strLine, strLine));
            return false;
        }
        if (bSubstituted && inout_reading.m_bStored &&
            ConfigurationLine::nameOf(strSubstituted) != inout_reading.m_parameter.getName())
        {
            context.exclude(context.current());
            context.define(inout_reading.m_parameter.getName());
        }
    }
    return true;
}

bool ParameterTrie::addToTrie(Reading& inout_reading, const std::string& in_strLine)
{
    Parameter& parameter = inout_reading.m_parameter;
    const ParameterInfoDB* const pDB = inout_reading.m_pDB;
    inout_reading.m_bStored = false;
    const ParameterInitResult result =
        pDB == nullptr ? parameter.initFromText(in_strLine.c_str(), ParameterValue::UNDEF_TYPE)
                       : parameter.initFromText(in_strLine.c_str(), *pDB);
    if (result == INIT_UNDEFINED)
        return false;
    if (pDB != nullptr && result != INIT_OK)
        warnOfMisfit(inout_reading, result, in_strLine);
    else if (inout_reading.m_bHasBounds && !isWithinBounds(inout_reading, in_strLine))
        return true;
    VELMORA_FILE_ASSERT(parameter.getValue().defined());
    store(inout_reading);
    return true;
}

void ParameterTrie::warnOfMisfit(Reading& inout_reading, ParameterInitResult in_result,
                                 const std::string& in_strLine)
{
    const Parameter& parameter = inout_reading.m_parameter;
    ReadingContext& context = inout_reading.m_context;
    if (in_result == INIT_UNKNOWN_PARAMETER)
    {
        if (!parameter.getName().starts_with("log4cplus"))
            warnOfUnknownName(inout_reading, in_strLine);
    }
    else if (in_result == INIT_WRONG_TYPE)
    {
        ++inout_reading.m_summary.m_uiWrongTypes;
        const char* const szName = parameter.getName().c_str();
        ParameterInfo paramInfo;
        const bool bKnown = ParameterInfoDB::getInstance().retrieve(szName, paramInfo);
        VELMORA_FILE_ASSERT_TEXT(
            bKnown, "ParameterInfoDB::getInstance(). retrieve(parameter.getName(), paramInfo)");
        VELMORA_LOG_PROBLEM(context.problems(), WARN_LOG_LEVEL,
                            "Parameter "
                                << szName << " with type "
                                << ParameterValue::getTypeAsString(parameter.getValue().getType())
                                << " has wrong type. Should be "
                                << ParameterValue::getTypeAsString(paramInfo.m_type));
        if (bKnown)
            VELMORA_LOG_ADVICE(context, WARN_LOG_LEVEL, "",
                               ConfigurationAdvice::forWrongType(
                                   szName, paramInfo, ConfigurationLine::valueOf(in_strLine)));
    }
    else
        VELMORA_FILE_ASSERT_TEXT(false, "0");
}

void ParameterTrie::warnOfUnknownName(Reading& inout_reading, const std::string& in_strLine)
{
    const ParameterInfoDB& db = ParameterInfoDB::getInstance();
    const std::string& strName = inout_reading.m_parameter.getName();
    ReadingContext& context = inout_reading.m_context;
    ++inout_reading.m_summary.m_uiUnknownNames;
    // The closest name is found by a comparison with all that are known, which takes long.
    const Logger* const pLogger = ::liveFileScopeLogger();
    const bool bLogged = pLogger != nullptr && pLogger->isEnabledFor(WARN_LOG_LEVEL);
    std::string strClosestParamName;
    ParameterInfo paramInfo;
    const bool bKnown = bLogged ? db.validateParamName(strName.c_str(), strClosestParamName)
                                : db.retrieve(strName.c_str(), paramInfo);
    VELMORA_FILE_ASSERT_TEXT(!bKnown,
                             "! ParameterInfoDB::getInstance(). "
                             "validateParamName(parameter.getName(), strClosestParamName)");
    if (!bLogged)
        return;
    VELMORA_LOG_PROBLEM_OF_NAME(
        context.problems(), WARN_LOG_LEVEL, strName,
        "Unknown parameter : " << strName << ". Closest known parameter : " << strClosestParamName);
    const std::string strAdvice = ConfigurationAdvice::forUnknownName(
        strName,
        ConfigurationAdvice::isClose(strName, strClosestParamName) ? strClosestParamName : "",
        ConfigurationLine::valueOf(in_strLine));
    VELMORA_LOG_ADVICE(context, WARN_LOG_LEVEL, strName, strAdvice);
    if (context.problems() != nullptr)
        context.problems()->note(strName, context.lineAbout(context.current(), strAdvice));
}

bool ParameterTrie::isWithinBounds(Reading& inout_reading, const std::string& in_strLine)
{
    const Parameter& parameter = inout_reading.m_parameter;
    ReadingContext& context = inout_reading.m_context;
    ParameterBounds bounds;
    if (!ParameterInfoDB::retrieveBounds(parameter.getName().c_str(), bounds) ||
        bounds.contain(parameter.getValue()))
        return true;
    ++inout_reading.m_summary.m_uiOutOfBounds;
    VELMORA_LOG_PROBLEM(context.problems(), WARN_LOG_LEVEL,
                        "Parameter " << parameter.getName() << " with value "
                                     << parameter.getValue() << " is out of bounds. Should be "
                                     << bounds << ". The line is skipped");
    VELMORA_LOG_ADVICE(
        context, WARN_LOG_LEVEL, "",
        ConfigurationAdvice::forBounds(bounds, ConfigurationLine::valueOf(in_strLine)));
    context.exclude(context.current());
    return false;
}

void ParameterTrie::store(Reading& inout_reading)
{
    Parameter& parameter = inout_reading.m_parameter;
    ParameterValue& value = nodeForNext(inout_reading, parameter.getName()).data();
    if (value.defined())
    {
        ReadingContext& context = inout_reading.m_context;
        ++inout_reading.m_summary.m_uiRedefinitions;
        VELMORA_LOG_PROBLEM(context.problems(), WARN_LOG_LEVEL,
                            "Parameter " << parameter.getName() << " redefined from " << value
                                         << " to " << parameter.getValue());
        VELMORA_LOG_ADVICE(context, WARN_LOG_LEVEL, "",
                           adviceForRedefinition(context, parameter.getName()));
    }
    inout_reading.m_context.noteDefinition(parameter.getName());
    inout_reading.m_bStored = true;
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

#include "velmora/config/ParamDefs.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/ParamDefsCheck.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/BoostRegex.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/LevinsteinDistanceScan.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <sstream>
#include <string_view>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ParameterInfo)

namespace Velmora
{

namespace
{

using namespace ParamDefsCheck;

static_assert(areNamesWellFormed(s_paramDefsTable),
              "a name begins with \"keswardin.\" and has no empty component");
static_assert(areNamesDistinct(s_paramDefsTable), "two rows have the same name");
static_assert(areTypesOfParameters(s_paramDefsTable),
              "a parameter is a STRING, an INT, a BOOL or a FLOAT");
static_assert(doDefaultsFitTypes(s_paramDefsTable),
              "a default's text reads as a value of another type than the row's");
static_assert(areDescriptionsReadable(s_paramDefsTable),
              "a description is one line of text, and a deprecated row has one");

/// Replaces a value by the text that it prints as.
void convertToString(ParameterValue& inout_value)
{
    std::ostringstream text;
    text << inout_value;
    inout_value = text.str().c_str();
}

} // namespace

ParamDefs::ParamDefs() : ParamDefs(s_paramDefsTable) {}

ParamDefs::ParamDefs(std::span<const ParameterRow> in_rows)
{
    for (const ParameterRow& row : in_rows)
        addParameter(row.szName, row.type, row.szDefault, row.bRunTimeSettable, row.bDeprecated,
                     row.szDescription);
    listDefinitions();
    indexDefinitions();
}

ParamDefs::~ParamDefs() = default;

void ParamDefs::addParameter(const char* in_szName, ParameterValue::Type in_type,
                             const char* in_szDefault, bool in_bRunTimeSettable,
                             bool in_bDeprecated, const char* in_szDescription)
{
    if (in_type == ParameterValue::UNDEF_TYPE)
        return;
    std::vector<std::string> components;
    dottedStringToVector(in_szName, components);

    ParameterInfo paramInfo;
    paramInfo.m_type = in_type;
    if (in_szDefault != nullptr)
    {
        paramInfo.m_defaultValue.initFromText(in_szDefault, ParameterValue::UNDEF_TYPE, true);
        if (paramInfo.m_type != paramInfo.m_defaultValue.getType())
            VELMORA_FILE_LOG_ERROR("parameter " << in_szName << " default value type mismatch");
        VELMORA_FILE_ASSERT(paramInfo.m_type == paramInfo.m_defaultValue.getType());
    }
    paramInfo.m_bRunTimeSettable = in_bRunTimeSettable;
    paramInfo.m_bDeprecated = in_bDeprecated;
    paramInfo.m_strDescription = in_szDescription != nullptr ? in_szDescription : "";

    const auto insertionResult = fastInsert(components.begin(), components.end(), ParameterInfo());
    VELMORA_FILE_ASSERT_TEXT(insertionResult.first != nullptr, "insertionResult.first != 0");
    if (insertionResult.first == nullptr)
        return;
    VELMORA_FILE_ASSERT(insertionResult.first->data().m_type == ParameterValue::UNDEF_TYPE);
    insertionResult.first->data() = paramInfo;
}

void ParamDefs::listDefinitions()
{
    Tree::const_iterator iter(*this);
    for (; const Tree* const pNode = iter.node(); ++iter)
    {
        const ParameterInfo& info = pNode->data();
        if (info.m_type == ParameterValue::UNDEF_TYPE)
            continue;
        m_definitions.push_back({{}, &info});
        vectorToDottedString(iter.key(), m_definitions.back().strName);
    }
}

void ParamDefs::indexDefinitions()
{
    m_index.reserve(m_definitions.size());
    for (const Definition& definition : m_definitions)
        m_index.emplace(definition.strName, definition.pInfo);
}

const ParameterInfo* ParamDefs::find(const char* in_szName) const
{
    // One hash of the whole name takes half the time of a walk down the tree.
    std::string_view name(in_szName);
    if (name.empty())
        return nullptr;
    // It ends the last component and begins no further one.
    if (name.back() == '.')
        name.remove_suffix(1);
    const auto found = m_index.find(name);
    return found != m_index.end() ? found->second : nullptr;
}

const std::string& ParamDefs::findClosestName(const char* in_szName) const
{
    // Not destroyed: names are asked for until the end of the exit list.
    static const std::string& s_strNone = *new std::string;
    const std::string_view name(in_szName);
    LevinsteinDistanceScan scan(name);
    const std::string* pClosest = &s_strNone;
    unsigned long uiSmallest = std::numeric_limits<unsigned long>::max();
    for (const Definition& definition : m_definitions)
    {
        // The difference of the lengths is the least that the distance can be.
        const std::size_t uiLength = definition.strName.size();
        if (std::max(name.size(), uiLength) - std::min(name.size(), uiLength) >= uiSmallest)
            continue;
        const unsigned long uiDistance = scan.distance(definition.strName);
        if (uiDistance >= uiSmallest)
            continue;
        uiSmallest = uiDistance;
        pClosest = &definition.strName;
    }
    return *pClosest;
}

bool ParamDefs::retrieve(const char* in_szName, ParameterInfo& out_info) const
{
    const ParameterInfo* const pInfo = find(in_szName);
    if (pInfo == nullptr)
    {
        out_info.reset();
        return false;
    }
    out_info = *pInfo;
    return true;
}

ParameterValue::Type ParamDefs::retrieveType(const char* in_szName) const
{
    const ParameterInfo* const pInfo = find(in_szName);
    return pInfo != nullptr ? pInfo->m_type : ParameterValue::UNDEF_TYPE;
}

bool ParamDefs::retrieve(const char* in_szRegex,
                         std::vector<ParameterInfoWithName>& out_infos) const
{
    out_infos.clear();
    try
    {
        const BoostRegex regex(in_szRegex);
        for (const auto& [strName, pInfo] : m_definitions)
        {
            if (BoostRegex::regex_search(strName, regex))
                out_infos.emplace_back(strName, *pInfo);
        }
        return true;
    }
    catch (const std::exception& exception)
    {
        VELMORA_FILE_LOG_ERROR(exception.what());
        return false;
    }
}

void ParamDefs::addDefaultsToConfig(Configuration& inout_configuration,
                                    bool in_bIncludeDeprecated) const
{
    for (const auto& [strName, pInfo] : m_definitions)
    {
        if (pInfo->m_bDeprecated && !in_bIncludeDeprecated)
            continue;
        ParameterValue value;
        inout_configuration.getParameter(strName.c_str(), value);
        if (!value.defined())
        {
            if (pInfo->m_defaultValue.defined())
                inout_configuration.setParameter(strName.c_str(), pInfo->m_defaultValue);
        }
        else if (value.getType() != pInfo->m_type)
            VELMORA_FILE_LOG_WARN("ParamDefs::addDefaultsToConfig"
                                  << " : parameter " << strName << " with value " << value
                                  << " should be of type "
                                  << ParameterValue::getTypeAsString(pInfo->m_type) << ", not "
                                  << ParameterValue::getTypeAsString(value.getType()));
    }
}

bool ParamDefs::warnOnDeprecated(const ROConfiguration& in_configuration) const
{
    bool bFound = false;
    for (const auto& [strName, pInfo] : m_definitions)
    {
        if (!pInfo->m_bDeprecated)
            continue;
        ParameterValue value;
        in_configuration.getParameter(strName.c_str(), value);
        if (!value.defined())
            continue;
        bFound = true;
        VELMORA_FILE_LOG_WARN("Parameter " << strName << " is deprecated. "
                                           << pInfo->m_strDescription);
    }
    return bFound;
}

bool ParamDefs::validateParamName(const char* in_szName, std::string& out_strName) const
{
    if (find(in_szName) != nullptr)
    {
        out_strName = in_szName;
        return true;
    }
    out_strName = findClosestName(in_szName);
    return false;
}

bool ParamDefs::validateParamValue(const char* in_szName, ParameterValue& inout_value) const
{
    const ParameterInfo* const pInfo = find(in_szName);
    if (pInfo == nullptr || inout_value.getType() == pInfo->m_type)
        return true;
    if (inout_value.getType() == ParameterValue::INT_TYPE &&
        pInfo->m_type == ParameterValue::FLOAT_TYPE)
    {
        inout_value = static_cast<float>(static_cast<int>(inout_value));
        return true;
    }
    if (pInfo->m_type == ParameterValue::STRING_TYPE)
    {
        convertToString(inout_value);
        return true;
    }
    VELMORA_FILE_LOG_WARN("Parameter " << in_szName << " has type "
                                       << ParameterValue::getTypeAsString(inout_value.getType())
                                       << " but should be "
                                       << ParameterValue::getTypeAsString(pInfo->m_type));
    return false;
}

} // namespace Velmora

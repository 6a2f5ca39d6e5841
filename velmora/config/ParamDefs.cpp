// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefs.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/NameHash.h"
#include "velmora/config/ParamDefsCheck.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/ParameterLineSeam.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/BoostRegex.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/LevinsteinDistanceScan.h"
#include "velmora/system/WholeText.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <exception>
#include <limits>
#include <ostream>
#include <string_view>
#include <utility>

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
static_assert(areDescriptionsReadable(s_paramDefsTable),
              "a description is one line of text, and a deprecated row has one");

/// Names with more components are rare.
constexpr std::size_t s_uiUsualComponents = 8;

/// Replaces a value by its text.
void convertToString(ParameterValue& inout_value)
{
    inout_value =
        wholeText([&inout_value](std::ostream& out_stream) { out_stream << inout_value; }).c_str();
}

ParameterBounds readBounds(const ProgramParameter& in_row)
{
    ParameterBounds bounds;
    if (in_row.szLowest != nullptr)
        bounds.m_lowest.initFromText(in_row.szLowest, ParameterValue::UNDEF_TYPE, true);
    if (in_row.szHighest != nullptr)
        bounds.m_highest.initFromText(in_row.szHighest, ParameterValue::UNDEF_TYPE, true);
    return bounds;
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

ParamDefs::ParamDefs(std::span<const ProgramParameter> in_rows)
{
    for (const ProgramParameter& row : in_rows)
    {
        const ParameterInfo* const pInfo = addParameter(
            row.szName, row.type, row.szDefault, row.bRunTimeSettable, false, row.szDescription);
        if (ParameterBounds bounds = readBounds(row); bounds.defined())
            m_bounds.emplace(pInfo, std::move(bounds));
    }
    listDefinitions();
    indexDefinitions();
}

ParamDefs::~ParamDefs() = default;

const ParameterInfo* ParamDefs::addParameter(const char* in_szName, ParameterValue::Type in_type,
                                             const char* in_szDefault, bool in_bRunTimeSettable,
                                             bool in_bDeprecated, const char* in_szDescription)
{
    if (in_type == ParameterValue::UNDEF_TYPE)
        return nullptr;
    std::vector<std::string> components;
    components.reserve(s_uiUsualComponents);
    dottedStringToVector(in_szName, components);

    ParameterInfo paramInfo;
    paramInfo.m_type = in_type;
    if (in_szDefault != nullptr)
    {
        // Read without a target: the form of the text alone must give the row's type.
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
        return nullptr;
    VELMORA_FILE_ASSERT(insertionResult.first->data().m_type == ParameterValue::UNDEF_TYPE);
    insertionResult.first->data() = std::move(paramInfo);
    return &insertionResult.first->data();
}

void ParamDefs::listDefinitions()
{
    Tree::const_iterator iter(*this);
    for (; const Tree* const pNode = iter.node(); ++iter)
    {
        const ParameterInfo& info = pNode->data();
        if (info.m_type == ParameterValue::UNDEF_TYPE)
            continue;
        const auto bounds = m_bounds.find(&info);
        m_definitions.push_back(
            {{}, {&info, bounds != m_bounds.end() ? &bounds->second : nullptr}});
        vectorToDottedString(iter.key(), m_definitions.back().strName);
    }
}

void ParamDefs::indexDefinitions()
{
    // Filled when the list is complete: the slots refer to its elements, which move while it grows.
    m_index.resize(std::bit_ceil(2 * m_definitions.size() + 1));
    for (const Definition& definition : m_definitions)
    {
        const std::uint32_t uiHash = NameHash::hashOf(definition.strName);
        m_index[slotOf(definition.strName, uiHash)] = {definition.strName, uiHash,
                                                       definition.known};
    }
}

std::size_t ParamDefs::slotOf(std::string_view in_name, std::uint32_t in_uiHash) const
{
    const std::size_t uiMask = m_index.size() - 1;
    for (std::size_t uiSlot = in_uiHash & uiMask;; uiSlot = (uiSlot + 1) & uiMask)
    {
        const Slot& slot = m_index[uiSlot];
        if (slot.known.pInfo == nullptr ||
            (slot.uiHash == in_uiHash && NameHash::isEqual(in_name, slot.name)))
            return uiSlot;
    }
}

template <class Function>
void ParamDefs::forEachDefinition(Function in_function) const
{
    for (const ParamDefs* pTable = this; pTable != nullptr; pTable = pTable->next())
        for (const Definition& definition : pTable->m_definitions)
            in_function(definition);
}

ParamDefs::Known ParamDefs::find(const char* in_szName) const
{
    // One hash of the whole name takes half as long as a walk down the tree.
    std::string_view name(in_szName);
    if (name.empty())
        return {};
    // A dot at the end ends the last component and begins no further one.
    if (name.back() == '.')
        name.remove_suffix(1);
    const std::uint32_t uiHash = NameHash::hashOf(name);
    for (const ParamDefs* pTable = this; pTable != nullptr; pTable = pTable->next())
        if (const Known& known = pTable->m_index[pTable->slotOf(name, uiHash)].known;
            known.pInfo != nullptr)
            return known;
    return {};
}

const std::string& ParamDefs::findClosestName(const char* in_szName) const
{
    // Never destroyed: names are looked up until the end of the exit list.
    static const std::string& s_strNone = *new std::string;
    const std::string_view name(in_szName);
    LevinsteinDistanceScan scan(name);
    const std::string* pClosest = &s_strNone;
    unsigned long uiSmallest = std::numeric_limits<unsigned long>::max();
    forEachDefinition(
        [&](const Definition& in_definition)
        {
            // The distance is at least the difference of the lengths.
            const std::size_t uiLength = in_definition.strName.size();
            if (std::max(name.size(), uiLength) - std::min(name.size(), uiLength) >= uiSmallest)
                return;
            const unsigned long uiDistance = scan.distance(in_definition.strName);
            if (uiDistance >= uiSmallest)
                return;
            uiSmallest = uiDistance;
            pClosest = &in_definition.strName;
        });
    return *pClosest;
}

bool ParamDefs::retrieve(const char* in_szName, ParameterInfo& out_info) const
{
    const Known known = find(in_szName);
    if (known.pInfo == nullptr)
    {
        out_info.reset();
        return false;
    }
    out_info = *known.pInfo;
    return true;
}

ParameterValue::Type ParamDefs::retrieveType(const char* in_szName) const
{
    const Known known = find(in_szName);
    return known.pInfo != nullptr ? known.pInfo->m_type : ParameterValue::UNDEF_TYPE;
}

bool ParamDefs::retrieve(const char* in_szRegex,
                         std::vector<ParameterInfoWithName>& out_infos) const
{
    out_infos.clear();
    try
    {
        const BoostRegex regex(in_szRegex);
        forEachDefinition(
            [&](const Definition& in_definition)
            {
                if (BoostRegex::regex_search(in_definition.strName, regex))
                    out_infos.emplace_back(in_definition.strName, *in_definition.known.pInfo);
            });
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
    forEachDefinition(
        [&](const Definition& in_definition)
        {
            const auto& [strName, known] = in_definition;
            if (known.pInfo->m_bDeprecated && !in_bIncludeDeprecated)
                return;
            ParameterValue value;
            inout_configuration.getParameter(strName.c_str(), value);
            if (!value.defined())
            {
                if (known.pInfo->m_defaultValue.defined())
                    inout_configuration.setParameter(strName.c_str(), known.pInfo->m_defaultValue);
            }
            else if (value.getType() != known.pInfo->m_type)
                VELMORA_FILE_LOG_WARN(
                    "ParamDefs::addDefaultsToConfig"
                    << " : parameter " << strName << " with value " << value
                    << " should be of type " << ParameterValue::getTypeAsString(known.pInfo->m_type)
                    << ", not " << ParameterValue::getTypeAsString(value.getType()));
            else if (!known.allows(value))
                VELMORA_FILE_LOG_WARN("ParamDefs::addDefaultsToConfig"
                                      << " : parameter " << strName << " with value " << value
                                      << " should be " << *known.pBounds);
        });
}

bool ParamDefs::warnOnDeprecated(const ROConfiguration& in_configuration) const
{
    bool bFound = false;
    forEachDefinition(
        [&](const Definition& in_definition)
        {
            const auto& [strName, known] = in_definition;
            if (!known.pInfo->m_bDeprecated)
                return;
            ParameterValue value;
            in_configuration.getParameter(strName.c_str(), value);
            if (!value.defined())
                return;
            bFound = true;
            VELMORA_FILE_LOG_WARN("Parameter " << strName << " is deprecated. "
                                               << known.pInfo->m_strDescription);
            if (const std::string strLine = ParameterLineSeam::lineAbout(in_configuration, strName);
                !strLine.empty())
                VELMORA_FILE_LOG_WARN(strLine);
        });
    return bFound;
}

bool ParamDefs::validateParamName(const char* in_szName, std::string& out_strName) const
{
    if (find(in_szName).pInfo != nullptr)
    {
        out_strName = in_szName;
        return true;
    }
    out_strName = findClosestName(in_szName);
    return false;
}

bool ParamDefs::validateParamValue(const char* in_szName, ParameterValue& inout_value) const
{
    const Known known = find(in_szName);
    if (known.pInfo == nullptr)
        return true;
    const ParameterValue::Type type = known.pInfo->m_type;
    if (inout_value.getType() == type)
        return isWithinBounds(in_szName, known, inout_value);
    if (inout_value.getType() == ParameterValue::INT_TYPE && type == ParameterValue::FLOAT_TYPE)
    {
        ParameterValue converted;
        converted = static_cast<float>(static_cast<int>(inout_value));
        // Bounds of a FLOAT are floats, so the converted value is tested, and the caller's changes
        // only if it fits.
        if (!isWithinBounds(in_szName, known, converted))
            return false;
        inout_value = converted;
        return true;
    }
    if (type == ParameterValue::STRING_TYPE)
    {
        convertToString(inout_value);
        return true;
    }
    VELMORA_FILE_LOG_WARN("Parameter " << in_szName << " has type "
                                       << ParameterValue::getTypeAsString(inout_value.getType())
                                       << " but should be "
                                       << ParameterValue::getTypeAsString(type));
    return false;
}

bool ParamDefs::isWithinBounds(const char* in_szName, const Known& in_known,
                               const ParameterValue& in_value)
{
    if (in_known.allows(in_value))
        return true;
    VELMORA_FILE_LOG_WARN("Parameter " << in_szName << " has value " << in_value
                                       << " but should be " << *in_known.pBounds);
    return false;
}

} // namespace Velmora

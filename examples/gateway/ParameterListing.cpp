// SPDX-License-Identifier: BSD-2-Clause

#include "ParameterListing.h"

#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/system/BoostRegex.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;
using Velmora::ParameterBounds;
using Velmora::ParameterInfoDB;
using Velmora::ParameterInfoWithName;
using Velmora::ParameterValue;

namespace GatewayExample
{

namespace
{

/// Matches what the gateway reads itself, and what the library reads in any program.
constexpr const char* s_szOwn =
    "^(gateway\\..*"
    "|keswardin\\.(Installation\\.Directory|exitTimeoutSec|killTimeoutSec|run\\.mode)"
    "|keswardin\\.gw\\.(ringTimeoutMs|recordCalls\\.(enabled|directory))"
    "|keswardin\\.infra\\..*|keswardin\\.python\\..*"
    "|keswardin\\.media\\.(rtp\\.(IPAddress|udpPortRange)|rxStartTimeoutMs)"
    "|keswardin\\.rtp\\.encodingList"
    "|keswardin\\.sip\\.(TimerT1|TimerT2|lifetimeTimer|userAgentName|userAgent\\.IPAddress"
    "|state\\.Disconnecting\\.timeoutMs)"
    "|keswardin\\.system\\.cpu\\.monitor\\..*)$";

Json jsonOf(const ParameterValue& in_value)
{
    switch (in_value.getType())
    {
    case ParameterValue::STRING_TYPE:
        return static_cast<const char*>(in_value);
    case ParameterValue::INT_TYPE:
        return static_cast<int>(in_value);
    case ParameterValue::BOOL_TYPE:
        return static_cast<bool>(in_value);
    case ParameterValue::FLOAT_TYPE:
        return static_cast<float>(in_value);
    default:
        return nullptr;
    }
}

ParameterBounds boundsOf(const ParameterInfoWithName& in_parameter)
{
    ParameterBounds bounds;
    ParameterInfoDB::retrieveBounds(in_parameter.m_strName.c_str(), bounds);
    return bounds;
}

Json jsonOf(const ParameterInfoWithName& in_parameter)
{
    Json object{{"name", in_parameter.m_strName},
                {"type", ParameterValue::getTypeAsString(in_parameter.m_type)},
                {"default", jsonOf(in_parameter.m_defaultValue)}};
    const ParameterBounds bounds = boundsOf(in_parameter);
    if (bounds.m_lowest.defined())
        object["lowest"] = jsonOf(bounds.m_lowest);
    if (bounds.m_highest.defined())
        object["highest"] = jsonOf(bounds.m_highest);
    object["run-time-settable"] = in_parameter.m_bRunTimeSettable;
    object["deprecated"] = in_parameter.m_bDeprecated;
    object["description"] = in_parameter.m_strDescription;
    return object;
}

} // namespace

void ParameterListing::addOwn()
{
    std::vector<ParameterInfoWithName> own;
    ParameterInfoDB::getInstance().retrieve(s_szOwn, own);
    for (ParameterInfoWithName& parameter : own)
        if (!parameter.m_bDeprecated)
            m_parameters.push_back(std::move(parameter));
}

bool ParameterListing::add(const std::string& in_strRegex)
{
    // Throws if the expression is wrong. The table would log that, where nobody expects a log yet.
    const Velmora::BoostRegex checked(in_strRegex.c_str());
    std::vector<ParameterInfoWithName> found;
    if (!ParameterInfoDB::getInstance().retrieve(in_strRegex.c_str(), found))
        return false;
    m_parameters.insert(m_parameters.end(), found.begin(), found.end());
    return !found.empty();
}

void ParameterListing::writeText(std::ostream& out_stream) const
{
    for (const ParameterInfoWithName& parameter : m_parameters)
    {
        out_stream << "name=" << parameter.m_strName << ' ' << parameter;
        const ParameterBounds bounds = boundsOf(parameter);
        if (bounds.defined())
            out_stream << " bounds=\"" << bounds << '"';
        out_stream << '\n';
    }
}

void ParameterListing::writeJson(std::ostream& out_stream) const
{
    Json list = Json::array();
    for (const ParameterInfoWithName& parameter : m_parameters)
        list.push_back(jsonOf(parameter));
    out_stream << list.dump(2) << '\n';
}

} // namespace GatewayExample

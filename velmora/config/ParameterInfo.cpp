#include "velmora/config/ParameterInfo.h"

#include <ostream>
#include <utility>

namespace Velmora
{

namespace
{

const char* boolText(bool in_bValue) { return in_bValue ? "true" : "false"; }

} // namespace

void ParameterInfo::reset()
{
    m_type = ParameterValue::UNDEF_TYPE;
    m_defaultValue = ParameterValue();
    m_bRunTimeSettable = false;
    m_bDeprecated = false;
    m_strDescription.clear();
}

std::ostream& ParameterInfo::write(std::ostream& out_stream) const
{
    return out_stream << "type=" << ParameterValue::getTypeAsString(m_type)
                      << " default-value=" << m_defaultValue
                      << " run-time-settable=" << boolText(m_bRunTimeSettable)
                      << " deprecated=" << boolText(m_bDeprecated) << " description=\""
                      << m_strDescription << '"';
}

std::ostream& operator<<(std::ostream& out_stream, const ParameterInfo& in_info)
{
    return in_info.write(out_stream);
}

ParameterInfoWithName::ParameterInfoWithName(std::string in_strName, const ParameterInfo& in_info)
    : ParameterInfo(in_info), m_strName(std::move(in_strName))
{
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterInfo.h"

#include "velmora/system/ClassicText.h"

#include <ostream>
#include <utility>

namespace Velmora
{

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
                      << " run-time-settable=" << ClassicText::ofBool(m_bRunTimeSettable)
                      << " deprecated=" << ClassicText::ofBool(m_bDeprecated) << " description=\""
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

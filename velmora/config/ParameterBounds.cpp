// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterBounds.h"

#include <ostream>

namespace Velmora
{

namespace
{

bool isAtMost(const ParameterValue& in_left, const ParameterValue& in_right)
{
    if (in_left.getType() != in_right.getType())
        return false;
    if (in_left.getType() == ParameterValue::INT_TYPE)
        return static_cast<int>(in_left) <= static_cast<int>(in_right);
    return in_left.getType() == ParameterValue::FLOAT_TYPE &&
           static_cast<float>(in_left) <= static_cast<float>(in_right);
}

} // namespace

bool ParameterBounds::contain(const ParameterValue& in_value) const
{
    return (!m_lowest.defined() || isAtMost(m_lowest, in_value)) &&
           (!m_highest.defined() || isAtMost(in_value, m_highest));
}

std::ostream& ParameterBounds::write(std::ostream& out_stream) const
{
    if (m_lowest.defined() && m_highest.defined())
        return out_stream << "from " << m_lowest << " to " << m_highest;
    if (m_lowest.defined())
        return out_stream << "at least " << m_lowest;
    if (m_highest.defined())
        return out_stream << "at most " << m_highest;
    return out_stream;
}

std::ostream& operator<<(std::ostream& out_stream, const ParameterBounds& in_bounds)
{
    return in_bounds.write(out_stream);
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/InvalidParamValueTypeException.h"

#include <ostream>

namespace Velmora
{

InvalidParamValueTypeException::InvalidParamValueTypeException(
    ParameterValue::Type in_requestedType, ParameterValue::Type in_actualType)
    : m_requestedType(in_requestedType), m_actualType(in_actualType)
{
}

InvalidParamValueTypeException::~InvalidParamValueTypeException() = default;

std::ostream& InvalidParamValueTypeException::write(std::ostream& out_stream) const
{
    return out_stream << "InvalidParamValueTypeException : requested "
                      << ParameterValue::getTypeAsString(m_requestedType) << " actual "
                      << ParameterValue::getTypeAsString(m_actualType);
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Assertion.h"
#include "velmora/config/InvalidParamValueTypeException.h"
#include "velmora/config/ParameterValue.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(Parameter)

namespace Velmora
{

namespace
{

void logWrongType(ParameterValue::Type in_requestedType, ParameterValue::Type in_actualType)
{
    VELMORA_FILE_LOG_ERROR(InvalidParamValueTypeException(in_requestedType, in_actualType));
}

} // namespace

ParameterValue::operator const char*() const
{
    if (m_type == STRING_TYPE)
        return m_payload.szString;
    logWrongType(STRING_TYPE, m_type);
    VELMORA_FILE_ASSERT(m_type == STRING_TYPE);
    return nullptr;
}

ParameterValue::operator int() const
{
    if (m_type == INT_TYPE)
        return m_payload.iInt;
    logWrongType(INT_TYPE, m_type);
    VELMORA_FILE_ASSERT(m_type == INT_TYPE);
    return 0;
}

ParameterValue::operator long() const
{
    if (m_type == LONG_TYPE)
        return m_payload.lLong;
    logWrongType(LONG_TYPE, m_type);
    VELMORA_FILE_ASSERT(m_type == LONG_TYPE);
    return 0;
}

ParameterValue::operator bool() const
{
    if (m_type == BOOL_TYPE)
        return m_payload.bBool;
    logWrongType(BOOL_TYPE, m_type);
    VELMORA_FILE_ASSERT(m_type == BOOL_TYPE);
    return false;
}

ParameterValue::operator float() const
{
    if (m_type == FLOAT_TYPE)
        return m_payload.fFloat;
    logWrongType(FLOAT_TYPE, m_type);
    VELMORA_FILE_ASSERT(m_type == FLOAT_TYPE);
    return 0.0F;
}

} // namespace Velmora

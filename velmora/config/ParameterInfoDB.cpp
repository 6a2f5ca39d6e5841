// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterInfoDB.h"

namespace Velmora
{

ParameterInfoDB::~ParameterInfoDB() = default;

ParameterValue::Type ParameterInfoDB::retrieveType(const char* in_szName) const
{
    ParameterInfo info;
    return retrieve(in_szName, info) ? info.m_type : ParameterValue::UNDEF_TYPE;
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterHashMap.h"

#include "velmora/logging/LibraryLoggers.h"

#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ParameterHashMap)

namespace Velmora
{

namespace
{

constexpr std::size_t s_uiBucketHint = 100;

} // namespace

ParameterHashMap::ParameterHashMap()
    : std::unordered_map<std::string, ParameterValue>(s_uiBucketHint)
{
}

ParameterHashMap::~ParameterHashMap() = default;

void ParameterHashMap::getParameter(const char* in_szParamName, ParameterValue& out_value) const
{
    const const_iterator found = find(in_szParamName);
    out_value = found != end() ? found->second : ParameterValue();
}

bool ParameterHashMap::setParameter(const char* in_szParamName, const ParameterValue& in_value)
{
    insert_or_assign(in_szParamName, in_value);
    return true;
}

std::ostream& ParameterHashMap::write(std::ostream& out_stream) const
{
    const char* szSeparator = "";
    for (const auto& [strName, value] : *this)
    {
        out_stream << szSeparator << strName << ' ' << value;
        szSeparator = "\n";
    }
    return out_stream;
}

} // namespace Velmora

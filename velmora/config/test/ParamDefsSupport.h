// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParamDefs.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora
{

inline void PrintTo(const ParameterInfoWithName& in_info, std::ostream* out_pStream)
{
    *out_pStream << in_info.m_strName << ' ' << in_info;
}

} // namespace Velmora

namespace Velmora::Test
{

inline constexpr const char* s_szLogger = "keswardin.infra.ParameterInfo";

/// Returns a row with a name and a type only.
inline ParameterRow row(const char* in_szName, ParameterValue::Type in_type = INT_TYPE,
                        const char* in_szDefault = nullptr)
{
    return {in_szName, in_type, in_szDefault, false, false, nullptr};
}

/// Returns a table of the given rows, which belongs to the test and not to the exit list.
inline ParamDefs tableOf(const std::vector<ParameterRow>& in_rows) { return ParamDefs(in_rows); }

inline std::string dumped(const ParameterValue& in_value)
{
    // A LONG value has no dump.
    if (in_value.getType() == ParameterValue::LONG_TYPE)
        return "type=LONG value=" + std::to_string(static_cast<long>(in_value));
    std::ostringstream text;
    in_value.dump(text);
    return text.str();
}

inline bool isKnown(const ParamDefs& in_defs, const char* in_szName)
{
    ParameterInfo info;
    return in_defs.retrieve(in_szName, info);
}

inline std::vector<std::string> namesMatching(const ParamDefs& in_defs, const char* in_szRegex)
{
    std::vector<ParameterInfoWithName> infos;
    EXPECT_TRUE(in_defs.retrieve(in_szRegex, infos));
    std::vector<std::string> names;
    for (const ParameterInfoWithName& info : infos)
        names.push_back(info.m_strName);
    return names;
}

inline std::string written(const ParameterInfo& in_info)
{
    std::ostringstream text;
    text << in_info;
    return text.str();
}

/// Returns the text of a known parameter's definition.
inline std::string described(const ParamDefs& in_defs, const char* in_szName)
{
    ParameterInfo info;
    EXPECT_TRUE(in_defs.retrieve(in_szName, info)) << in_szName;
    return written(info);
}

} // namespace Velmora::Test

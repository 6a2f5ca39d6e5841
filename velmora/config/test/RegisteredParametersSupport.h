// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"

#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

using Rows = std::vector<ProgramParameter>;

inline constexpr std::size_t s_uiRowsOfLibrary = 299;

inline constexpr ProgramParameter s_port = {.szName = "monitor.port",
                                            .type = ParameterValue::INT_TYPE,
                                            .szDefault = "8090",
                                            .szLowest = "1",
                                            .szHighest = "65535",
                                            .szDescription =
                                                "The port on which the monitor serves."};
inline constexpr ProgramParameter s_load = {.szName = "monitor.load",
                                            .type = ParameterValue::FLOAT_TYPE,
                                            .szDefault = "0.5",
                                            .szHighest = "1.0",
                                            .bRunTimeSettable = true};
inline constexpr ProgramParameter s_realm = {.szName = "monitor.realm",
                                             .type = ParameterValue::STRING_TYPE};

inline bool registerRows(const Rows& in_rows)
{
    return ParameterInfoDB::registerParameters(in_rows);
}

inline LogLine error(const std::string& in_strText)
{
    return errorLine("keswardin.infra.ParameterInfo", in_strText);
}

inline bool isKnown(const char* in_szName)
{
    ParameterInfo info;
    return ParameterInfoDB::getInstance().retrieve(in_szName, info);
}

inline std::vector<std::string> namesMatching(const char* in_szRegex)
{
    std::vector<ParameterInfoWithName> infos;
    EXPECT_TRUE(ParameterInfoDB::getInstance().retrieve(in_szRegex, infos));
    std::vector<std::string> names;
    for (const ParameterInfoWithName& info : infos)
        names.push_back(info.m_strName);
    return names;
}

inline std::string closest(const char* in_szName)
{
    std::string strName;
    EXPECT_FALSE(ParameterInfoDB::getInstance().validateParamName(in_szName, strName));
    return strName;
}

inline bool loadText(GlobalConfig& inout_config, const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    return inout_config.load(stream);
}

inline int intOf(const ROConfiguration& in_config, const char* in_szName)
{
    int iValue = -12345;
    in_config.getIntParameter(in_szName, iValue);
    return iValue;
}

} // namespace Velmora::Test

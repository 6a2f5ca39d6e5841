// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ios>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

namespace Velmora::Test
{

using Urls = std::vector<std::string>;

inline constexpr std::ios::iostate s_allStates =
    std::ios::badbit | std::ios::failbit | std::ios::eofbit;

inline constexpr const char* s_szLogger = "keswardin.infra.GlobalConfig";
inline constexpr const char* s_szTrieLogger = "keswardin.infra.ParameterTrie";

inline LogLine error(const std::string& in_strText) { return errorLine(s_szLogger, in_strText); }
inline LogLine debug(const std::string& in_strText) { return debugLine(s_szLogger, in_strText); }
inline LogLine info(const std::string& in_strText) { return infoLine(s_szLogger, in_strText); }

inline bool loadText(GlobalConfig& inout_config, const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    return inout_config.load(stream);
}

inline std::string stringOf(const ROConfiguration& in_config, const char* in_szName)
{
    std::string strValue = "(none)";
    in_config.getStringParameter(in_szName, strValue);
    return strValue;
}

inline int intOf(const ROConfiguration& in_config, const char* in_szName)
{
    int iValue = -12345;
    in_config.getIntParameter(in_szName, iValue);
    return iValue;
}

/// A configuration for one test, in a temporary directory.
class GlobalConfigTest : public testing::Test
{
  protected:
    ~GlobalConfigTest() override { Logger::configureDefault(); }

    /// Writes a file and returns its path.
    std::string write(const std::string& in_strName, const std::string& in_strText)
    {
        const std::string strPath = m_directory.file(in_strName);
        std::filesystem::create_directories(std::filesystem::path(strPath).parent_path());
        std::ofstream(strPath) << in_strText;
        return strPath;
    }

    bool set(const char* in_szName, const ParameterValue& in_value)
    {
        return m_config.setParameter(in_szName, in_value);
    }

    template <class T>
    static ParameterValue valueOf(T in_value)
    {
        ParameterValue value;
        value = in_value;
        return value;
    }

    TemporaryDirectory m_directory;
    CapturedLog m_log{DEBUG_LOG_LEVEL};
    GlobalConfigImpl m_config;
};

/// A buffer that can be neither read nor written.
class BrokenBuffer : public std::streambuf
{
  protected:
    int_type underflow() override { throw std::runtime_error("cannot be read"); }
    int_type overflow(int_type) override { throw std::runtime_error("cannot be written"); }
};

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ConfigCache.h"
#include "velmora/config/ParameterHashMap.h"

#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmora::Test
{

using Names = std::vector<std::string>;

inline constexpr const char* s_szLogger = "keswardin.infra.ConfigCache";

inline const LogLine s_hit = debugLine(s_szLogger, "ConfigCache::getParameter cache hit");
inline const LogLine s_miss = debugLine(s_szLogger, "ConfigCache::getParameter cache miss");

/// A store that records the names that it is asked for.
class Behind : public ParameterHashMap
{
  public:
    ~Behind() override
    {
        if (m_onDestruction)
            m_onDestruction();
    }
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        m_asked.emplace_back(in_szParamName);
        if (m_bThrows)
            throw std::runtime_error("behind");
        ParameterHashMap::getParameter(in_szParamName, out_value);
    }

    mutable Names m_asked;
    bool m_bThrows = false;
    std::function<void()> m_onDestruction;
};

class ConfigCacheTest : public testing::Test
{
  protected:
    ConfigCacheTest() { m_cache.setConfiguration(m_hConfig); }

    /// Returns the result of a read in the form of `dump`.
    std::string read(const char* in_szName) const
    {
        ParameterValue value;
        value = "of before";
        m_cache.getParameter(in_szName, value);
        std::ostringstream text;
        value.dump(text);
        return text.str();
    }

    Behind& m_behind = *new Behind;
    const TSHandle<ROConfiguration> m_hConfig{&m_behind};
    ConfigCache m_cache;
};

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigCache.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/AccountMemBlock.h"
#include "velmora/system/DottedName.h"

#include <cstddef>
#include <memory>
#include <new>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ConfigCache)

namespace Velmora
{

ConfigCache::ConfigCache() : ConfigCache(*fileScopeLogger()) {}

ConfigCache::ConfigCache(const Logger& in_logger) : ObjectWithLogger<LoggingIdLogger>(in_logger) {}

ConfigCache::~ConfigCache() = default;

void ConfigCache::setConfiguration(const TSHandle<ROConfiguration>& in_hConfig)
{
    VELMORA_TRACE_SCOPE(ConfigCache::setConfiguration);
    if (!(m_hConfig == in_hConfig))
        m_hConfig = in_hConfig;
    m_bHasOwnerThread = true;
    m_ownerThread = std::this_thread::get_id();
    flush();
}

void ConfigCache::flush()
{
    m_cachedValues.clear();
    // The empty name is remembered in the root, which `clear` does not empty.
    m_cachedValues.data().reset();
}

void ConfigCache::getParameter(const char* in_szParamName, ParameterValue& out_value) const
{
    // The level is found once because finding it walks up to the first logger that has a level.
    const LogLevel level = getLogger().getLogLevel();
    const TraceScope traceScope(getLogger(), "ConfigCache::getParameter", level);
    out_value = ParameterValue();
    // The components are parts of the name itself, so that a hit allocates nothing for them.
    const DottedComponents components(in_szParamName);
    const CachedValues* const pFound =
        m_cachedValues.fastFind(components.begin(), components.end());
    if (pFound != nullptr && pFound->data() != nullptr)
    {
        // The level is known already; the macro alone would look for it again.
        if (level <= DEBUG_LOG_LEVEL) [[unlikely]]
            VELMORA_LOG_DEBUG("ConfigCache::getParameter cache hit");
        out_value = *pFound->data();
        return;
    }
    VELMORA_LOG_DEBUG("ConfigCache::getParameter cache miss");
    if (m_hConfig.isNull())
    {
        VELMORA_LOG_ERROR("ConfigCache failed to getParameter "
                          << in_szParamName << " because the cache is not properly initialized");
        VELMORA_ASSERT_TEXT(!m_hConfig.isNull(), "! m_hConfig.isNull()");
        return;
    }
    // The output is set before memory is needed to remember the value.
    m_hConfig->getParameter(in_szParamName, out_value);
    nodeFor(in_szParamName).data() = makeCachedValue(out_value);
}

ConfigCache::CachedValues& ConfigCache::nodeFor(const char* in_szParamName) const
{
    const auto uiNumComponents =
        static_cast<std::ptrdiff_t>(dottedStringToVectorNoResize(in_szParamName, m_nameComponents));
    return *m_cachedValues
                .fastInsert(m_nameComponents.begin(), m_nameComponents.begin() + uiNumComponents,
                            CachedValue())
                .first;
}

ConfigCache::CachedValue ConfigCache::makeCachedValue(const ParameterValue& in_value)
{
    AccountMemBlock block(sizeof(ParameterValue), s_szParamValueAccountName);
    auto* const pValue = ::new (block.get()) ParameterValue(in_value);
    block.release();
    return CachedValue(pValue);
}

void ConfigCache::DeleteValue::operator()(ParameterValue* in_pValue) const
{
    std::destroy_at(in_pValue);
    DefaultStaticMemAllocator::deallocate(in_pValue, sizeof(ParameterValue),
                                          s_szParamValueAccountName);
}

} // namespace Velmora

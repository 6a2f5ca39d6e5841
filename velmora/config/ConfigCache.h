// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/Trie.h"
#include "velmora/logging/LoggingIdLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <string>
#include <thread>
#include <vector>

namespace Velmora
{

namespace Test
{
class ConfigCachePeer;
}

/// A cache in front of a configuration. It remembers each answer, including the answer that a
/// parameter is not defined. It is for code that reads the same few parameters repeatedly, for
/// example for each call, and is read like any `ROConfiguration`:
///
///     ConfigCache cache;
///     cache.setConfiguration(GlobalConfig::getInstance());
///     int iPort = 0;
///     cache.getIntParameter("keswardin.sip.port", iPort);
///
/// Cached values do not expire: a change of the configuration is seen after `flush` or
/// `setConfiguration` only. The cache grows with the number of different names that are read, and
/// only these two operations shrink it.
///
/// A cache hit costs a look-up for each component of the name and the copy of the value. It takes
/// no lock, does not call the configuration, and allocates memory for a STRING value only.
///
/// Logs on the logger given to the constructor.
///
/// Thread-safety: none, although reading is const, because reading changes the cache. A cache
/// belongs to one user, such as a thread or a call; the configuration behind it may be shared.
/// Ownership: shares the configuration, and owns what it remembers. A cache must not outlive the
/// allocators, which the exit list destroys.
/// Failure: a parameter that is read before `setConfiguration` is undefined; an error and a failed
/// assertion are logged. Throws `std::bad_alloc` if there is no memory; the value may then have
/// been read but not remembered.
class VELMORA_API ConfigCache : public ROConfiguration, public ObjectWithLogger<LoggingIdLogger>
{
  public:
    /// Makes a cache that logs on "keswardin.infra.ConfigCache".
    ConfigCache();
    explicit ConfigCache(const Logger& in_logger);
    ConfigCache(const ConfigCache&) = delete;
    ConfigCache& operator=(const ConfigCache&) = delete;
    ~ConfigCache() override;

    /// Sets the configuration to read from and forgets all answers, even if it is the same
    /// configuration. With null, the cache has no configuration.
    void setConfiguration(const TSHandle<ROConfiguration>& in_hConfig);

    /// Forgets all answers.
    void flush();

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override;

  private:
    friend class Test::ConfigCachePeer;

    /// Destroys a value and returns its memory to its account.
    struct DeleteValue
    {
        void operator()(ParameterValue* in_pValue) const;
    };
    /// A counted pointer to a remembered value; null if nothing is remembered. It is a class of its
    /// own because the statics of the tree are exported only if its types are.
    class VELMORA_API CachedValue
        : public CountedBuiltInPtr<ParameterValue, ReferenceCount, DeleteValue>
    {
      public:
        using CountedBuiltInPtr::CountedBuiltInPtr;
    };
    using CachedValues = Trie<std::string, CachedValue, LMHashFcn<std::string>>;

    static CachedValue makeCachedValue(const ParameterValue& in_value);

    /// Returns the node of a name. Makes the node if there is none.
    CachedValues& nodeFor(const char* in_szParamName) const;

    TSHandle<ROConfiguration> m_hConfig;

    /// The thread that has set the configuration; for use in a debugger only.
    bool m_bHasOwnerThread = false;
    std::thread::id m_ownerThread;

    mutable CachedValues m_cachedValues;

    /// The components of the name that was remembered last. The strings are kept so that the next
    /// name can reuse their memory.
    mutable std::vector<std::string> m_nameComponents;
};

} // namespace Velmora

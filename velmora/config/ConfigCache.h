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

/// Stands in front of a configuration and remembers each answer that it has given, also that a
/// parameter is not defined. Code that reads the same few parameters over and over, as for each
/// call, has one and reads through it as through any `ROConfiguration`:
///
///     ConfigCache cache;
///     cache.setConfiguration(GlobalConfig::getInstance());
///     int iPort = 0;
///     cache.getIntParameter("keswardin.sip.port", iPort);
///
/// A value never grows old: a change behind the cache is seen after `flush` or `setConfiguration`.
/// The cache grows with the number of different names that it is asked for, and shrinks with these
/// two only.
///
/// A parameter that is remembered costs a look-up for each component of its name and the copy of
/// the value: no lock, no call of the configuration behind, and memory for a STRING value only.
///
/// Logs on its logger.
///
/// Thread-safety: none, although reading is const: reading changes the cache. It belongs to one
/// user, as a thread or a call, while the configuration behind is shared.
/// Ownership: shares the configuration behind, and owns what it remembers. It must not outlive the
/// allocators, which go with the exit list.
/// Failure: a parameter that is read before `setConfiguration` is undefined, with an error in the
/// log and a failed assertion. `std::bad_alloc` when there is no memory; the value has been read by
/// then and may not be remembered.
class VELMORA_API ConfigCache : public ROConfiguration, public ObjectWithLogger<LoggingIdLogger>
{
  public:
    /// Logs on "keswardin.infra.ConfigCache".
    ConfigCache();
    explicit ConfigCache(const Logger& in_logger);
    ConfigCache(const ConfigCache&) = delete;
    ConfigCache& operator=(const ConfigCache&) = delete;
    ~ConfigCache() override;

    /// Reads from that configuration from now on, and forgets everything, also when it is the same
    /// one. Null leaves the cache without a configuration.
    void setConfiguration(const TSHandle<ROConfiguration>& in_hConfig);

    /// Forgets everything.
    void flush();

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override;

  private:
    friend class Test::ConfigCachePeer;

    /// Gives a value back to its account.
    struct DeleteValue
    {
        void operator()(ParameterValue* in_pValue) const;
    };
    /// Null where nothing is remembered. A class of its own, as the statics of the tree are
    /// exported only where its types are.
    class VELMORA_API CachedValue
        : public CountedBuiltInPtr<ParameterValue, ReferenceCount, DeleteValue>
    {
      public:
        using CountedBuiltInPtr::CountedBuiltInPtr;
    };
    using CachedValues = Trie<std::string, CachedValue, LMHashFcn<std::string>>;

    static CachedValue makeCachedValue(const ParameterValue& in_value);

    /// The node of a name, made when there is none.
    CachedValues& nodeFor(const char* in_szParamName) const;

    TSHandle<ROConfiguration> m_hConfig;

    /// Which thread has set the configuration; for a debugger.
    bool m_bHasOwnerThread = false;
    std::thread::id m_ownerThread;

    mutable CachedValues m_cachedValues;

    /// The components of the name that is remembered last. Its strings stay, so that the next name
    /// needs no memory for them.
    mutable std::vector<std::string> m_nameComponents;
};

} // namespace Velmora

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/memory/InAccount.h"

#include <ace/RW_Thread_Mutex.h>

#include <atomic>
#include <iosfwd>
#include <string>
#include <thread>
#include <vector>

namespace Velmora
{

class InputFile;

/// The configuration of the process. Programs use `GlobalConfig` and `RWGlobalConfig`; tests make
/// their own.
///
/// Thread-safety: as `GlobalConfig`. Its lock is not held by a thread twice for writing: a thread
/// that reads while it loads, as a failed assertion does, goes on without the lock.
class VELMORA_API GlobalConfigImpl final : public RWGlobalConfig,
                                           public InAccount<"GlobalConfigImpl">
{
  public:
    GlobalConfigImpl();
    GlobalConfigImpl(const GlobalConfigImpl&) = delete;
    GlobalConfigImpl& operator=(const GlobalConfigImpl&) = delete;
    ~GlobalConfigImpl() override;

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override;
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override;

    bool load(const std::vector<std::string>& in_urls) override;
    bool load(const char* in_szPath) override;
    bool load(std::istream& inout_stream) override;
    bool initialize(int in_argc, char** in_argv, const char* in_szOptionName) override;
    bool addDefaults(bool in_bIncludeDeprecated) override;
    void writeProtect() override;
    [[nodiscard]] bool warnOnUnknownParameterNames() const override;
    void declareRunTime() override;
    bool configureLogger(RunMode in_runMode) const override;
    bool configureLogger(std::ostream& out_errors, RunMode in_runMode) const override;
    void convertTo(ParameterTrie& out_trie, const char* in_szPrefix) const override;
    void addObserver(const char* in_szName,
                     LimitedObjPtr<ConfigurationObserver> in_pObserver) override;
    void removeObserver(LimitedObjPtr<ConfigurationObserver> in_pObserver) override;

    /// Configures logging from a trie, and the logging into a file for each call if the trie names
    /// a directory for it. Warns of a trie that has the section of such files without a directory.
    virtual bool configureLogger(const ParameterTrie& in_trie, std::ostream& out_errors) const;

    /// Writes the configuration as `ParameterTrie` does.
    std::ostream& write(std::ostream& out_stream) const override;

    [[nodiscard]] LoadSummary getLoadSummary() const;

    /// `getBoolParameter` for a failed assertion: false, too, while another thread writes.
    bool tryGetBoolParameter(const char* in_szParamName, bool& out_bValue) const;

    /// From now on, each change that is finished publishes for assertions whether they abort, for
    /// when they cannot read it. For the configuration of the process, before other threads use it.
    void publishToAssertions();

  private:
    class Source;
    class WriteLock;

    bool loadNoMutex(std::istream& inout_stream, std::vector<std::string>& inout_unresolved);
    bool loadFileNoMutex(const std::string& in_strPath, InputFile& inout_file,
                         std::vector<std::string>& inout_unresolved);
    bool loadUrlNoMutex(Source& inout_source, std::vector<std::string>& inout_unresolved);
    bool loadDBURLNoMutex(const Source& in_source, std::vector<std::string>& inout_unresolved);
    /// A copy of what logging is configured from.
    [[nodiscard]] ParameterTrie loggingSections() const;
    bool configureLoggerFromPropsFile(const std::string& in_strPath,
                                      std::ostream& out_errors) const;

    void publishAbortOnAssert() const noexcept;

    bool m_bPublishes = false;
    bool m_bWriteProtected = false;
    bool m_bRunTime = false;
    ParameterTrie m_trie;
    /// The number of parameters is not kept in it.
    LoadSummary m_summary;
    mutable ACE_RW_Thread_Mutex m_mutex;
    /// The thread that holds the lock for writing.
    std::atomic<std::thread::id> m_writer{};
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/memory/InAccount.h"

#include <ace/RW_Thread_Mutex.h>

#include <atomic>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Velmora
{

class GlobalConfigSource;
class InputFile;
class LoadProblems;
class NameIndex;
class ReadingContext;
class UnresolvedLines;

/// The implementation of the configuration of the process. Programs use `GlobalConfig` and
/// `RWGlobalConfig`; tests make objects of their own.
///
/// Thread-safety: as `GlobalConfig`. A thread does not take the lock a second time while it holds
/// it for writing: a thread that reads while it loads, as a failed assertion does, continues
/// without the lock.
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

    /// Configures logging from a trie, and a log file for each call if the trie names a directory
    /// for these files. Logs a warning if the trie has the section of such files but no directory.
    virtual bool configureLogger(const ParameterTrie& in_trie, std::ostream& out_errors) const;

    /// Writes the configuration as `ParameterTrie` does.
    std::ostream& write(std::ostream& out_stream) const override;

    /// Returns the counted warnings of all loads and the current number of parameters.
    [[nodiscard]] LoadSummary getLoadSummary() const;

    /// See `GlobalConfig`.
    void keepProblems();
    void logProblemsAgain() const;

    /// Returns the line of the log about a parameter that is unknown or deprecated: the place of
    /// the line that defines it, and what to write there. Empty if the place is not known.
    [[nodiscard]] std::string lineAbout(const std::string& in_strParamName) const;

    /// Implements `getBoolParameter` for a failed assertion: never waits, and also returns false
    /// while another thread writes.
    bool tryGetBoolParameter(const char* in_szParamName, bool& out_bValue) const;

    /// Makes each finished change publish the value of "keswardin.infra.abortOnAssert", for
    /// assertions that cannot read the parameter. Called for the configuration of the process only,
    /// before other threads use it.
    void publishToAssertions();

  private:
    class WriteLock;

    class Load;

    bool loadNoMutex(std::istream& inout_stream, std::string_view in_name, Load& inout_load);
    bool loadFileNoMutex(const std::string& in_strPath, InputFile& inout_file, Load& inout_load);
    bool loadUrlNoMutex(GlobalConfigSource& inout_source, Load& inout_load);
    bool loadDBURLNoMutex(GlobalConfigSource& inout_source, Load& inout_load);
    /// Returns a copy of the sections from which logging is configured.
    [[nodiscard]] ParameterTrie loggingSections() const;
    bool configureLoggerFromPropsFile(const std::string& in_strPath,
                                      std::ostream& out_errors) const;

    /// Publishes that value. The caller holds the lock for writing.
    void publishAbortOnAssert() const noexcept;

    /// Set before other threads use the object; not guarded.
    bool m_bPublishes = false;
    /// Guarded by `m_mutex`, as are the four members below.
    bool m_bWriteProtected = false;
    bool m_bRunTime = false;
    ParameterTrie m_trie;
    /// Makes and finds the nodes of `m_trie`.
    std::unique_ptr<NameIndex> m_pIndex;
    /// `m_uiParameters` stays 0 here: `getLoadSummary` counts the parameters.
    LoadSummary m_summary;
    /// Guards `m_bWriteProtected`, `m_bRunTime`, `m_trie`, `m_pIndex` and `m_summary`. No foreign
    /// code runs while it is held: sources are read before it is taken, and appenders run after it
    /// is released.
    mutable ACE_RW_Thread_Mutex m_mutex;
    /// The thread that holds `m_mutex` for writing.
    std::atomic<std::thread::id> m_writer{};
    /// Has a lock of its own, which may be taken while `m_mutex` is held.
    const std::unique_ptr<LoadProblems> m_pProblems;
};

} // namespace Velmora

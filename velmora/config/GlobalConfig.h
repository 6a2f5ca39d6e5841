// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/OutputStreamable.h"
#include "velmora/config/Configuration.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/RunMode.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Velmora
{

class ConfigurationObserver;
class ParameterTrie;

/// The read interface of the configuration of the process: the parameters that were loaded from
/// files and other sources, and the defaults of the table of known parameters. A program loads it,
/// protects it, and then reads it while it runs:
///
///     TSHandle<GlobalConfig> hConfig = GlobalConfig::getInstance();
///     hConfig->load("gateway.cfg");
///     hConfig->addDefaults(false);
///     hConfig->writeProtect();
///     hConfig->declareRunTime();
///     hConfig->getIntParameter("keswardin.exitTimeoutSec", iTimeout);
///
/// For the text of a configuration see `ParameterTrie`.
///
/// Ownership: counted. The exit list holds one handle; all copies must be released before the exit
/// list runs.
/// Failure: no operation throws, even without memory. The operations that this class adds log a
/// line when they return false. A parameter that cannot be copied is undefined, and the output of
/// `convertTo` is empty if it cannot be copied; both log a line. Parameters that were loaded before
/// a failure stay. A stream that is to throw (`std::ios::exceptions`) gets its state set without an
/// exception.
/// Thread-safety: all operations may be called on any thread. Readers do not block each other. A
/// load first reads its sources and then blocks readers until it is done.
/// `warnOnUnknownParameterNames` and `write` take no lock and must not run while another thread
/// writes.
class VELMORA_API GlobalConfig : public virtual ROConfiguration, public virtual OutputStreamable
{
  public:
    GlobalConfig() = default;
    GlobalConfig(const GlobalConfig&) = delete;
    GlobalConfig& operator=(const GlobalConfig&) = delete;
    ~GlobalConfig() override;

    /// Loads from the given sources in their order. A source is a path or a URL. The URL
    /// "file://host/path" names a file: the host is ignored, and the path is relative unless it
    /// begins with a slash of its own ("file:////etc/gateway.cfg"). A URL with another scheme goes
    /// to the database source. If a source fails, the later ones are still loaded. A line with a
    /// tag that one source leaves unresolved can be completed by a later source.
    virtual bool load(const std::vector<std::string>& in_urls) = 0;

    /// Loads from the file with this path.
    virtual bool load(const char* in_szPath) = 0;

    /// Loads from the rest of a stream.
    virtual bool load(std::istream& inout_stream) = 0;

    /// Loads from the sources that the command line names as values of the option `--<name>`. Adds
    /// no defaults.
    /// Failure: returns false if the option is missing.
    virtual bool initialize(int in_argc, char** in_argv, const char* in_szOptionName) = 0;

    /// Sets each known parameter that has a default and no value to its default. Deprecated
    /// parameters are included only with `in_bIncludeDeprecated`.
    virtual bool addDefaults(bool in_bIncludeDeprecated) = 0;

    /// Makes all later loads and additions of defaults fail. Cannot be undone.
    virtual void writeProtect() = 0;

    /// Logs a warning for each parameter that is not in the table of known parameters, with the
    /// closest name that is. Skips the names whose first component is "log4cplus", which belong to
    /// logging. Returns true if all names are known.
    [[nodiscard]] virtual bool warnOnUnknownParameterNames() const = 0;

    /// Restricts later changes to the parameters that are settable at run time according to the
    /// table. Cannot be undone.
    virtual void declareRunTime() = 0;

    /// Configures logging from the file that the parameter
    /// "keswardin.infra.Logger.PropertiesFile.<run mode>" names. Without such a parameter,
    /// configures logging from the section "log4cplus" of this configuration. Tags in that file may
    /// name parameters of this configuration.
    virtual bool configureLogger(RunMode in_runMode) const = 0;

    /// Does the same, and writes errors to a stream because logging may be unusable at that moment.
    virtual bool configureLogger(std::ostream& out_errors, RunMode in_runMode) const = 0;

    /// Replaces the output by a copy of all parameters whose names begin with the components of the
    /// prefix, and removes the prefix from their names. The output is empty if there are none. The
    /// empty prefix copies everything.
    virtual void convertTo(ParameterTrie& out_trie, const char* in_szPrefix) const = 0;

    /// Does nothing: observers are not notified of changes.
    virtual void addObserver(const char* in_szName,
                             LimitedObjPtr<ConfigurationObserver> in_pObserver) = 0;
    virtual void removeObserver(LimitedObjPtr<ConfigurationObserver> in_pObserver) = 0;

    /// Returns the summary of all loads so far. Returns an empty summary for an implementation
    /// other than the library's.
    [[nodiscard]] LoadSummary getLoadSummary() const;

    /// Makes the loads from now on keep the lines that they log at WARN and ERROR, until logging is
    /// configured from this configuration. A new configuration keeps them. A program calls this if
    /// it goes back to the default configuration of logging and loads again.
    ///
    /// At most 1000 lines are kept, and the others are counted.
    void keepProblems();

    /// Logs the kept lines again, to the same loggers at the same levels, once logging has been
    /// configured from this configuration: the log that it configures would not have them
    /// otherwise. Lines about names of which `warnOnUnknownParameterNames` has warned since are
    /// left out. All lines in the log's files are then written at once, even if files are buffered.
    /// Each line is logged once.
    void logProblemsAgain() const;

    /// Returns the configuration of the process. It is made when the library is loaded. The handle
    /// is null once the exit list has released the configuration.
    static const TSHandle<GlobalConfig>& getInstance();

    /// Returns the values of an option on the command line, in their order. If the command line has
    /// any other option or an error, logs the error at DEBUG and leaves the output unchanged.
    static void getConfigOptionsFromCmdline(int in_argc, char** in_argv,
                                            std::vector<std::string>& out_values,
                                            const char* in_szOptionName);
};

} // namespace Velmora

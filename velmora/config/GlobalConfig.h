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

/// The one configuration of the process, as its readers see it: what was loaded from files and
/// other sources, and the defaults of the table of known parameters. It is loaded first, then
/// protected, then read while the program runs:
///
///     TSHandle<GlobalConfig> hConfig = GlobalConfig::getInstance();
///     hConfig->load("gateway.cfg");
///     hConfig->addDefaults(false);
///     hConfig->writeProtect();
///     hConfig->declareRunTime();
///     hConfig->getIntParameter("keswardin.exitTimeoutSec", iTimeout);
///
/// The text of a configuration is told at `ParameterTrie`.
///
/// Ownership: counted, by the exit list's handle and those that were copied. Handles must be let go
/// of before the exit list runs.
/// Failure: nothing throws, not even without memory; a false result comes with a line in the log. A
/// parameter that cannot be copied is undefined, and what `convertTo` cannot copy is empty, with a
/// line in the log. What was loaded before a failure stays. A stream whose owner wants it to throw
/// (`std::ios::exceptions`) has its state set without an exception. Thread-safety: all operations
/// may be called on any thread. Readers do not keep each other waiting; a load keeps them waiting
/// until it is done. `warnOnUnknownParameterNames` and `write` take no lock: they are for the time
/// before other threads write.
class VELMORA_API GlobalConfig : public virtual ROConfiguration, public virtual OutputStreamable
{
  public:
    GlobalConfig() = default;
    GlobalConfig(const GlobalConfig&) = delete;
    GlobalConfig& operator=(const GlobalConfig&) = delete;
    ~GlobalConfig() override;

    /// Loads from sources in their order: a path, or a URL "file://host/path", whose host is not
    /// looked at and whose path is relative unless it begins with a slash of its own
    /// ("file:////etc/gateway.cfg"). A URL with another scheme goes to the database source. A
    /// source that fails does not keep the later ones from being loaded; a line with a tag that
    /// one source leaves open can be completed by a later one.
    virtual bool load(const std::vector<std::string>& in_urls) = 0;

    /// Loads from the file with this path.
    virtual bool load(const char* in_szPath) = 0;

    virtual bool load(std::istream& inout_stream) = 0;

    /// Loads the values that the option of this name, with two dashes before it, has on the command
    /// line. False when it is not there. Adds no defaults.
    virtual bool initialize(int in_argc, char** in_argv, const char* in_szOptionName) = 0;

    /// Sets each known parameter that has a default and no value to its default; deprecated ones
    /// only where asked for.
    virtual bool addDefaults(bool in_bIncludeDeprecated) = 0;

    /// From now on, nothing can be loaded and no defaults can be added. Cannot be undone.
    virtual void writeProtect() = 0;

    /// Warns of each parameter that is not in the table of known ones, naming the closest. Those
    /// whose name begins with the component "log4cplus" belong to the logging. Gives true when
    /// there is none.
    [[nodiscard]] virtual bool warnOnUnknownParameterNames() const = 0;

    /// From now on, only parameters that the table tells to be settable at run time can be set.
    /// Cannot be undone.
    virtual void declareRunTime() = 0;

    /// Configures logging: from the file that the parameter
    /// "keswardin.infra.Logger.PropertiesFile." and the run mode names, or from the section
    /// "log4cplus" of this configuration when there is no such parameter. Tags in that file may
    /// stand for parameters of this configuration.
    virtual bool configureLogger(RunMode in_runMode) const = 0;

    /// The same. What is wrong goes to a stream, since logging may be unusable at that moment.
    virtual bool configureLogger(std::ostream& out_errors, RunMode in_runMode) const = 0;

    /// Makes the output a copy of all parameters whose name begins with the components of the
    /// prefix, without them in its names; empty when there is none. The empty prefix copies
    /// everything.
    virtual void convertTo(ParameterTrie& out_trie, const char* in_szPrefix) const = 0;

    /// Does nothing: a change of a parameter is told to nobody.
    virtual void addObserver(const char* in_szName,
                             LimitedObjPtr<ConfigurationObserver> in_pObserver) = 0;
    virtual void removeObserver(LimitedObjPtr<ConfigurationObserver> in_pObserver) = 0;

    /// What the loads so far have come to; nothing for another implementation than the library's.
    [[nodiscard]] LoadSummary getLoadSummary() const;

    /// The configuration of the process. It comes into being when the library is loaded. Once the
    /// exit list has let go of it, the handle is null.
    static const TSHandle<GlobalConfig>& getInstance();

    /// Gives the values that an option has on the command line, in their order. The output stays
    /// as it was when the line has any other option, or an error: what it is goes to the log at
    /// DEBUG.
    static void getConfigOptionsFromCmdline(int in_argc, char** in_argv,
                                            std::vector<std::string>& out_values,
                                            const char* in_szOptionName);
};

} // namespace Velmora

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Application.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/config/Configuration.h"
#include "velmora/logging/LogMacros.h" // For the members of derived classes, which have a logger.
#include "velmora/logging/LoggingIdLogger.h"
#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/system/CmdlineArgVector.h"

#include <ace/Profile_Timer.h>
#include <ace/Time_Value.h>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/variables_map.hpp>

#include <chrono>
#include <iosfwd>
#include <string>
#include <vector>

namespace Velmora
{

class Alarm;
enum class RunMode;

/// The frame that all programs of the family start in. A program derives from it, says in `run`
/// what it is for, and may replace or extend each step of its start:
///
///     class Gateway : public Velmora::ApplicationImpl
///     {
///       public:
///         Gateway() : ApplicationImpl(Velmora::Logger("keswardin.gateway"), "gateway") {}
///         void run() override;
///     };
///
/// `initialize` does, each step only if the one before it succeeded:
///
/// 1. logging with its default configuration, from WARN on for "keswardin";
/// 2. the command line: a working directory, environment variables;
/// 3. the configuration from its sources, and the defaults of all known parameters;
/// 4. logging as the configuration says, if there are sources; deprecated parameters are an error,
///    unknown names a warning;
/// 5. core dumps, shared libraries;
/// 6. what `get-param-info` and `build-info` ask for, which does not end the program;
/// 7. the time-outs for the end of the program, which are only kept.
///
/// It ends with one line at INFO through the program's logger: the sources, what the configuration
/// has come to, and the time that it took.
///
/// The command line knows these options, and those that a constructor of a derived class adds:
///
/// | Option | What it does |
/// |---|---|
/// | `-h`, `--help` | see `processHelpParamInfoOptions` |
/// | `--global-config SOURCE`, any number of times | loads a source, see `GlobalConfig::load` |
/// | `--get-param-info REGEX`, any number of times | logs what is known of parameters |
/// | `--setcwd DIRECTORY` | changes the working directory before any file is read |
/// | `--putenv NAME=VALUE`, any number of times | sets an environment variable before that |
/// | `--build-info` | logs what the library was built from |
///
/// The configuration is neither write protected nor at run time after `initialize`: the program
/// says when (`GlobalConfig::writeProtect`, `GlobalConfig::declareRunTime`).
///
/// Logs through the logger that it is given.
///
/// Its alarm of a bad configuration, "system.configuration.error", stands in the `AlarmRegistry`.
/// It goes on, at 40000, when `configure` fails, and not for a bad command line. There can be one
/// application in a process: a second one does not get its alarm in, and cannot be initialized. The
/// registry must not be cleared before `initialize` has returned.
///
/// Failure: `initialize` gives false and says why in the log; it never ends the process. It catches
/// what the reading of the command line throws, and nothing else.
/// Thread-safety: the main thread's, before the program starts others. `getConfig` may be called on
/// any thread.
class VELMORA_API ApplicationImpl : public virtual Application,
                                    public ObjectWithLogger<LoggingIdLogger>
{
  public:
    /// Registers the alarm, sets the level of the logger "keswardin" to WARN and prepares for core
    /// dumps. The text is not used.
    ApplicationImpl(const Logger& in_logger, const char* in_szName);

    /// The same with the logger "keswardin.infra.Application".
    explicit ApplicationImpl(const char* in_szName);

    ~ApplicationImpl() override;

    [[nodiscard]] TSHandle<ROConfiguration> getConfig() const override;

    /// Calling it once more does everything again with another command line. What was loaded
    /// stays.
    [[nodiscard]] bool initialize(int in_argc, char** in_argv) override;

    [[nodiscard]] const Logger& getAppLogger() const override;

  protected:
    /// Writes how the program is called, and its options.
    virtual void writeUsage(std::ostream& out_stream) const;

    /// Loads the sources, which may be none, adds the defaults, and configures logging from them.
    [[nodiscard]] virtual bool
    initializeGlobalConfigAndLogger(const std::vector<std::string>& in_sources);

    /// Puts the logging into force that the program has until its configuration is read. It gets
    /// the command line, which this class does not look at.
    [[nodiscard]] virtual bool configureLoggerDefault(int in_argc, char** in_argv);

    /// The same; also what logging goes back to when the configuration has none that can be used.
    [[nodiscard]] virtual bool configureLoggerDefault();

    /// Reads the command line. An exception below it becomes an error in the log and false.
    [[nodiscard]] virtual bool processCmdLineArgs(int in_argc, char** in_argv);

    /// Does what options of the command line ask for at once. That of a derived class calls this
    /// one first.
    [[nodiscard]] virtual bool
    processCmdlineVarsMap(const boost::program_options::variables_map& in_variables);

    /// Everything that needs the configuration. That of a derived class calls this one first. The
    /// argument is the configuration of the process, which this one loads.
    [[nodiscard]] virtual bool configure(const ROConfiguration& in_config);

    /// The options that the usage shows, and those that it does not: for constructors of derived
    /// classes to add to.
    [[nodiscard]] boost::program_options::options_description& getAllowedOptions();
    [[nodiscard]] const boost::program_options::options_description& getAllowedOptions() const;
    [[nodiscard]] boost::program_options::options_description& getHiddenOptions();
    [[nodiscard]] boost::program_options::positional_options_description& getPositionalOptions();

    [[nodiscard]] const boost::program_options::variables_map& getVariablesMap() const;

    /// The name that the program was called by, without path and extension; empty before
    /// `initialize`.
    [[nodiscard]] std::string getProgname() const;

    void logUsageAndActualCommandLine() const;
    void logHelpMessage();

    /// Logs the help, or else what is known of the parameters of `get-param-info`, if the command
    /// line asks for one of them, and tells whether it did. A program that then has nothing more to
    /// do calls it first in `run`.
    void processHelpParamInfoOptions(bool& out_bHandled);

    /// Logs what is known of the parameters of `get-param-info`, whatever the level.
    void getParamInfo() const;

    /// Logs at DEBUG, also to the logger "keswardin.profiling", what `getProfileTimer` has
    /// measured. Nothing starts and stops it but the program; until then all times are 0.
    void logProfileStats();
    [[nodiscard]] ACE_Profile_Timer& getProfileTimer();

    /// How long the program may take to exit, and after what time it is to be killed: the
    /// parameters `keswardin.exitTimeoutSec` and `keswardin.killTimeoutSec`. 0 before `initialize`;
    /// `ACE_Time_Value::max_time` for no limit. What becomes of them is the program's business.
    [[nodiscard]] const ACE_Time_Value& getExitTimeout() const;
    [[nodiscard]] const ACE_Time_Value& getKillTimeout() const;

    static const char* getSetCwdOptionName();
    static const char* getPutEnvOptionName();

    /// Throws `std::logic_error` if the first option was given and the second was not. Options that
    /// only have their default value count as not given.
    static void optionDependency(const boost::program_options::variables_map& in_variables,
                                 const char* in_szForWhat, const char* in_szRequired);

    /// Throws `std::logic_error` if both options were given.
    static void conflictingOptions(const boost::program_options::variables_map& in_variables,
                                   const char* in_szOption1, const char* in_szOption2);

  private:
    void addOptions();
    void forgetCommandLine();
    [[nodiscard]] bool changeDirectory(const std::string& in_strDirectory) const;
    [[nodiscard]] bool setEnvironment(const std::vector<std::string>& in_variables) const;
    [[nodiscard]] bool readRunMode(const ROConfiguration& in_config, RunMode& out_runMode) const;
    [[nodiscard]] bool configureLoggerFromConfig(RunMode in_runMode);
    [[nodiscard]] bool hasNoDeprecated(const ROConfiguration& in_config) const;
    void logBuildInfo() const;
    void logEndOfStart(std::chrono::steady_clock::time_point in_start) const;
    void logForUser(const std::string& in_strText) const;

    boost::program_options::options_description m_allowedOptions;
    boost::program_options::options_description m_hiddenOptions;
    boost::program_options::positional_options_description m_positionalOptions;
    boost::program_options::variables_map m_variablesMap;
    CmdlineArgVector m_origArgVector;
    /// The values of `global-config`.
    std::vector<std::string> m_sources;
    bool m_bHelp = false;
    ACE_Time_Value m_killTimeout;
    ACE_Time_Value m_exitTimeout;
    /// The values of `get-param-info`.
    std::vector<std::string> m_paramInfoRegexes;
    bool m_bBuildInfo = false;
    ACE_Profile_Timer m_profileTimer;
    /// Null if it was refused.
    LimitedObjPtr<Alarm> m_pSysConfigErrorAlarm;
};

} // namespace Velmora

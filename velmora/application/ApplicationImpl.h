// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Application.h"
#include "velmora/config/Configuration.h"
#include "velmora/logging/LogMacros.h" // For the members of derived classes, which have a logger.
#include "velmora/logging/LoggingIdLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class ACE_Profile_Timer;
class ACE_Time_Value;

// A program that adds options includes <boost/program_options.hpp>, which costs more time to
// compile than this header.
namespace boost::program_options
{
class options_description;
class positional_options_description;
class variables_map;
} // namespace boost::program_options

namespace Velmora
{

enum class RunMode;

/// The base class of all programs of the family, with the steps of their start. A program derives
/// from it, does its work in `run`, and may replace or extend each step of the start:
///
///     class Gateway : public Velmora::ApplicationImpl
///     {
///       public:
///         Gateway() : ApplicationImpl(Velmora::Logger("keswardin.gateway"), "gateway") {}
///         void run() override;
///     };
///
/// `initialize` runs these steps and stops at the first one that fails:
///
/// 1. It gives logging its default configuration, with the level WARN for "keswardin".
/// 2. It reads the command line, changes the working directory and sets environment variables.
/// 3. It loads the configuration from its sources and adds the defaults of all known parameters.
/// 4. If there are sources, it configures logging from the configuration. Deprecated parameters are
///    an error, unknown names a warning.
/// 5. It prepares for core dumps and opens shared libraries.
/// 6. It logs what `get-param-info` and `build-info` ask for, which does not end the program.
/// 7. It reads the time-outs for the end of the program, which it only stores.
///
/// At the end it logs one line at INFO through the program's logger: the sources, the numbers of
/// parameters, unknown names, wrong types, values out of bounds and redefinitions, and the time
/// that the start took.
///
/// The command line has these options, and those that a constructor of a derived class adds:
///
/// | Option | What it does |
/// |---|---|
/// | `-h`, `--help` | see `processHelpParamInfoOptions` |
/// | `--global-config SOURCE`, may be repeated | loads a source, see `GlobalConfig::load` |
/// | `--get-param-info REGEX`, may be repeated | logs what is known about parameters |
/// | `--setcwd DIRECTORY` | changes the working directory before any file is read |
/// | `--putenv NAME=VALUE`, may be repeated | sets an environment variable, also before that |
/// | `--build-info` | logs what the library was built from |
///
/// After `initialize` the configuration is neither write protected nor declared to be at run time.
/// The program does both when it is ready (`GlobalConfig::writeProtect`,
/// `GlobalConfig::declareRunTime`).
///
/// Logs through the logger that the constructor is given.
///
/// The `AlarmRegistry` holds the alarm of a bad configuration, "system.configuration.error". It
/// goes on, at severity 40000, when `configure` fails. It does not go on for a bad command line. A
/// process can have one application: the registry refuses the alarm of a second one, whose
/// `initialize` then fails. The registry must not be cleared before `initialize` has returned.
///
/// Failure: `initialize` returns false and logs the reason; it never ends the process. It catches
/// exceptions only while it reads the command line.
/// Thread-safety: for the main thread, before the program starts other threads. `getConfig` may be
/// called on any thread.
class VELMORA_API ApplicationImpl : public virtual Application,
                                    public ObjectWithLogger<LoggingIdLogger>
{
  public:
    /// Registers the alarm, sets the level of the logger "keswardin" to WARN and prepares for core
    /// dumps. The name is not used.
    ApplicationImpl(const Logger& in_logger, const char* in_szName);

    /// Does the same with the logger "keswardin.infra.Application".
    explicit ApplicationImpl(const char* in_szName);

    ~ApplicationImpl() override;

    [[nodiscard]] TSHandle<ROConfiguration> getConfig() const override;

    /// See `Application::initialize`. A second call runs all steps again with another command line.
    /// Parameters that are already loaded stay.
    [[nodiscard]] bool initialize(int in_argc, char** in_argv) override;

    [[nodiscard]] const Logger& getAppLogger() const override;

  protected:
    /// Writes the usage line and the options.
    virtual void writeUsage(std::ostream& out_stream) const;

    /// Loads the sources, of which there may be none, adds the defaults, and configures logging
    /// from the result.
    [[nodiscard]] virtual bool
    initializeGlobalConfigAndLogger(const std::vector<std::string>& in_sources);

    /// Configures the logging that the program uses until its configuration is read. The command
    /// line is for overrides; this implementation does not use it.
    [[nodiscard]] virtual bool configureLoggerDefault(int in_argc, char** in_argv);

    /// Does the same without a command line. Is also called when the logging part of the
    /// configuration cannot be used.
    [[nodiscard]] virtual bool configureLoggerDefault();

    /// Reads the command line. Logs exceptions that the reading or `processCmdlineVarsMap` throws,
    /// and then returns false.
    [[nodiscard]] virtual bool processCmdLineArgs(int in_argc, char** in_argv);

    /// Acts on the options that take effect at once. An override calls this implementation first.
    [[nodiscard]] virtual bool
    processCmdlineVarsMap(const boost::program_options::variables_map& in_variables);

    /// Runs all steps that need the configuration. An override calls this implementation first. The
    /// argument is the configuration of the process, which this implementation loads.
    [[nodiscard]] virtual bool configure(const ROConfiguration& in_config);

    /// Return the options that the usage shows, the options that it does not show, and the
    /// positional options. Constructors of derived classes add theirs.
    [[nodiscard]] boost::program_options::options_description& getAllowedOptions();
    [[nodiscard]] const boost::program_options::options_description& getAllowedOptions() const;
    [[nodiscard]] boost::program_options::options_description& getHiddenOptions();
    [[nodiscard]] boost::program_options::positional_options_description& getPositionalOptions();

    [[nodiscard]] const boost::program_options::variables_map& getVariablesMap() const;

    /// Returns the name that the program was called by, without path and extension. It is empty
    /// before `initialize`.
    [[nodiscard]] std::string getProgname() const;

    void logUsageAndActualCommandLine() const;
    void logHelpMessage();

    /// Logs the help, or otherwise what is known about the parameters of `get-param-info`, if the
    /// command line asks for it. Sets `out_bHandled` to whether it logged anything. A program that
    /// has nothing more to do in that case calls this first in `run`.
    void processHelpParamInfoOptions(bool& out_bHandled);

    /// Logs what is known about the parameters of `get-param-info`, at any level of the logger.
    void getParamInfo() const;

    /// Logs the times that `getProfileTimer` has measured, at DEBUG, and also to the logger
    /// "keswardin.profiling". Only the program starts and stops the timer. All times are 0 until it
    /// does.
    void logProfileStats();
    [[nodiscard]] ACE_Profile_Timer& getProfileTimer();

    /// Return the time that the program may take to exit, and the time after which it is to be
    /// killed: the parameters `keswardin.exitTimeoutSec` and `keswardin.killTimeoutSec`. Both are 0
    /// before `initialize`, and `ACE_Time_Value::max_time` if there is no limit. This class does
    /// not enforce them; that is up to the program.
    [[nodiscard]] const ACE_Time_Value& getExitTimeout() const;
    [[nodiscard]] const ACE_Time_Value& getKillTimeout() const;

    static const char* getSetCwdOptionName();
    static const char* getPutEnvOptionName();

    /// Throws `std::logic_error` if the first option was given and the second was not. An option
    /// that only has its default value does not count as given. To be called in
    /// `processCmdlineVarsMap`: `processCmdLineArgs` catches the exception and logs its text.
    static void optionDependency(const boost::program_options::variables_map& in_variables,
                                 const char* in_szForWhat, const char* in_szRequired);

    /// Throws `std::logic_error` if both options were given; see `optionDependency`.
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
    void logEndOfStart() const;
    /// Logs at INFO, at any level of the logger.
    void logForUser(const std::string& in_strText) const;

    /// What the object holds besides its logger; defined in the source, to keep the headers of its
    /// members out of programs.
    struct State;
    const std::unique_ptr<State> m_pState;
};

} // namespace Velmora

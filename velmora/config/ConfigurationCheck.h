// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ConfigurationProblem.h"

#include <memory>
#include <string>
#include <vector>

namespace Velmora
{

class ParameterTrie;
class ROConfiguration;
struct LinePlace;
struct LoggingProblem;

/// Checks a configuration without starting the program: for its option `--check`. It reads the
/// sources of a start, and the file that configures logging in their run mode, and lists what is
/// wrong with them.
///
///     const ConfigurationCheck check(sources);
///     for (const ConfigurationProblem& problem : check.problems())
///         std::cout << problem << '\n';
///     return check.hasErrors() ? 1 : 0;
///
/// The values are those of a start, with tags replaced and defaults added. The severity is ERROR
/// exactly for what makes the start fail. A program adds rules of its own by `report`, on the
/// values of `configuration`. It registers its parameters before.
///
/// | Rule | Severity | What it finds |
/// |---|---|---|
/// | `unreadable-file` | error | a file that cannot be opened or read |
/// | `unreadable-database` | error | a database that cannot be read; the log has the reason |
/// | `database` | warning | what the source warns of, for example of an old snapshot |
/// | `parse-error` | error | a line that is no parameter |
/// | `unclosed-tag`, `stray-dollar` | error | a "$" that opens no tag |
/// | `unresolved-tag` | error | a tag without a value |
/// | `tag-type` | warning | a tag that names a parameter other than a STRING |
/// | `too-long` | error | a line that exceeds the limit with its tags replaced |
/// | `octal`, `overflow` | warning | a number with another value than it seems to have |
/// | `unknown-name` | warning | a name that no table has, except below "log4cplus" |
/// | `deprecated` | error | a deprecated parameter |
/// | `wrong-type`, `out-of-bounds` | warning | a value that has no effect |
/// | `redefinition` | warning | a second line for a name; a note in a later file |
/// | `byte-order-mark` | note | a mark that other programs may not skip |
/// | `core-size` | warning | a setting of core dumps that are switched off |
/// | `run-mode` | error | an unknown run mode |
/// | `logging-file` | error | a file of logging that cannot be read |
/// | `logging` | warning | a line below "log4cplus" that has no effect, or not the one meant |
/// | `directory` | warning | a directory of logs that cannot be written; an error for calls |
/// | `no-logging` | error | no section "log4cplus" where logging is configured |
///
/// A "$" is a warning if the line is a parameter without the text before it, which is dropped. A
/// line that is no parameter only with the value of a later line is a warning: the start drops it.
/// A tag of another type than STRING is an error if "keswardin.infra.abortOnAssert" is true by
/// then.
///
/// It logs nothing but why a database cannot be read, changes neither the configuration of the
/// process nor the environment, opens no socket but that to a database, and writes no file.
///
/// Ownership: the object keeps copies of everything.
/// Failure: throws `std::bad_alloc`.
/// Thread-safety: none; the environment and the table of known parameters must not change while it
/// is constructed.
class VELMORA_API ConfigurationCheck
{
  public:
    using Problem = ConfigurationProblem;
    using Severity = ConfigurationProblem::Severity;

    /// Where a parameter gets its value.
    struct Place
    {
        /// The file; empty for a default and for a parameter without a value.
        std::string strFile;
        unsigned long uiLine = 0;

        /// Returns the place as in "etc/gateway.cfg:12", or "default".
        [[nodiscard]] VELMORA_API std::string text() const;
    };

    /// Reads and checks the sources, as `GlobalConfig::load` takes them, in their order. Without
    /// sources there is nothing to check: the configuration consists of defaults.
    explicit ConfigurationCheck(const std::vector<std::string>& in_sources);
    ~ConfigurationCheck();
    ConfigurationCheck(const ConfigurationCheck&) = delete;
    ConfigurationCheck& operator=(const ConfigurationCheck&) = delete;

    /// Adds a problem of a parameter at the line that gave it its value. The text continues a
    /// sentence that begins with name and value: "is no range of ports; write one such as
    /// 20000-29999". It is escaped.
    void report(Severity in_severity, const std::string& in_strRule,
                const std::string& in_strParamName, const std::string& in_strText);

    /// Returns the problems, in the order of the sources and then of the lines; those of defaults
    /// are last.
    [[nodiscard]] std::vector<Problem> problems() const;
    [[nodiscard]] bool hasErrors() const;

    /// Returns the configuration that a start would have, defaults included. It stays valid as long
    /// as the object.
    [[nodiscard]] const ROConfiguration& configuration() const;

    /// Returns the place of the line that gave a parameter its value. A parameter below "log4cplus"
    /// is looked up where logging is configured.
    [[nodiscard]] Place place(const std::string& in_strParamName) const;

    /// Returns what logging would be configured from: the file that the run mode names, or the
    /// section of the configuration. Empty if that cannot be read. It stays valid as long as the
    /// object.
    [[nodiscard]] const ParameterTrie& loggingConfiguration() const;

  private:
    struct State;

    void readSources(const std::vector<std::string>& in_sources);
    void readDatabase(const std::string& in_strUrl, LinePlace in_place);
    void addDefaults();
    void checkDeprecated();
    void checkCoreDump();
    void checkRunMode();
    void readLogging(const std::string& in_strMode);
    void readLoggingFile(const std::string& in_strParamName, const std::string& in_strPath);
    void checkLogging();
    void reportLogging(const LoggingProblem& in_problem);

    const std::unique_ptr<State> m_pState;
};

} // namespace Velmora

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterInfo.h"

#include <span>
#include <string>
#include <vector>

namespace Velmora
{

class Configuration;
class ParameterBounds;
class ROConfiguration;
struct ProgramParameter;

/// A table of known parameters, and the checks of names, values and whole configurations against
/// it. Code that reads a configuration takes a table as an argument, so that it can do without one
/// or with another one; the table of the process is `getInstance()`.
///
/// A name of a parameter is dotted. Neither a name nor an expression may be null.
///
/// Failure: nothing throws. An unknown name and a value of a wrong type are told by the result and
/// the log; what to do about them is the caller's.
/// Thread-safety: all operations may be called on any thread, on the same object and with no lock.
class VELMORA_API ParameterInfoDB
{
  public:
    ParameterInfoDB() = default;
    ParameterInfoDB(const ParameterInfoDB&) = delete;
    ParameterInfoDB& operator=(const ParameterInfoDB&) = delete;
    virtual ~ParameterInfoDB();

    /// What is known of a parameter.
    /// Failure: false and a reset output for a name that is not known.
    virtual bool retrieve(const char* in_szName, ParameterInfo& out_info) const = 0;

    /// All parameters in whose names a regular expression matches somewhere; what the output held
    /// is dropped. No match is no failure.
    /// Failure: false and an error in the log for an expression that is wrong or takes too long;
    /// the output keeps what was found by then.
    virtual bool retrieve(const char* in_szRegex,
                          std::vector<ParameterInfoWithName>& out_infos) const = 0;

    /// Sets each parameter that has a default and that the configuration does not have to its
    /// default, deprecated ones only where asked for. A value that is there always stays; one of
    /// the wrong type or out of bounds draws a warning.
    virtual void addDefaultsToConfig(Configuration& inout_configuration,
                                     bool in_bIncludeDeprecated) const = 0;

    /// Warns of each deprecated parameter that the configuration has, and tells whether there is
    /// one. The result does not depend on whether warnings are logged.
    virtual bool warnOnDeprecated(const ROConfiguration& in_configuration) const = 0;

    /// Whether a name is known. Gives the name itself, or the known name that is closest to it by
    /// the number of characters to insert, to remove and to replace. The name may be the output's
    /// own text.
    virtual bool validateParamName(const char* in_szName, std::string& out_strName) const = 0;

    /// Whether a value fits the parameter of this name. An integer for a FLOAT becomes a float, and
    /// anything for a STRING becomes its text; nothing else is converted. A value out of the bounds
    /// of a parameter that has some does not fit. A name that is not known fits any value.
    /// Failure: false, a warning in the log, and the value as it was.
    virtual bool validateParamValue(const char* in_szName, ParameterValue& inout_value) const = 0;

    /// The type of a parameter alone; undefined for a name that is not known.
    [[nodiscard]] virtual ParameterValue::Type retrieveType(const char* in_szName) const;

    /// The table of all parameters that the programs of the family know (`ParamDefs`). It comes
    /// into being when the library is loaded.
    ///
    /// Ownership: the exit list's. Once that has run, this gives a table without parameters: no
    /// name is known or close to a known one, and each value fits.
    static const ParameterInfoDB& getInstance();

    /// Registers a program's own parameters in the table of the process. They are looked up,
    /// checked, listed, suggested and given their defaults as the library's own. A program does so
    /// before its configuration is read, when it is loaded,
    ///
    ///     constexpr ProgramParameter s_parameters[] = {...};
    ///     [[maybe_unused]] const bool s_bRegistered =
    ///         ParameterInfoDB::registerParameters(s_parameters);
    ///
    /// or in `main` before `ApplicationImpl::initialize`. What is registered stays until the
    /// process ends, also if the plug-in that did so is closed. All copies of the library in a
    /// process have it in their tables.
    ///
    /// The same row may be registered again, as by two plug-ins that share code. The name of one
    /// parameter may be the beginning of another one's.
    ///
    /// Failure: false and an error in the log for each row that is refused; nothing of that row is
    /// taken, and the others of the array are. Refused are: a name without components, with an
    /// empty one, with a blank or one of "=#${}", below "keswardin" or "log4cplus", or registered
    /// already with anything else in its row; a type other than STRING, INT, BOOL and FLOAT; a
    /// default or bound that does not read as a value of the type; bounds of a STRING or a BOOL; a
    /// lowest value above the highest one; a default out of bounds; and every new row once a
    /// `load` or `addDefaults` of the configuration of the process has begun, whatever came of it.
    /// False without a line once the exit list has run.
    /// Thread-safety: may be called on any thread, also while others read the table.
    static bool registerParameters(std::span<const ProgramParameter> in_parameters);

    /// The bounds of a parameter in the table of the process. Only parameters that were registered
    /// have some.
    ///
    /// A value out of bounds never gets into a configuration that goes by this table: a line with
    /// one is skipped with a warning, so that the value before it or the default stays in force,
    /// and `setParameter` refuses one.
    /// Failure: false and no bounds.
    static bool retrieveBounds(const char* in_szName, ParameterBounds& out_bounds);
};

} // namespace Velmora

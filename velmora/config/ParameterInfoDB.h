// SPDX-License-Identifier: BSD-2-Clause

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

/// A table of known parameters, with the checks of names, values and whole configurations against
/// it. Code that reads a configuration takes a table as an argument, so that it can work without a
/// table or with another one. `getInstance` returns the table of the process.
///
/// Names are dotted. Names and expressions must not be null.
///
/// Failure: no operation throws. The result and the log report unknown names and values of a wrong
/// type; the caller decides what to do about them.
/// Thread-safety: all operations may be called on any thread, concurrently on the same object,
/// without a lock.
class VELMORA_API ParameterInfoDB
{
  public:
    ParameterInfoDB() = default;
    ParameterInfoDB(const ParameterInfoDB&) = delete;
    ParameterInfoDB& operator=(const ParameterInfoDB&) = delete;
    virtual ~ParameterInfoDB();

    /// Looks up the definition of a parameter.
    /// Failure: returns false and resets the output if the name is unknown.
    virtual bool retrieve(const char* in_szName, ParameterInfo& out_info) const = 0;

    /// Replaces the output by all parameters whose names contain a match of a regular expression,
    /// those that programs have registered included. The empty expression lists all; for bounds see
    /// `retrieveBounds`. An empty result is not a failure.
    /// Failure: returns false and logs an error if the expression is invalid or takes too long; the
    /// output keeps the parameters found so far.
    virtual bool retrieve(const char* in_szRegex,
                          std::vector<ParameterInfoWithName>& out_infos) const = 0;

    /// Sets each parameter that has a default, and that the configuration does not define, to its
    /// default. Deprecated parameters are included only with `in_bIncludeDeprecated`. An existing
    /// value always stays; a value of a wrong type or out of bounds logs a warning.
    virtual void addDefaultsToConfig(Configuration& inout_configuration,
                                     bool in_bIncludeDeprecated) const = 0;

    /// Logs a warning for each deprecated parameter that the configuration defines. Returns whether
    /// there is one, even if warnings are not logged.
    virtual bool warnOnDeprecated(const ROConfiguration& in_configuration) const = 0;

    /// Returns whether a name is known. The output is the name itself, or the known name with the
    /// smallest number of inserted, removed and replaced characters. The name may be the output's
    /// own text.
    virtual bool validateParamName(const char* in_szName, std::string& out_strName) const = 0;

    /// Returns whether a value fits the parameter of this name. Converts an integer to a float for
    /// a FLOAT, and any value to its text for a STRING; converts nothing else. A value out of the
    /// parameter's bounds does not fit. Any value fits an unknown name.
    /// Failure: returns false, logs a warning and leaves the value unchanged.
    virtual bool validateParamValue(const char* in_szName, ParameterValue& inout_value) const = 0;

    /// Returns the type of a parameter; undefined for an unknown name.
    [[nodiscard]] virtual ParameterValue::Type retrieveType(const char* in_szName) const;

    /// Returns the table of all parameters that the programs of the family know (`ParamDefs`). It
    /// is made when the library is loaded.
    ///
    /// Ownership: the table belongs to the exit list. Once that has run, this returns a table
    /// without parameters: no name is known or close to a known one, and any value fits.
    static const ParameterInfoDB& getInstance();

    /// Registers a program's own parameters in the table of the process. They are looked up,
    /// checked, listed, suggested and set to their defaults like the library's own. A program
    /// registers them before its configuration is read, either when the program is loaded,
    ///
    ///     constexpr ProgramParameter s_parameters[] = {...};
    ///     [[maybe_unused]] const bool s_bRegistered =
    ///         ParameterInfoDB::registerParameters(s_parameters);
    ///
    /// or in `main` before `ApplicationImpl::initialize`. A registration lasts until the process
    /// ends, even if the plug-in that made it is closed. All copies of the library in a process
    /// share it.
    ///
    /// The same row may be registered repeatedly, for example by two plug-ins that share code. The
    /// name of one parameter may be the beginning of another one's.
    ///
    /// Failure: returns false and logs an error for each row that is refused. Nothing of such a row
    /// is registered; the other rows of the array are. A row is refused for
    ///
    /// - a name without components, with an empty component, with a blank, a control character or
    ///   one of "=#${}", or below "keswardin" or "log4cplus";
    /// - a name that is already registered with a different row;
    /// - a type other than STRING, INT, BOOL and FLOAT;
    /// - a default or bound that does not read as a value of the type, or a default out of bounds;
    /// - bounds of a STRING or a BOOL, or a lowest value above the highest one;
    /// - being new once a `load` or `addDefaults` of a `GlobalConfigImpl` has begun, whatever its
    ///   result.
    ///
    /// Once the exit list has run, returns false without logging.
    /// Thread-safety: may be called on any thread, even while other threads read the table.
    static bool registerParameters(std::span<const ProgramParameter> in_parameters);

    /// Looks up the bounds of a parameter in the table of the process. Only registered parameters
    /// have bounds.
    ///
    /// A value out of bounds is never stored in a configuration that uses this table: a line with
    /// such a value is skipped with a warning, so that the previous value or the default stays in
    /// effect, and `setParameter` refuses the value.
    /// Failure: returns false and no bounds.
    static bool retrieveBounds(const char* in_szName, ParameterBounds& out_bounds);
};

} // namespace Velmora

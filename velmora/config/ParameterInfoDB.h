#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterInfo.h"

#include <string>
#include <vector>

namespace Velmora
{

class Configuration;
class ROConfiguration;

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
    /// the wrong type draws a warning.
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
    /// anything for a STRING becomes its text; nothing else is converted. A name that is not known
    /// fits any value.
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
};

} // namespace Velmora

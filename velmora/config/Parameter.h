// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterValue.h"
#include "velmora/config/ParameterValueVector.h"
#include "velmora/logging/LogLevel.h"

#include <iosfwd>
#include <string>
#include <utility>

namespace Velmora
{

class ParameterInfoDB;

/// The result of reading a `Parameter` from text.
enum ParameterInitResult : int
{
    /// The line has no "=", or the text gave no value.
    INIT_UNDEFINED = 0,
    /// The name is unknown; the value has the type that it looks like.
    INIT_UNKNOWN_PARAMETER = 1,
    /// The text does not fit the required type; the value has the type that it looks like.
    INIT_WRONG_TYPE = 2,
    /// The value has the required type, or no type was required.
    INIT_OK = 3
};

/// A name with a value, as in the line "name=value".
///
/// Thread-safety: as `ParameterValue`; the static operations may be called on any thread.
class VELMORA_API Parameter
{
  public:
    [[nodiscard]] const std::string& getName() const { return m_name; }
    [[nodiscard]] const ParameterValue& getValue() const { return m_value; }
    /// Moves the value out of the parameter, which is undefined afterwards.
    [[nodiscard]] ParameterValue takeValue() { return std::move(m_value); }

    /// Reads the name: the text before the first "=", without the blanks around it, possibly empty.
    /// Sets `inout_szText` to the text behind the "=".
    /// Failure: returns false for a null text and for a text without "="; in the latter case
    /// `inout_szText` then points to its first nonblank character.
    [[nodiscard]] bool initNameFromText(const char*& inout_szText);

    /// Reads the value, of the given type or, with `UNDEF_TYPE`, of the type that the text looks
    /// like.
    /// Failure: a text that does not fit the type gets the type that it looks like. A text that
    /// yields no value logs a warning.
    ParameterInitResult initValueFromText(const char* in_szText,
                                          ParameterValue::Type in_bTargetType);

    /// Reads a line of name, "=" and value.
    ParameterInitResult initFromText(const char* in_szLine, ParameterValue::Type in_bTargetType);

    /// Reads a line of name, "=" and value. The value has the type that the table of known
    /// parameters gives for the name; for an unknown name, the type that it looks like.
    ParameterInitResult initFromText(const char* in_szLine, const ParameterInfoDB& in_paramInfoDB);

    /// Writes name and value, as in "name=answer type=INT value=42".
    std::ostream& dump(std::ostream& out_stream) const;

    /// Logs at ERROR that a parameter without which the caller cannot continue is missing.
    static void logUndefinedParameter(const char* in_szParamName, ParameterValue::Type in_type);

    /// Logs which value of a parameter the caller uses.
    static void logParameterUsage(const char* in_szParamName, const ParameterValue& in_value,
                                  LogLevel in_logLevel);

  private:
    std::string m_name;
    ParameterValue m_value;
};

/// Writes "name=value" with the bare value.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const Parameter& in_parameter);

} // namespace Velmora

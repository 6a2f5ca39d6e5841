#pragma once

#include "velmora/Export.h"
#include "velmora/config/Parameter.h"

#include <iosfwd>
#include <string>

namespace Velmora
{

/// What is known of a configuration parameter.
///
/// Thread-safety: as `ParameterValue`.
class VELMORA_API ParameterInfo
{
  public:
    /// Undefines the type and the default value, clears the flags and empties the description: the
    /// state of a new object.
    void reset();

    /// Writes all of it on one line, as in
    ///
    ///     type=INT default-value=60 run-time-settable=false deprecated=false description="A time."
    ///
    /// A default value that there is not is written as "UNDEF".
    std::ostream& write(std::ostream& out_stream) const;

    /// `UNDEF_TYPE` where nothing is known.
    ParameterValue::Type m_type = ParameterValue::UNDEF_TYPE;
    /// The value of a parameter that a configuration does not have; undefined for no default.
    ParameterValue m_defaultValue;
    /// Whether a running program may set it.
    bool m_bRunTimeSettable = false;
    bool m_bDeprecated = false;
    /// For people; empty for none. That of a deprecated parameter says what to use instead.
    std::string m_strDescription;
};

/// Calls `write`.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ParameterInfo& in_info);

/// The same with the parameter's dotted name.
class VELMORA_API ParameterInfoWithName : public ParameterInfo
{
  public:
    ParameterInfoWithName() = default;
    ParameterInfoWithName(std::string in_strName, const ParameterInfo& in_info);

    std::string m_strName;
};

} // namespace Velmora

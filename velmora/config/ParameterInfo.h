// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterValue.h"

#include <iosfwd>
#include <string>

namespace Velmora
{

/// The definition of a configuration parameter.
///
/// Thread-safety: as `ParameterValue`.
class VELMORA_API ParameterInfo
{
  public:
    /// Resets the object to the state of a new one: type and default value undefined, flags
    /// cleared, description empty.
    void reset();

    /// Writes the definition on one line, as in
    ///
    ///     type=INT default-value=60 run-time-settable=false deprecated=false description="A time."
    ///
    /// A missing default value is written as "UNDEF".
    std::ostream& write(std::ostream& out_stream) const;

    /// `UNDEF_TYPE` if the parameter is not known.
    ParameterValue::Type m_type = ParameterValue::UNDEF_TYPE;
    /// The value of a parameter that the configuration does not define; undefined if there is no
    /// default.
    ParameterValue m_defaultValue;
    /// Whether the parameter can be set at run time.
    bool m_bRunTimeSettable = false;
    bool m_bDeprecated = false;
    /// A text for human readers; may be empty. The description of a deprecated parameter says what
    /// to use instead.
    std::string m_strDescription;
};

/// Calls `write`.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ParameterInfo& in_info);

/// The definition of a parameter, with its dotted name.
class VELMORA_API ParameterInfoWithName : public ParameterInfo
{
  public:
    ParameterInfoWithName() = default;
    ParameterInfoWithName(std::string in_strName, const ParameterInfo& in_info);

    std::string m_strName;
};

} // namespace Velmora

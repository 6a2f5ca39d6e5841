// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Exception.h"
#include "velmora/config/ParameterValue.h"

namespace Velmora
{

/// Describes an attempt to read a value as another type than it has. Never thrown: it formats the
/// log line.
class VELMORA_API InvalidParamValueTypeException : public Exception
{
  public:
    InvalidParamValueTypeException(ParameterValue::Type in_requestedType,
                                   ParameterValue::Type in_actualType);
    InvalidParamValueTypeException(const InvalidParamValueTypeException&) = default;
    InvalidParamValueTypeException& operator=(const InvalidParamValueTypeException&) = default;
    ~InvalidParamValueTypeException() override;

    /// Writes the names of both types. A type without a name fails the assertion of
    /// `ParameterValue::getTypeAsString`.
    std::ostream& write(std::ostream& out_stream) const override;

  private:
    ParameterValue::Type m_requestedType;
    ParameterValue::Type m_actualType;
};

} // namespace Velmora

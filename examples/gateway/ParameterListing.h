// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterInfo.h"

#include <ostream>
#include <string>
#include <vector>

namespace GatewayExample
{

/// A list of parameters with their definitions, in the order in which they were added.
class ParameterListing
{
  public:
    /// Adds the parameters that this program and the library below it read.
    void addOwn();

    /// Adds all parameters of the family whose names contain a match of an expression.
    /// Failure: returns false if no name matches; throws `std::runtime_error` if the expression is
    /// invalid.
    bool add(const std::string& in_strRegex);

    [[nodiscard]] const std::vector<Velmora::ParameterInfoWithName>& parameters() const
    {
        return m_parameters;
    }

    /// Writes a line for each parameter.
    void writeText(std::ostream& out_stream) const;

    /// Writes an array with an object for each parameter: "name", "type", "default" (null if there
    /// is none), "lowest" and "highest" if it has such a bound, "run-time-settable", "deprecated",
    /// "description".
    void writeJson(std::ostream& out_stream) const;

  private:
    std::vector<Velmora::ParameterInfoWithName> m_parameters;
};

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterValue.h"

namespace Velmora
{

/// One row of a table of parameter definitions in a source file.
/// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which people read a
/// row
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which people read a row
struct ParameterRow
{
    const char* szName;
    ParameterValue::Type type;
    /// The text that `ParameterValue::initFromText` reads as a value of the type; null for a
    /// parameter without a default.
    const char* szDefault;
    bool bRunTimeSettable;
    bool bDeprecated;
    /// Null for a parameter without a description. The description of a deprecated parameter says
    /// what to use instead.
    const char* szDescription;
};

} // namespace Velmora

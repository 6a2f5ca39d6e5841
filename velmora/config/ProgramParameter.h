// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterValue.h"

namespace Velmora
{

/// The definition of a parameter that a program adds to those of the library.
/// `ParameterInfoDB::registerParameters` takes an array of them:
///
///     constexpr ProgramParameter s_parameters[] = {
///         {.szName = "monitor.port", .type = ParameterValue::INT_TYPE, .szDefault = "8090",
///          .szLowest = "1", .szHighest = "65535",
///          .szDescription = "The port on which the monitor serves."},
///         {.szName = "monitor.realm", .type = ParameterValue::STRING_TYPE},
///     };
///
/// Texts may be null, except the name. `ParameterValue::initFromText` must read the default and the
/// bounds as values of the type: for a FLOAT write "90.0", because "90" is an INT.
// The fields are in the order in which a row is written.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct ProgramParameter
{
    /// A dotted name. Must not be below "keswardin", which is the library's, or below "log4cplus",
    /// where logging is configured.
    const char* szName = nullptr;
    /// STRING, INT, BOOL or FLOAT.
    ParameterValue::Type type = ParameterValue::UNDEF_TYPE;
    const char* szDefault = nullptr;
    /// The lowest and the highest value of an INT or a FLOAT.
    const char* szLowest = nullptr;
    const char* szHighest = nullptr;
    /// Whether the parameter can be set at run time.
    bool bRunTimeSettable = false;
    const char* szDescription = nullptr;
};

} // namespace Velmora

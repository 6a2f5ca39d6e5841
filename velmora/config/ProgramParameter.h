#pragma once

#include "velmora/config/Parameter.h"

namespace Velmora
{

/// A parameter of a program's own, as the program's source text holds it, beside those that the
/// library knows. `ParameterInfoDB::registerParameters` takes an array of them:
///
///     constexpr ProgramParameter s_parameters[] = {
///         {.szName = "monitor.port", .type = ParameterValue::INT_TYPE, .szDefault = "8090",
///          .szLowest = "1", .szHighest = "65535",
///          .szDescription = "The port on which the monitor serves."},
///         {.szName = "monitor.realm", .type = ParameterValue::STRING_TYPE},
///     };
///
/// A text may be null where there is none. The default and the bounds are texts that
/// `ParameterValue::initFromText` reads as values of the type: "90.0" for a FLOAT, as "90" would be
/// an INT.
// The fields stand in the order in which one writes them.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct ProgramParameter
{
    /// Dotted, and not below "keswardin", whose parameters are the library's, nor below
    /// "log4cplus", where logging is configured.
    const char* szName = nullptr;
    /// STRING, INT, BOOL or FLOAT.
    ParameterValue::Type type = ParameterValue::UNDEF_TYPE;
    const char* szDefault = nullptr;
    /// The least and the greatest value of an INT or a FLOAT.
    const char* szLowest = nullptr;
    const char* szHighest = nullptr;
    /// Whether a running program may set it.
    bool bRunTimeSettable = false;
    const char* szDescription = nullptr;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/helpers/property.h>

#include <string>
#include <vector>

namespace Velmora
{

class ParameterTrie;

/// Something in a logging configuration that has no effect, or not the one that was meant.
struct LoggingProblem
{
    /// The name of the line, as in the configuration.
    std::string strKey;
    std::string strValue;
    /// What was probably meant: the whole name of a line if its name is wrong, else the part of the
    /// value that is right. Empty if nothing known is close.
    std::string strClosest;
    /// The line for the operator: the name and the value, what is wrong, and what to write.
    std::string strText;
    /// Whether the object that the line configures would report the line itself.
    bool bReportedByOwner = false;
};

/// Checks the section "log4cplus" of a configuration, which log4cplus reads without a word about
/// names that it does not know:
///
/// - names directly below "log4cplus", and of the properties of appenders, layouts and filters
/// - values that are not what their property needs, and levels that do not exist
/// - classes that do not exist, appenders in the list of a logger that do not exist, appenders that
///   no logger uses, appenders without a layout, and missing properties
///
/// A known name is suggested if it differs in at most a third of the characters of the wrong one.
/// The properties of a class that only the program knows, which it has registered with log4cplus,
/// are not checked. Neither are names and values with a "${" that log4cplus replaces.
///
/// Thread-safety: as the configuration. Takes the lock of log4cplus's registries.
/// Failure: throws `std::bad_alloc`.
class LoggingCheck
{
  public:
    using Problems = std::vector<LoggingProblem>;

    /// Returns the problems of a whole configuration; none if it has no section "log4cplus". Equal
    /// sections have equal problems in the same order.
    [[nodiscard]] static Problems problemsOf(const ParameterTrie& in_trie);

    /// Does the same for a configuration whose names begin with "log4cplus.".
    [[nodiscard]] static Problems problemsOf(const log4cplus::helpers::Properties& in_properties);

    /// Removes the lines that their owners would report, which have no effect, from the properties
    /// whose names begin with "log4cplus.". So each is reported once.
    static void removeReportedByOwner(const Problems& in_problems,
                                      log4cplus::helpers::Properties& inout_properties);
};

} // namespace Velmora

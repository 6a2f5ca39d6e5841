// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <log4cplus/helpers/property.h>

#include <string>
#include <vector>

/// What the library adds to the file appenders of log4cplus, beyond what their properties say. Used
/// by `Logger::configure` and by the call files.
///
/// Thread-safety: as for the properties; the functions share no state.
namespace Velmora::FileAppenders
{

/// Adds what the properties of one appender leave out: "ReopenDelay" 0. With log4cplus's own
/// default, the lines of the second after a failed write are dropped.
VELMORA_API void addDefaults(log4cplus::helpers::Properties& inout_appender);

/// Does the same for each file appender in a configuration, whose keys begin with `in_strPrefix`
/// and then "appender.". File appenders are those of log4cplus that write to files, and any other
/// that has the property "File", except `FileAppender`. Appenders nested in others are included.
VELMORA_API void addDefaultsToAll(log4cplus::helpers::Properties& inout_configuration,
                                  const std::string& in_strPrefix = "log4cplus.");

/// Finds appenders whose rollover will fail. If the file cannot be renamed, or no backup can be
/// made beside it, log4cplus empties the file, and its lines are lost. Returns a line for the
/// operator for each such appender, with the system's reason and what to do.
///
/// Queries files and directories, changes nothing, and may take as long as a slow disk does. The
/// configuration must be in effect: the directories that log4cplus makes (`CreateDirs`) exist by
/// then. A missing directory is not reported here, because log4cplus reports that it cannot open
/// the file.
[[nodiscard]] VELMORA_API std::vector<std::string>
rolloverProblems(const log4cplus::helpers::Properties& in_configuration,
                 const std::string& in_strPrefix = "log4cplus.");

} // namespace Velmora::FileAppenders

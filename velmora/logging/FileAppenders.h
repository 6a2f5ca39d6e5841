#pragma once

#include "velmora/Export.h"

#include <log4cplus/helpers/property.h>

#include <string>
#include <vector>

/// What the library sees to for log4cplus's appenders to files, beyond what their properties say.
/// `Logger::configure` and the files of calls go through it.
///
/// Thread-safety: as the properties; the functions share nothing.
namespace Velmora::FileAppenders
{

/// Adds what the properties of one appender leave out: "ReopenDelay" 0. log4cplus's own
/// default drops the lines of the second that follows a failed write.
VELMORA_API void addDefaults(log4cplus::helpers::Properties& inout_appender);

/// Does that for each appender to a file in a configuration, whose keys begin with `in_strPrefix`
/// and then "appender.". These are the appenders of log4cplus that write to files, and any other
/// that has the property "File"; an appender within another one is among them.
VELMORA_API void addDefaultsToAll(log4cplus::helpers::Properties& inout_configuration,
                                  const std::string& in_strPrefix = "log4cplus.");

/// Looks for appenders whose rollover will fail: where the file cannot be renamed, or no backup be
/// put beside it, log4cplus empties the file, and its lines are lost. Gives a line for the operator
/// for each, with the system's reason and what to do.
///
/// Asks the system about files and directories, changes nothing, and may take as long as a slow
/// disk does. For a configuration in force: directories that log4cplus makes (`CreateDirs`) are
/// there by then. A directory that is not there is left to log4cplus, which reports that it cannot
/// open the file.
[[nodiscard]] VELMORA_API std::vector<std::string>
rolloverProblems(const log4cplus::helpers::Properties& in_configuration,
                 const std::string& in_strPrefix = "log4cplus.");

} // namespace Velmora::FileAppenders

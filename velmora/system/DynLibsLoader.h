#pragma once

#include "velmora/Export.h"

#include <string>
#include <vector>

namespace Velmora
{

class ROConfiguration;

/// Opens the shared libraries that extend a program, as `DynlibObjectFactoryNoT` does: they stay
/// until the process ends.
///
/// Logs on "keswardin.infra.DynLibsLoader".
///
/// Thread-safety: for the start of a program; a library's constructors run on the calling thread.
namespace DynLibsLoader
{

/// Opens one library, by its name without prefix and extension.
/// Failure: false and an error in the log.
VELMORA_API bool loadDynLib(const char* in_szDynLibBasename);

/// Opens libraries in order, the later ones also where an earlier one cannot be opened. True if all
/// could be, so also for none.
VELMORA_API bool loadDynLibs(const std::vector<std::string>& in_dynLibBasenames);

/// Opens the libraries that the parameter `keswardin.startup.loadDynLibList` names, a list that is
/// separated by commas and blanks. True if all could be opened, so also where the parameter is
/// empty or cannot be read.
/// Failure: false; an exception ends the list with an error in the log and goes no further.
VELMORA_API bool loadDynLibs(const ROConfiguration& in_configuration);

} // namespace DynLibsLoader

} // namespace Velmora

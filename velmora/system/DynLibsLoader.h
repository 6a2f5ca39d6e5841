// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>
#include <vector>

namespace Velmora
{

class ROConfiguration;

/// Opens shared libraries that extend a program, by `DynlibObjectFactoryNoT`. They stay open until
/// the process ends.
///
/// Logs on "keswardin.infra.DynLibsLoader".
///
/// Thread-safety: for the start of a program; a library's constructors run on the calling thread.
namespace DynLibsLoader
{

/// Opens one library, named without prefix and extension.
/// Failure: returns false and logs an error.
VELMORA_API bool loadDynLib(const char* in_szDynLibBasename);

/// Opens libraries in order. After a failure the remaining ones are still opened. Returns true if
/// all of them were opened, so also for an empty list.
VELMORA_API bool loadDynLibs(const std::vector<std::string>& in_dynLibBasenames);

/// Opens the libraries in the parameter `keswardin.startup.loadDynLibList`, a list separated by
/// commas and blanks. Returns true if all of them were opened, and if the parameter is empty or
/// cannot be read.
/// Failure: returns false. An exception ends the list; it is logged as an error and not passed on.
VELMORA_API bool loadDynLibs(const ROConfiguration& in_configuration);

} // namespace DynLibsLoader

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

/// Exports the table of known parameters to scripts: looking up a name, all names, the closest
/// one, whether a value fits, and registering a program's own rows.
///
/// Thread-safety: the functions in Python may be called on any thread.
namespace Velmora::KnownParameters
{

/// Adds the functions to the current scope of Boost.Python. The caller holds the interpreter lock.
void exportToPython();

} // namespace Velmora::KnownParameters

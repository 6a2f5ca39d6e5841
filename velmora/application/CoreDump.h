// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Renames an earlier core and fails. It is meant to write a core of the running process, but that
/// is not implemented. A file or directory at the path is renamed with a timestamp (see
/// `File::renameWithTimestamp`); ten such files are kept. Then an assertion fails.
///
/// Logs on "keswardin.infra.CoreDump".
///
/// Failure: always returns false. Throws as `BoostRegex` does if the name is not a regular
/// expression.
/// Thread-safety: may be called on any thread.
VELMORA_API bool dumpCore(const char* in_szPath);

} // namespace Velmora

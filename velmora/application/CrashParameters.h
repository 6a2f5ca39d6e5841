// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora
{

/// Whether the process prepares for core dumps: a bool, true by default.
inline constexpr const char* s_szINFRA_COREDUMP_WRITEONCRASH_PARAM =
    "keswardin.infra.coreDump.writeOnCrash";

/// The directory where core dumps are written: a string without a default. Without it they are
/// written to the current directory.
inline constexpr const char* s_szINFRA_COREDUMP_WRITEONCRASH_PATH_PARAM =
    "keswardin.infra.coreDump.writeOnCrash.path";

} // namespace Velmora

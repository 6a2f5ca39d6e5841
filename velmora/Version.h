// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

/// The version of these headers. Until 1.0 a new minor version may break programs that were built
/// with an older one; the name of the shared library holds major and minor version until then, so
/// that a program keeps the library that it was built for. A new patch version never breaks a
/// program.
#define VELMORA_VERSION_MAJOR 0
#define VELMORA_VERSION_MINOR 1
#define VELMORA_VERSION_PATCH 0

/// The same as one number that can be compared: 10000 * major + 100 * minor + patch.
#define VELMORA_VERSION \
    (VELMORA_VERSION_MAJOR * 10000 + VELMORA_VERSION_MINOR * 100 + VELMORA_VERSION_PATCH)

namespace Velmora
{

/// Returns `VELMORA_VERSION` of the library that the process has loaded, which can be a later patch
/// than that of the headers the program was compiled with.
///
/// Thread-safety: may be called at any time.
[[nodiscard]] VELMORA_API int getInfraVersion() noexcept;

} // namespace Velmora

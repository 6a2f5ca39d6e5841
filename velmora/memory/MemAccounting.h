// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Returns whether memory is charged to accounts. The environment variable `VELMORA_MEM_ACCOUNTING`
/// turns this on with any value except an empty one or "false" in any case. It is read once. The
/// result never changes, because memory must go back to the allocator that it came from.
///
/// Thread-safety: may be called on any thread.
[[nodiscard]] VELMORA_API bool isMemAccountingForced();

} // namespace Velmora

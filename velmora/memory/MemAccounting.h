#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Whether the environment variable `VELMORA_MEM_ACCOUNTING` asks for memory to be charged to its
/// accounts: anything but an empty value or "false" in any case does. It is read once; the answer
/// never changes, since memory must go back to the allocator that gave it.
///
/// Thread-safety: may be called on any thread.
[[nodiscard]] VELMORA_API bool isMemAccountingForced();

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Support.h"

#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Support)

namespace Velmora
{

const Logger& Support::getLogger() { return *fileScopeLogger(); }

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Holds the revision and the branch of the library's source. They are set at build time by the
/// CMake variables `VELMORA_REVISION` and `VELMORA_BRANCH_NAME`.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API VersionControl
{
  public:
    [[nodiscard]] static const char* getRevision();
    [[nodiscard]] static const char* getBranchName();
};

} // namespace Velmora

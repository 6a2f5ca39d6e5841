#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Where the library's own source came from, put in when it was built: the CMake variables
/// `VELMORA_REVISION` and `VELMORA_BRANCH_NAME`.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API VersionControl
{
  public:
    [[nodiscard]] static const char* getRevision();
    [[nodiscard]] static const char* getBranchName();
};

} // namespace Velmora

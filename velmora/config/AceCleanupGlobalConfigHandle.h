// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/config/RWGlobalConfig.h"

#include <ace/Cleanup.h>

namespace Velmora
{

/// The handle by which the exit list of the ACE object manager holds the configuration of the
/// process.
///
/// Ownership: belongs to the exit list. Must be made with `new`, once per process.
class VELMORA_API AceCleanupGlobalConfigHandle : public TSHandle<RWGlobalConfig>, public ACE_Cleanup
{
  public:
    explicit AceCleanupGlobalConfigHandle(RWGlobalConfig* in_pConfig);
    AceCleanupGlobalConfigHandle(const AceCleanupGlobalConfigHandle&) = delete;
    AceCleanupGlobalConfigHandle& operator=(const AceCleanupGlobalConfigHandle&) = delete;
    ~AceCleanupGlobalConfigHandle() override;
};

} // namespace Velmora

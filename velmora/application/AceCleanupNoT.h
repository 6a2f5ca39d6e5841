// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <ace/Cleanup.h>

namespace Velmora
{

/// Base class of objects that the exit list of the ACE object manager deletes. The constructor puts
/// the object on the list. The list runs last in, first out, so the object is deleted before all
/// objects that were on the list already.
///
/// Ownership: the exit list owns the object. It must be created with `new`, and no other code may
/// delete it.
/// Failure: an object that is created while the list runs is not put on it and is never deleted.
/// Thread-safety: objects may be created on any thread. The list runs on the thread that ends the
/// process.
class VELMORA_API AceCleanupNoT : public ACE_Cleanup
{
  public:
    AceCleanupNoT();
    AceCleanupNoT(const AceCleanupNoT&) = delete;
    AceCleanupNoT& operator=(const AceCleanupNoT&) = delete;
    ~AceCleanupNoT() override;

    /// Deletes the object. The argument is not used.
    void cleanup(void* in_pParam = nullptr) override;
};

} // namespace Velmora

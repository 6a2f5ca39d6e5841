#pragma once

#include "velmora/Export.h"

#include <ace/Cleanup.h>

namespace Velmora
{

/// Base of objects that live until the exit list of the ACE object manager deletes them. The
/// constructor puts the object on the list, so it dies before everything that it found there.
///
/// Ownership: the exit list's; must be made with `new`, and nobody else deletes it.
/// Failure: an object that is made while the list runs is not put on it and is never deleted.
/// Thread-safety: may be made on any thread; the list runs on the thread that ends the process.
class VELMORA_API AceCleanupNoT : public ACE_Cleanup
{
  public:
    AceCleanupNoT();
    AceCleanupNoT(const AceCleanupNoT&) = delete;
    AceCleanupNoT& operator=(const AceCleanupNoT&) = delete;
    ~AceCleanupNoT() override;

    /// Deletes the object; the argument is not used.
    void cleanup(void* in_pParam = nullptr) override;
};

} // namespace Velmora

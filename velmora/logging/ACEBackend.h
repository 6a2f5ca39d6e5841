#pragma once

#include "velmora/Export.h"

#include <ace/Cleanup.h>

namespace Velmora
{

/// The oldest entry of the exit list: it brings log4cplus up before the first line is logged, and
/// stands until everything else on the list has gone.
///
/// Ownership: the exit list's.
class VELMORA_API ACEBackend : public ACE_Cleanup
{
  public:
    ACEBackend();
    ~ACEBackend() override;
    ACEBackend(const ACEBackend&) = delete;
    ACEBackend& operator=(const ACEBackend&) = delete;
};

/// The one of this process, made on the first call. Null once the exit list has run.
/// Thread-safety: may be called on any thread.
VELMORA_API ACEBackend* getACEBackend();

} // namespace Velmora

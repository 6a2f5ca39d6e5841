// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/ThreadAnnotations.h"

#include <ace/Thread_Mutex.h>

namespace Velmora
{

/// A mutex whose waiters spin before they sleep. For a mutex that is held for about a microsecond:
/// less than falling asleep and being woken takes.
class VELMORA_CAPABILITY("mutex") VELMORA_API AdaptiveMutex : public ACE_Thread_Mutex
{
  public:
    AdaptiveMutex();
};

} // namespace Velmora

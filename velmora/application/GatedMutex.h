// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/ThreadAnnotations.h"

#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

namespace Velmora
{

/// A mutex that `GatedGuard` locks, and that clang checks the uses of guarded members by. It is the
/// mutex of ACE: clang does not know that class as a lock.
class VELMORA_CAPABILITY("mutex") GatedMutex : public ACE_Thread_Mutex
{
  public:
    using ACE_Thread_Mutex::ACE_Thread_Mutex;
};

/// The same for a mutex that a thread may lock several times.
class VELMORA_CAPABILITY("mutex") GatedRecursiveMutex : public ACE_Recursive_Thread_Mutex
{
  public:
    using ACE_Recursive_Thread_Mutex::ACE_Recursive_Thread_Mutex;
};

} // namespace Velmora

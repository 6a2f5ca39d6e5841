// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Counts the locks that a thread takes. Include it in exactly one source file of a test program; it
// interposes the locking functions of the thread library.

#include "velmora/Sanitizers.h"

#include <dlfcn.h>
#include <pthread.h>

namespace Velmora::Test
{

/// The number of times that this thread has locked a mutex or a read-write lock.
inline thread_local int s_iLocks = 0;

#if VELMORA_THREAD_SANITIZER
/// ThreadSanitizer interposes the same functions.
inline constexpr bool s_bCountsLocks = false;
#else
inline constexpr bool s_bCountsLocks = true;
#endif

} // namespace Velmora::Test

#if !VELMORA_THREAD_SANITIZER

// NOLINTBEGIN(misc-definitions-in-headers)
#define VELMORA_COUNT_LOCK(function, type)                                                   \
    extern "C" __attribute__((visibility("default"))) int function(type* in_pLock)           \
    {                                                                                        \
        using Function = int (*)(type*);                                                     \
        static const auto s_pReal = reinterpret_cast<Function>(dlsym(RTLD_NEXT, #function)); \
        ++Velmora::Test::s_iLocks;                                                           \
        return s_pReal(in_pLock);                                                            \
    }

VELMORA_COUNT_LOCK(pthread_mutex_lock, pthread_mutex_t)
VELMORA_COUNT_LOCK(pthread_mutex_trylock, pthread_mutex_t)
VELMORA_COUNT_LOCK(pthread_rwlock_rdlock, pthread_rwlock_t)
VELMORA_COUNT_LOCK(pthread_rwlock_tryrdlock, pthread_rwlock_t)
VELMORA_COUNT_LOCK(pthread_rwlock_trywrlock, pthread_rwlock_t)
VELMORA_COUNT_LOCK(pthread_rwlock_wrlock, pthread_rwlock_t)

#undef VELMORA_COUNT_LOCK
// NOLINTEND(misc-definitions-in-headers)

#endif

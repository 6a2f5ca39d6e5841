// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/AdaptiveMutex.h"

#include <pthread.h>

namespace Velmora
{

namespace
{

/// Attributes of a mutex whose waiters spin before they sleep.
class AdaptiveMutexAttributes
{
  public:
    AdaptiveMutexAttributes()
    {
        pthread_mutexattr_init(&m_attributes);
        pthread_mutexattr_settype(&m_attributes, PTHREAD_MUTEX_ADAPTIVE_NP);
    }
    ~AdaptiveMutexAttributes() { pthread_mutexattr_destroy(&m_attributes); }
    AdaptiveMutexAttributes(const AdaptiveMutexAttributes&) = delete;
    AdaptiveMutexAttributes& operator=(const AdaptiveMutexAttributes&) = delete;

    ACE_mutexattr_t* get() { return &m_attributes; }

  private:
    ACE_mutexattr_t m_attributes;
};

} // namespace

AdaptiveMutex::AdaptiveMutex() : ACE_Thread_Mutex(nullptr, AdaptiveMutexAttributes().get()) {}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/OnDemandSingleton.h"

#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(OnDemandSingleton)

namespace Velmora
{

const Logger& OnDemandSingletonNoT::sGetLogger() { return *fileScopeLogger(); }

ACE_Recursive_Thread_Mutex& OnDemandSingletonNoT::sGetMutex()
{
    // Never destroyed, since threads may outlive static destructors.
    static ACE_Recursive_Thread_Mutex& s_mutex = *new ACE_Recursive_Thread_Mutex;
    return s_mutex;
}

} // namespace Velmora

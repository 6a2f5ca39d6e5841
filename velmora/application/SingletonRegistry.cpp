#include "velmora/application/SingletonRegistry.h"

#include "velmora/application/Lifetime.h"
#include "velmora/application/SingletonRegistryImpl.h"
#include "velmora/logging/OncePerProcess.h"

#include <ace/Singleton.h>

namespace Velmora
{

namespace
{

[[maybe_unused]] const SingletonRegistry* const __force_init_SingletonRegistry__ =
    (bringUpLibrary(), SingletonRegistry::getInstance());

} // namespace

SingletonRegistry::~SingletonRegistry() = default;

SingletonRegistry* SingletonRegistry::getInstance()
{
    OncePerProcess<SingletonRegistry>& place = SingletonRegistryImpl::placeInProcess();
    if (SingletonRegistry* const pRegistry = place.get())
        return pRegistry;
    return place.fill(ACE_Singleton<SingletonRegistryImpl, ACE_Thread_Mutex>::instance());
}

} // namespace Velmora

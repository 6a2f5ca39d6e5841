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
    // `ACE_Singleton` puts the registry on the exit list. `fill` returns the registry of another
    // copy of the library if that copy has filled the place in the meantime.
    return place.fill(ACE_Singleton<SingletonRegistryImpl, ACE_Thread_Mutex>::instance());
}

} // namespace Velmora

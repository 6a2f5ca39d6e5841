// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/SingletonRegistryImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/Lifetime.h"
#include "velmora/logging/OncePerProcess.h"

#include <ace/Object_Manager.h>
#include <ace/Singleton.h>

namespace Velmora
{

namespace
{

[[maybe_unused]] const SingletonRegistry* const __force_init_SingletonRegistry__ =
    (bringUpLibrary(), SingletonRegistry::getInstance());

bool isName(const char* in_szName)
{
    const Assertion assertion(in_szName != nullptr, "in_szName != 0", __FILE__, __LINE__);
    return in_szName != nullptr;
}

} // namespace

SingletonRegistry* SingletonRegistry::getInstance()
{
    OncePerProcess<SingletonRegistry>& place = SingletonRegistryImpl::placeInProcess();
    if (SingletonRegistry* const pRegistry = place.get())
        return pRegistry;
    // `ACE_Singleton` puts the registry on the exit list. `fill` returns the registry of another
    // copy of the library if that copy has filled the place in the meantime.
    return place.fill(ACE_Singleton<SingletonRegistryImpl, ACE_Thread_Mutex>::instance());
}

SingletonRegistryImpl::SingletonRegistryImpl() = default;

SingletonRegistryImpl::~SingletonRegistryImpl() { placeInProcess().clear(this); }

OncePerProcess<SingletonRegistry>& SingletonRegistryImpl::placeInProcess()
{
    static OncePerProcess<SingletonRegistry> s_place("SingletonRegistry");
    return s_place;
}

void* SingletonRegistryImpl::find(const char* in_szName) const
{
    if (!isName(in_szName))
        return nullptr;
    const GatedGuard<GatedMutex> guard(m_mutex);
    const auto found = m_objectHash.find(in_szName);
    return found == m_objectHash.end() ? nullptr : found->second;
}

void* SingletonRegistryImpl::insert(const char* in_szName, void* in_pObject,
                                    void (*in_pCleanup)(void*, void*), void* in_pParam)
{
    if (!isName(in_szName) || in_pObject == nullptr)
        return nullptr;
    const GatedGuard<GatedMutex> guard(m_mutex);
    // Another thread or image may have inserted the name. The table and the exit list change under
    // one lock, so that the order of the list is the order of the registrations.
    const auto [entry, bNew] = m_objectHash.emplace(in_szName, in_pObject);
    if (bNew && in_pCleanup != nullptr)
        ACE_Object_Manager::at_exit(in_pObject, in_pCleanup, in_pParam, entry->first.c_str());
    return entry->second;
}

Object* SingletonRegistryImpl::findObject(const char* in_szName) const
{
    return static_cast<Object*>(find(in_szName));
}

Object* SingletonRegistryImpl::insertObject(const char* in_szName, Object* in_pObject,
                                            bool in_bDeleteAtExit)
{
    return static_cast<Object*>(
        insert(in_szName, in_pObject, in_bDeleteAtExit ? &cleanupObject : nullptr, nullptr));
}

void SingletonRegistryImpl::cleanupObject(void* in_pObject, void*)
{
    delete static_cast<Object*>(in_pObject);
}

} // namespace Velmora

#pragma once

#include "velmora/application/SingletonRegistry.h"

namespace Velmora
{

/// Deletes an object of the singleton registry as a `T`. This is its clean-up function.
template <class T>
void deleteCleanupFunc(void* in_pObject, void*)
{
    delete static_cast<T*>(in_pObject);
}

/// Registers the object as the singleton of that name, and puts it on the exit list, which deletes
/// it. If another image of the process has registered one of that name before, deletes the new
/// object and returns the registered one. A singleton is written as follows:
///
///     class CallTable : public InAccount<"CallTable"> { ... };
///
///     CallTable* CallTable::getInstance()
///     {
///         static CallTable* const pSingleton =
///             registerSingleton("CallTable::Singleton", new CallTable);
///         return pSingleton;
///     }
///
/// A variable whose name is `__force_init_singleton__` and the class makes the singleton when its
/// image is loaded. The destructor may log and release memory. After the exit list has deleted the
/// singleton, `getInstance` must not be called.
///
/// Ownership: the exit list owns the singleton.
/// Thread-safety: may be called on any thread.
template <class T>
T* registerSingleton(const char* in_szName, T* in_pNewObject)
{
    void* const pRegistered = SingletonRegistry::getInstance()->insert(
        in_szName, in_pNewObject, &deleteCleanupFunc<T>, nullptr);
    if (pRegistered != in_pNewObject)
        deleteCleanupFunc<T>(in_pNewObject, nullptr);
    return static_cast<T*>(pRegistered);
}

} // namespace Velmora

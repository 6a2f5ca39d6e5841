#pragma once

#include "velmora/application/SingletonRegistry.h"

namespace Velmora
{

/// The clean-up function of an object that the singleton registry owns: deletes it as a `T`.
template <class T>
void deleteCleanupFunc(void* in_pObject, void*)
{
    delete static_cast<T*>(in_pObject);
}

/// Registers the object as the singleton of that name, for the exit list to delete. Where another
/// image of the process has got there first with the same code, the new object is deleted and the
/// other's is given. A singleton is written:
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
/// and forced into being when its image is loaded, by a variable that is named
/// `__force_init_singleton__` and the class. Its destructor may log and release memory. Once the
/// exit list has deleted it, `getInstance` must not be called.
///
/// Ownership: the exit list's.
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

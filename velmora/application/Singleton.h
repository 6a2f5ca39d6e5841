// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/SingletonRegistry.h"

namespace Velmora
{

/// Deletes an object as a `T`. It is the clean-up function that a singleton is registered with.
template <class T>
void deleteCleanupFunc(void* in_pObject, void*)
{
    delete static_cast<T*>(in_pObject);
}

/// Registers the object as the singleton of that name, and puts it on the exit list, which deletes
/// it. If another image of the process has already registered an object under that name, deletes
/// the new object and returns the registered one. A singleton is written as follows:
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
/// A variable named `__force_init_singleton__` followed by the class calls `getInstance` when the
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

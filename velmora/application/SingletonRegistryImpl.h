// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/GatedMutex.h"
#include "velmora/application/SingletonRegistry.h"

#include <string>
#include <unordered_map>

namespace Velmora
{

template <class T>
class OncePerProcess;

/// Implements the table of singletons.
///
/// Ownership: `SingletonRegistry::getInstance` holds the object of the process. The registered
/// objects belong to the exit list, or to the code that inserted them without a clean-up function.
/// Thread-safety: as `SingletonRegistry`.
class VELMORA_API SingletonRegistryImpl : public SingletonRegistry
{
  public:
    SingletonRegistryImpl();
    ~SingletonRegistryImpl() override;

    [[nodiscard]] void* find(const char* in_szName) const override;
    void* insert(const char* in_szName, void* in_pObject, void (*in_pCleanup)(void*, void*),
                 void* in_pParam) override;
    [[nodiscard]] Object* findObject(const char* in_szName) const override;
    Object* insertObject(const char* in_szName, Object* in_pObject, bool in_bDeleteAtExit) override;

    /// Deletes an `Object`, if there is one. The second argument is not used.
    static void cleanupObject(void* in_pObject, void* in_pParam);

    /// Returns the place where all copies of the library find the registry of the process.
    static OncePerProcess<SingletonRegistry>& placeInProcess();

  private:
    /// Guards `m_objectHash`. `insert` takes the lock of the exit list while it is held; no foreign
    /// code runs.
    mutable GatedMutex m_mutex;
    std::unordered_map<std::string, void*> m_objectHash VELMORA_GUARDED_BY(m_mutex);
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/GatedMutex.h"
#include "velmora/application/Handle.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace Velmora
{

/// A pool of shared objects by name. Several objects may have the same name.
///
/// Ownership: shared with the handles that are registered and returned. The exit list releases the
/// objects that are still registered, before any other object of the library is destroyed.
/// Thread-safety: all operations may be called on any thread. An object may use the pool in its
/// destructor.
/// Failure: a null name fails an assertion. Nothing is registered or found then.
class VELMORA_API RegistrationSingleton
{
  public:
    /// Adds an entry. Returns true.
    static bool registerInstance(const char* in_szName, TSHandle<Object> in_hObject);

    /// Removes all entries of that name. Returns true, also if there was none.
    static bool deregister(const char* in_szName);

    /// Returns the objects of all entries of that name.
    [[nodiscard]] static std::vector<TSHandle<Object>> getInstances(const char* in_szName);

    /// Puts the pool on the exit list, which releases all of its objects. Is called once, at load.
    static void cleanUpAtExit();

  private:
    using ObjectHash = std::unordered_multimap<std::string, TSHandle<Object>>;

    static void cleanup(void*, void*);

    // The statics are never destroyed.
    /// Guards the members below. No foreign code runs while it is held: objects are released after
    /// it, and lines that are logged under it wait.
    static GatedMutex& s_mutex;
    static ObjectHash& s_objectHash VELMORA_GUARDED_BY(s_mutex);
    /// The name that is looked up, stored so that a look-up allocates no string.
    static std::string& s_strScratchName VELMORA_GUARDED_BY(s_mutex);
};

} // namespace Velmora

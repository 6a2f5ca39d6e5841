#pragma once

#include "velmora/application/Handle.h"

#include <ace/Thread_Mutex.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace Velmora
{

/// A pool of shared objects by name, of which several may have the same name.
///
/// Ownership: shared with the handles that are registered and given out. What is still registered
/// when the exit list runs is let go before anything else of the library dies.
/// Thread-safety: all operations may be called on any thread. An object may use the pool in its
/// destructor.
/// Failure: a null name is an assertion; nothing is registered or found.
class VELMORA_API RegistrationSingleton
{
  public:
    /// Adds one entry. Gives true.
    static bool registerInstance(const char* in_szName, TSHandle<Object> in_hObject);

    /// Removes every entry of that name. Gives true, also if there was none.
    static bool deregister(const char* in_szName);

    /// The objects of all entries of that name.
    [[nodiscard]] static std::vector<TSHandle<Object>> getInstances(const char* in_szName);

    /// Puts the pool on the exit list, which lets go of whatever is in it. Called once, at load.
    static void cleanUpAtExit();

  private:
    using ObjectHash = std::unordered_multimap<std::string, TSHandle<Object>>;

    static void cleanup(void*, void*);

    // None of these is ever destroyed.
    static ACE_Thread_Mutex& s_mutex;
    /// Guarded by `s_mutex`.
    static ObjectHash& s_objectHash;
    /// The name that is looked up, kept so that a look-up makes no string. Guarded by `s_mutex`.
    static std::string& s_strScratchName;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Object.h"

namespace Velmora
{

/// The table of the singletons of the process, by name. It ensures that the process has one object
/// of a class even if several images contain the code of the class, and it puts singletons on the
/// exit list. A singleton class uses it through "velmora/application/Singleton.h".
///
/// A name maps to one pointer, which is either a plain pointer or a pointer to `Object`. It must be
/// looked up by the function that matches its insertion: `find` or `findObject`.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API SingletonRegistry : public virtual Object
{
  public:
    SingletonRegistry() = default;
    SingletonRegistry(const SingletonRegistry&) = delete;
    SingletonRegistry& operator=(const SingletonRegistry&) = delete;
    ~SingletonRegistry() override;

    /// Returns the object of that name, or null.
    [[nodiscard]] virtual void* find(const char* in_szName) const = 0;

    /// Registers the object under the name, unless the name is taken. If there is a clean-up
    /// function, the exit list calls it with the object and the parameter, before it deletes older
    /// objects. Returns the object that has the name: this one, or the one that was registered
    /// before. Returns null for a null object.
    /// Failure: an object that is registered while the exit list runs is not put on it and is never
    /// deleted.
    virtual void* insert(const char* in_szName, void* in_pObject, void (*in_pCleanup)(void*, void*),
                         void* in_pParam) = 0;

    /// Does the same as `find`, for an object from `insertObject`.
    [[nodiscard]] virtual Object* findObject(const char* in_szName) const = 0;

    /// Does the same as `insert`. The exit list deletes the object if `in_bDeleteAtExit` is true.
    virtual Object* insertObject(const char* in_szName, Object* in_pObject,
                                 bool in_bDeleteAtExit) = 0;

    /// Returns the registry of the process. If the process has several copies of the library, that
    /// is the registry of the first. The registry is on the exit list itself, and is older than all
    /// singletons.
    static SingletonRegistry* getInstance();
};

} // namespace Velmora

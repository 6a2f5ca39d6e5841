#pragma once

#include "velmora/application/Object.h"

namespace Velmora
{

/// The table of the process's singletons by name. It is what makes one object of a class whose code
/// stands in two images of a process, and what puts singletons on the exit list. A class that is a
/// singleton uses it through "velmora/application/Singleton.h".
///
/// A name stands for one pointer, which is either a plain one or one to `Object`; ask for it in the
/// form in which it was inserted.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API SingletonRegistry : public virtual Object
{
  public:
    SingletonRegistry() = default;
    SingletonRegistry(const SingletonRegistry&) = delete;
    SingletonRegistry& operator=(const SingletonRegistry&) = delete;
    ~SingletonRegistry() override;

    /// The object of that name, or null.
    [[nodiscard]] virtual void* find(const char* in_szName) const = 0;

    /// Gives the name to the object, if nobody has it. With a clean-up function, the exit list then
    /// calls it with the object and the parameter, before it gets to what came into being earlier.
    /// Gives the object that has the name now: this one, or the one that had it before, and nothing
    /// is registered then. Gives null for a null object.
    /// Failure: while the exit list runs, nothing is put on it, and the object stays.
    virtual void* insert(const char* in_szName, void* in_pObject, void (*in_pCleanup)(void*, void*),
                         void* in_pParam) = 0;

    /// As `find`, for what `insertObject` inserted.
    [[nodiscard]] virtual Object* findObject(const char* in_szName) const = 0;

    /// As `insert`; the exit list deletes the object if that is wanted.
    virtual Object* insertObject(const char* in_szName, Object* in_pObject,
                                 bool in_bDeleteAtExit) = 0;

    /// The one of this process, also where the process has several copies of the library: that of
    /// the first. It is on the exit list itself, older than all singletons.
    static SingletonRegistry* getInstance();
};

} // namespace Velmora

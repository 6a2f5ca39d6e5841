#pragma once

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/Singleton.h"

#include <ace/Recursive_Thread_Mutex.h>
#include <ace/TSS_T.h>

namespace Velmora
{

class Logger;

/// What all on-demand singletons share.
class VELMORA_API OnDemandSingletonNoT
{
  public:
    /// The logger `keswardin.infra.OnDemandSingleton`.
    static const Logger& sGetLogger();

    /// The mutex under which such objects are made. Recursive, since making one may ask for
    /// another.
    static ACE_Recursive_Thread_Mutex& sGetMutex();
};

/// The one object of class `T` of the process, made when it is first asked for. Each thread keeps a
/// pointer of its own to it, and finds it without a lock.
///
/// `T` has a default constructor and its name in the singleton registry, `T::s_szSingletonName`.
/// Once the exit list has deleted the object, it must not be asked for.
///
/// Ownership: the exit list's.
/// Thread-safety: may be called on any thread.
/// Failure: what should not be is an assertion on `keswardin.infra.OnDemandSingleton`; the result
/// is the registered object all the same.
template <class T>
class VELMORA_API OnDemandSingleton : public OnDemandSingletonNoT
{
  public:
    static T* getInstance()
    {
        if (T** const ppSingleton = threadSlot().ts_object())
        {
            if (*ppSingleton != nullptr) [[likely]]
                return *ppSingleton;
            assertThat(false, "*ppSingleton != 0", __LINE__);
        }
        T* const pFound = findOrMake();
        assertThat(pFound != nullptr, "pFound != 0", __LINE__);
        // Whatever stood there before is deleted by its slot.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the slot has the new one.
        delete threadSlot().ts_object(new T*(pFound));
        return pFound;
    }

  protected:
    /// The slot of each thread. Never destroyed, since threads may outlive static destructors.
    static ACE_TSS<T*>& threadSlot()
    {
        static ACE_TSS<T*>& m_tsPSingleton = *makeThreadSlots();
        return m_tsPSingleton;
    }

  private:
    static ACE_TSS<T*>* makeThreadSlots()
    {
        auto* const pSlots = new ACE_TSS<T*>;
        // Makes the key here, where no other thread looks yet.
        pSlots->ts_object(nullptr);
        return pSlots;
    }

    static T* findOrMake()
    {
        const GatedGuard<ACE_Recursive_Thread_Mutex> guard(sGetMutex());
        SingletonRegistry* const pRegistry = SingletonRegistry::getInstance();
        if (void* const pFound = pRegistry->find(T::s_szSingletonName))
            return static_cast<T*>(pFound);
        T* const pNewObj = new T;
        T* const pFound = registerSingleton(T::s_szSingletonName, pNewObj);
        assertThat(pFound == pNewObj, "pFound == pNewObj", __LINE__);
        return pFound;
    }

    static void assertThat(bool in_bCondition, const char* in_szText, int in_iLine)
    {
        const Assertion assertion(in_bCondition, in_szText, sGetLogger(), __FILE__, in_iLine);
    }
};

} // namespace Velmora

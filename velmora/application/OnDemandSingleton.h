// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/Singleton.h"

#include <ace/Recursive_Thread_Mutex.h>
#include <ace/TSS_T.h>

namespace Velmora
{

class Logger;

/// The part of `OnDemandSingleton` that does not depend on the class.
class VELMORA_API OnDemandSingletonNoT
{
  public:
    /// Returns the logger `keswardin.infra.OnDemandSingleton`.
    static const Logger& sGetLogger();

    /// Returns the mutex that is held while an on-demand singleton is created. The constructor of
    /// the singleton runs under it. The mutex is recursive, as that constructor may request another
    /// singleton.
    static ACE_Recursive_Thread_Mutex& sGetMutex();
};

/// Creates the only object of class `T` in the process when it is first requested. Each thread
/// keeps its own pointer to the object, and finds it without a lock.
///
/// `T` has a default constructor, and its name in the singleton registry is `T::s_szSingletonName`.
/// `getInstance` must not be called after the exit list has deleted the object.
///
/// Ownership: the exit list owns the object.
/// Thread-safety: may be called on any thread.
/// Failure: an inconsistent state fails an assertion on `keswardin.infra.OnDemandSingleton`. The
/// result is the registered object in any case.
template <class T>
class VELMORA_API OnDemandSingleton : public OnDemandSingletonNoT
{
  public:
    /// Returns the object. The first call creates it.
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
        // The slot returns its earlier pointer, if any.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the slot has the new one.
        delete threadSlot().ts_object(new T*(pFound));
        return pFound;
    }

  protected:
    /// Returns the slots, one for each thread. They are never destroyed, since threads may outlive
    /// static destructors.
    static ACE_TSS<T*>& threadSlot()
    {
        static ACE_TSS<T*>& m_tsPSingleton = *makeThreadSlots();
        return m_tsPSingleton;
    }

  private:
    static ACE_TSS<T*>* makeThreadSlots()
    {
        auto* const pSlots = new ACE_TSS<T*>;
        // Creates the key now, before another thread can use the slots.
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

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <atomic>

namespace Velmora
{

/// The part of `OncePerProcess` that does not depend on the type.
class OncePerProcessNoT
{
  protected:
    /// Returns the pointer in the place of that name, which is null at first and never destroyed.
    static std::atomic<void*>& placeNamed(const char* in_szName);
};

/// A named place for a pointer. There is one in the process, even if the process has several copies
/// of the library, as when two modules each bring one. All copies of the same version find the same
/// place. The object in it belongs to the copy that fills the place first; that copy empties the
/// place before the object dies. Copies of other versions have places of their own, since they may
/// lay out their objects differently.
///
/// The code of the object must stay mapped until the process ends, as the library does.
///
/// Thread-safety: all operations may be called from any thread.
template <class T>
class OncePerProcess : private OncePerProcessNoT
{
  public:
    explicit OncePerProcess(const char* in_szName) : m_place(placeNamed(in_szName)) {}

    /// Returns the object, or null while the place is empty.
    [[nodiscard]] T* get() const
    {
        return static_cast<T*>(m_place.load(std::memory_order_acquire));
    }

    /// Fills the place if it is empty. Returns the object that is in it now.
    T* fill(T* in_pObject)
    {
        void* pFound = nullptr;
        return m_place.compare_exchange_strong(pFound, in_pObject) ? in_pObject
                                                                   : static_cast<T*>(pFound);
    }

    /// Empties the place if it holds that object.
    void clear(T* in_pObject)
    {
        void* pExpected = in_pObject;
        m_place.compare_exchange_strong(pExpected, nullptr);
    }

  private:
    std::atomic<void*>& m_place;
};

} // namespace Velmora

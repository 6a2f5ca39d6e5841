#pragma once

#include <atomic>

namespace Velmora
{

/// What all places share.
class OncePerProcessNoT
{
  protected:
    /// The pointer in the place of that name, null at first. Never destroyed.
    static std::atomic<void*>& placeNamed(const char* in_szName);
};

/// A named place for a pointer, of which there is one in the process even if the process has
/// several copies of the library, as when two modules bring one along each. All copies of the same
/// version find the same place; what stands in it is the first one's, who puts it there and takes
/// it away before it dies. Copies of other versions have places of their own, since they may lay
/// out their objects differently.
///
/// The code of what stands in a place must stay mapped until the process ends, as the library does.
///
/// Thread-safety: all operations may be called on any thread.
template <class T>
class OncePerProcess : private OncePerProcessNoT
{
  public:
    explicit OncePerProcess(const char* in_szName) : m_place(placeNamed(in_szName)) {}

    /// Null while the place is empty.
    [[nodiscard]] T* get() const
    {
        return static_cast<T*>(m_place.load(std::memory_order_acquire));
    }

    /// Fills the place if it is empty. Gives what stands there now.
    T* fill(T* in_pObject)
    {
        void* pFound = nullptr;
        return m_place.compare_exchange_strong(pFound, in_pObject) ? in_pObject
                                                                   : static_cast<T*>(pFound);
    }

    /// Empties the place if that object stands there.
    void clear(T* in_pObject)
    {
        void* pExpected = in_pObject;
        m_place.compare_exchange_strong(pExpected, nullptr);
    }

  private:
    std::atomic<void*>& m_place;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Object.h"
#include "velmora/application/ReferenceCount.h"

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace Velmora
{

/// Ends the process, because a pointer has an object but no count; see `CountedBuiltInPtr`.
[[noreturn]] VELMORA_API void objectWithoutCount(const char* in_szFile, unsigned int in_uiLine,
                                                 const char* in_szFunction) noexcept;

/// A counted pointer to an object of any type. The object is deleted when the last of the pointers
/// that share it is destroyed or reset. The pointer has no virtual functions; it is kept by value
/// in containers and passed by value.
///
/// `RefCntClass` is `ReferenceCount` for pointers that belong to one thread at a time, or
/// `TSReferenceCount` for objects that several threads share. `DeleteCls` deletes the object: a
/// class that is called with the pointer.
///
/// Ownership: all pointers that were copied from one share the object.
/// Thread-safety: one pointer belongs to one thread at a time. With `TSReferenceCount`, pointers
/// that share an object may be copied and released on any threads. The last one deletes the object
/// while it holds the mutex of the count. A destructor that copies a pointer to its own object
/// therefore waits forever.
/// Failure: the destruction of a pointer that has an object but no count ends the process, with the
/// assertion of the C library, "m_pObject == 0". It does so in every build, and does not log, since
/// the logging may have ended by then. Throws `std::bad_alloc` if there is no memory for the count;
/// the object is deleted.
template <class T, class RefCntClass, class DeleteCls>
class CountedBuiltInPtr
{
  public:
    using element_type = T;

    /// Constructs a null pointer, which has no count.
    CountedBuiltInPtr() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): null converts to any pointer.
    CountedBuiltInPtr(std::nullptr_t) noexcept {}

    /// Takes ownership of the object, with a count of 1. A null object gets a count, too.
    explicit CountedBuiltInPtr(T* in_pObject) : m_pObject(in_pObject)
    {
        try
        {
            m_pCount = new RefCntClass;
        }
        catch (...)
        {
            DeleteCls()(in_pObject);
            throw;
        }
    }

    CountedBuiltInPtr(const CountedBuiltInPtr& in_other)
        : CountedBuiltInPtr(in_other.m_pObject, in_other.m_pCount)
    {
    }

    CountedBuiltInPtr(CountedBuiltInPtr&& inout_other) noexcept
        : m_pObject(std::exchange(inout_other.m_pObject, nullptr)),
          m_pCount(std::exchange(inout_other.m_pCount, nullptr))
    {
    }

    CountedBuiltInPtr& operator=(const CountedBuiltInPtr& in_other)
    {
        if (this != &in_other)
            CountedBuiltInPtr(in_other).swap(*this);
        return *this;
    }

    CountedBuiltInPtr& operator=(CountedBuiltInPtr&& inout_other) noexcept
    {
        CountedBuiltInPtr(std::move(inout_other)).swap(*this);
        return *this;
    }

    ~CountedBuiltInPtr()
    {
        if (m_pCount != nullptr) [[likely]]
            release();
        else if (m_pObject != nullptr) [[unlikely]]
            objectWithoutCount(__FILE__, __LINE__, __PRETTY_FUNCTION__);
    }

    void swap(CountedBuiltInPtr& inout_other) noexcept
    {
        std::swap(m_pObject, inout_other.m_pObject);
        std::swap(m_pCount, inout_other.m_pCount);
    }

    /// Releases the object, and deletes it if this was the last pointer.
    void reset() { CountedBuiltInPtr().swap(*this); }

    /// Returns the object, which stays shared, or null if there is none.
    [[nodiscard]] T* get() const noexcept { return m_pObject; }
    T& operator*() const noexcept { return *m_pObject; }
    T* operator->() const noexcept { return m_pObject; }
    explicit operator bool() const noexcept { return m_pObject != nullptr; }

    /// Returns whether both point to the same object.
    template <class U, class OtherDeleter>
    friend bool operator==(const CountedBuiltInPtr& in_left,
                           const CountedBuiltInPtr<U, RefCntClass, OtherDeleter>& in_right) noexcept
    {
        return in_left.get() == in_right.get();
    }

    friend bool operator==(const CountedBuiltInPtr& in_left, std::nullptr_t) noexcept
    {
        return in_left.m_pObject == nullptr;
    }

  protected:
    /// Constructs another pointer to an object, which shares the given count.
    CountedBuiltInPtr(T* in_pObject, RefCntClass* in_pCount)
        : m_pObject(in_pObject), m_pCount(in_pCount)
    {
        if (in_pCount == nullptr) [[unlikely]]
            return;
        in_pCount->acquireLock();
        ++in_pCount->m_uiCount;
        in_pCount->releaseLock();
    }

    T* m_pObject = nullptr;
    RefCntClass* m_pCount = nullptr;

  private:
    void release()
    {
        RefCntClass* const pCount = m_pCount;
        pCount->acquireLock();
        if (pCount->m_uiCount != 1) [[likely]]
        {
            --pCount->m_uiCount;
            pCount->releaseLock();
        }
        else
            releaseLast(pCount);
    }

    // Not inlined: it is rare, and the code would be repeated wherever a handle is destroyed.
    [[gnu::noinline]] void releaseLast(RefCntClass* in_pCount)
    {
        if (m_pObject != nullptr)
            DeleteCls()(m_pObject);
        in_pCount->releaseLock();
        delete in_pCount;
    }
};

/// A counted pointer to an object of the object model. Pointers to related classes convert as bare
/// pointers do, and share one count.
///
/// Ownership, thread-safety, failure: as `CountedBuiltInPtr`.
template <class T, class RefCntClass, class DeleteCls = std::default_delete<T>>
class CountedObjPtr : public CountedBuiltInPtr<T, RefCntClass, DeleteCls>
{
    using Base = CountedBuiltInPtr<T, RefCntClass, DeleteCls>;

    template <class U>
    static constexpr bool s_bConverts = !std::is_same_v<U, T> && std::is_convertible_v<U*, T*>;

    template <class U, class OtherCount, class OtherDeleter>
    friend class CountedObjPtr;

  public:
    CountedObjPtr() noexcept
    {
        static_assert(std::is_base_of_v<Object, T>, "counted objects are of the object model");
    }
    // NOLINTNEXTLINE(google-explicit-constructor): null converts to any pointer.
    CountedObjPtr(std::nullptr_t) noexcept {}
    explicit CountedObjPtr(T* in_pObject) : Base(in_pObject) {}

    template <class U, class OtherDeleter>
    requires s_bConverts<U>
    // NOLINTNEXTLINE(google-explicit-constructor): converts as bare pointers do.
    CountedObjPtr(const CountedObjPtr<U, RefCntClass, OtherDeleter>& in_other)
        : Base(in_other.m_pObject, in_other.m_pCount)
    {
    }

    template <class U, class OtherDeleter>
    requires s_bConverts<U>
    // NOLINTNEXTLINE(google-explicit-constructor): converts as bare pointers do.
    CountedObjPtr(CountedObjPtr<U, RefCntClass, OtherDeleter>&& inout_other)
    noexcept
    {
        this->m_pObject = std::exchange(inout_other.m_pObject, nullptr);
        this->m_pCount = std::exchange(inout_other.m_pCount, nullptr);
    }

    /// Casts the pointer down. Returns a pointer that shares the count of the other, or null if the
    /// object is not a `T`.
    template <class U, class OtherDeleter>
    [[nodiscard]] static CountedObjPtr
    dynamicCast(const CountedObjPtr<U, RefCntClass, OtherDeleter>& in_other)
    {
        T* const pObject = dynamic_cast<T*>(in_other.m_pObject);
        return pObject == nullptr ? CountedObjPtr() : CountedObjPtr(pObject, in_other.m_pCount);
    }

    [[nodiscard]] bool isNull() const noexcept { return this->m_pObject == nullptr; }

  private:
    CountedObjPtr(T* in_pObject, RefCntClass* in_pCount) : Base(in_pObject, in_pCount) {}
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Handle.h"

namespace Velmora
{

/// The base class of a resource that must be released after an object that depends on it, such as
/// the library with the object's code. The destructor releases the resource.
class VELMORA_API ReleaserBase : public virtual Object
{
  public:
    ReleaserBase() = default;
    ReleaserBase(const ReleaserBase&) = delete;
    ReleaserBase& operator=(const ReleaserBase&) = delete;
    ~ReleaserBase() override;
};

/// A handle on an object, with a resource that is released after the object. Functions that return
/// one return the null handle on failure.
///
/// Ownership, thread-safety, failure: as `CountedBuiltInPtr`.
template <class T, class RefCntClass>
class ManagedHandle
{
  public:
    /// Constructs a null handle.
    ManagedHandle() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): null converts to any pointer.
    ManagedHandle(std::nullptr_t) noexcept {}

    /// Takes ownership of the object, and of the resource to release after it, if any. If the
    /// object is null, the handle is null.
    explicit ManagedHandle(T* in_pObject, ReleaserBase* in_pReleaser = nullptr)
    {
        if (in_pReleaser != nullptr)
            m_releaser = Handle<ReleaserBase, RefCntClass>(in_pReleaser);
        if (in_pObject != nullptr)
            m_object = Handle<T, RefCntClass>(in_pObject);
    }

    template <class U>
    requires std::is_convertible_v<U*, T*>
    // NOLINTNEXTLINE(google-explicit-constructor): converts as bare pointers do.
    ManagedHandle(const ManagedHandle<U, RefCntClass>& in_other)
        : m_releaser(in_other.m_releaser), m_object(in_other.m_object)
    {
    }

    ManagedHandle(const ManagedHandle&) = default;
    ManagedHandle(ManagedHandle&&) noexcept = default;
    ~ManagedHandle() = default;

    ManagedHandle& operator=(ManagedHandle in_other) noexcept
    {
        m_object.swap(in_other.m_object);
        m_releaser.swap(in_other.m_releaser);
        return *this;
    }

    /// Returns the object, which stays shared, or null if there is none.
    [[nodiscard]] T* get() const noexcept { return m_object.get(); }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object.get(); }
    [[nodiscard]] bool isNull() const noexcept { return m_object.isNull(); }
    explicit operator bool() const noexcept { return !isNull(); }

  private:
    template <class U, class OtherCount>
    friend class ManagedHandle;

    // Members are destroyed in reverse order: the object first.
    Handle<ReleaserBase, RefCntClass> m_releaser;
    Handle<T, RefCntClass> m_object;
};

} // namespace Velmora

#pragma once

#include "velmora/application/Handle.h"

namespace Velmora
{

/// Something that must be released after an object that was made with it, such as the library that
/// holds the object's code. Its destructor releases.
class VELMORA_API ReleaserBase : public virtual Object
{
  public:
    ReleaserBase() = default;
    ReleaserBase(const ReleaserBase&) = delete;
    ReleaserBase& operator=(const ReleaserBase&) = delete;
    ~ReleaserBase() override;
};

/// A handle that is built from a bare pointer and carries besides what is to be released after the
/// object. The null handle is how operations that give one tell that they failed.
///
/// Ownership, thread-safety, failure: as `CountedBuiltInPtr`.
template <class T, class RefCntClass>
class ManagedHandle
{
  public:
    /// The null handle.
    ManagedHandle() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): as null converts to any pointer.
    ManagedHandle(std::nullptr_t) noexcept {}

    /// Takes the object over, and what is to be released after it, if anything; a null object gives
    /// the null handle.
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

    /// The object, still shared; null if there is none.
    [[nodiscard]] T* get() const noexcept { return m_object.get(); }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object.get(); }
    [[nodiscard]] bool isNull() const noexcept { return m_object.isNull(); }
    explicit operator bool() const noexcept { return !isNull(); }

  private:
    template <class U, class OtherCount>
    friend class ManagedHandle;

    // Members go in the reverse of this order, the object first.
    Handle<ReleaserBase, RefCntClass> m_releaser;
    Handle<T, RefCntClass> m_object;
};

} // namespace Velmora

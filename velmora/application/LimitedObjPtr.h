#pragma once

#include "velmora/application/CountedObjPtr.h"

#include <cstddef>
#include <type_traits>

namespace Velmora
{

/// A bare pointer that marks in an interface that the callee may use the object and must not keep
/// ownership of it, as observers are passed. One word; nothing is counted.
///
/// Ownership: none. The object must outlive it.
/// Thread-safety: that of a bare pointer.
template <class T>
class LimitedObjPtr
{
  public:
    constexpr LimitedObjPtr() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): as null converts to any pointer.
    constexpr LimitedObjPtr(std::nullptr_t) noexcept {}
    // NOLINTNEXTLINE(google-explicit-constructor): nothing is given away by it.
    constexpr LimitedObjPtr(T* in_pObject) noexcept : m_pObject(in_pObject) {}

    template <class U>
    requires std::is_convertible_v<U*, T*>
    // NOLINTNEXTLINE(google-explicit-constructor): converts as bare pointers do.
    constexpr LimitedObjPtr(const LimitedObjPtr<U>& in_other) noexcept : m_pObject(in_other.get())
    {
    }

    /// The object of a handle, which goes on owning it.
    template <class U, class RefCntClass, class DeleteCls>
    requires std::is_convertible_v<U*, T*>
    // NOLINTNEXTLINE(google-explicit-constructor): nothing is given away by it.
    LimitedObjPtr(const CountedBuiltInPtr<U, RefCntClass, DeleteCls>& in_handle)
    noexcept : m_pObject(in_handle.get()) {}

    [[nodiscard]] constexpr T* get() const noexcept { return m_pObject; }
    constexpr T& operator*() const noexcept { return *m_pObject; }
    constexpr T* operator->() const noexcept { return m_pObject; }
    [[nodiscard]] constexpr bool isNull() const noexcept { return m_pObject == nullptr; }
    constexpr explicit operator bool() const noexcept { return !isNull(); }

    /// Whether both point to the same object.
    friend constexpr bool operator==(const LimitedObjPtr&, const LimitedObjPtr&) = default;

  private:
    T* m_pObject = nullptr;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/CountedObjPtr.h"

#include <cstddef>
#include <type_traits>

namespace Velmora
{

/// A bare pointer in an interface, which marks that the callee may use the object but must not take
/// ownership of it. Observers are passed in this way. It has the size of a pointer and counts
/// nothing.
///
/// Ownership: none. The object must outlive the pointer.
/// Thread-safety: as a bare pointer.
template <class T>
class LimitedObjPtr
{
  public:
    constexpr LimitedObjPtr() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): null converts to any pointer.
    constexpr LimitedObjPtr(std::nullptr_t) noexcept {}
    // NOLINTNEXTLINE(google-explicit-constructor): it transfers no ownership.
    constexpr LimitedObjPtr(T* in_pObject) noexcept : m_pObject(in_pObject) {}

    template <class U>
    requires std::is_convertible_v<U*, T*>
    // NOLINTNEXTLINE(google-explicit-constructor): converts as bare pointers do.
    constexpr LimitedObjPtr(const LimitedObjPtr<U>& in_other) noexcept : m_pObject(in_other.get())
    {
    }

    /// Points to the object of a handle, which still owns it.
    template <class U, class RefCntClass, class DeleteCls>
    requires std::is_convertible_v<U*, T*>
    // NOLINTNEXTLINE(google-explicit-constructor): it transfers no ownership.
    LimitedObjPtr(const CountedBuiltInPtr<U, RefCntClass, DeleteCls>& in_handle)
    noexcept : m_pObject(in_handle.get()) {}

    [[nodiscard]] constexpr T* get() const noexcept { return m_pObject; }
    constexpr T& operator*() const noexcept { return *m_pObject; }
    constexpr T* operator->() const noexcept { return m_pObject; }
    [[nodiscard]] constexpr bool isNull() const noexcept { return m_pObject == nullptr; }
    constexpr explicit operator bool() const noexcept { return !isNull(); }

    /// Returns whether both point to the same object.
    friend constexpr bool operator==(const LimitedObjPtr&, const LimitedObjPtr&) = default;

  private:
    T* m_pObject = nullptr;
};

} // namespace Velmora

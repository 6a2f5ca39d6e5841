// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/CountedObjPtr.h"

namespace Velmora
{

/// Deletes an object through its virtual destructor.
template <class T>
class DeleteCountedObjDeleter
{
  public:
    void operator()(T* in_pObject) const
    {
        static_assert(std::has_virtual_destructor_v<T>);
        delete in_pObject;
    }
};

/// A counted pointer that owns its object, for one thread at a time unless `RefCntClass` allows
/// more. Handles of related classes convert as bare pointers do, and share one count.
///
///     Handle<Leg> hLeg(new SipLeg(...));   // takes ownership
///     Handle<Object> hObject = hLeg;       // the same object, the same count
///
/// Ownership, thread-safety, failure: as `CountedBuiltInPtr`.
template <class T, class RefCntClass = ReferenceCount>
class Handle : public CountedObjPtr<T, RefCntClass, DeleteCountedObjDeleter<T>>
{
    using Base = CountedObjPtr<T, RefCntClass, DeleteCountedObjDeleter<T>>;

  public:
    using Base::Base;

    Handle() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): this is the same type under another name.
    Handle(Base in_base) noexcept : Base(std::move(in_base)) {}
};

/// A handle on an object that several threads share.
///
/// Ownership, thread-safety, failure: as `CountedBuiltInPtr`. Each copy and each release locks the
/// mutex of the count once. Where that costs too much, use `Handle` or `LimitedObjPtr`.
template <class T>
class TSHandle : public Handle<T, TSReferenceCount>
{
    using Base = Handle<T, TSReferenceCount>;

  public:
    using Base::Base;

    TSHandle() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): this is the same type under another name.
    TSHandle(CountedObjPtr<T, TSReferenceCount, DeleteCountedObjDeleter<T>> in_base) noexcept
        : Base(std::move(in_base))
    {
    }
};

} // namespace Velmora

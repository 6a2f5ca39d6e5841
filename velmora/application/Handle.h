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

/// A counted pointer that owns its object, for one thread at a time unless `RefCntClass` says
/// otherwise. Handles of related classes convert as bare pointers do, and share the one count.
///
///     Handle<Leg> hLeg(new SipLeg(...));   // takes it over
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
    // NOLINTNEXTLINE(google-explicit-constructor): it is the same thing under another name.
    Handle(Base in_base) noexcept : Base(std::move(in_base)) {}
};

/// The handle of objects that several threads hold.
///
/// Ownership, thread-safety, failure: as `CountedBuiltInPtr`. Each copy and each release takes the
/// mutex of the count once; where that is too much, use `Handle` or `LimitedObjPtr`.
template <class T>
class TSHandle : public Handle<T, TSReferenceCount>
{
    using Base = Handle<T, TSReferenceCount>;

  public:
    using Base::Base;

    TSHandle() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): it is the same thing under another name.
    TSHandle(CountedObjPtr<T, TSReferenceCount, DeleteCountedObjDeleter<T>> in_base) noexcept
        : Base(std::move(in_base))
    {
    }
};

} // namespace Velmora

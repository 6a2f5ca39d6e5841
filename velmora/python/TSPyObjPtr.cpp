// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/TSPyObjPtr.h"

#include "velmora/application/Assertion.h"
#include "velmora/python/InterpreterLock.h"

#include <type_traits>
#include <utility>

namespace Velmora
{

namespace
{

using boost::python::object;

/// Returns the pointer inside an object of Boost.Python, whose own assignment cannot be used. It
/// changes reference counts, which is not allowed without the lock. It also drops the old object
/// before it refers to the new one, so a finaliser could see a dangling reference.
PyObject*& pointerOf(object& inout_object)
{
    static_assert(std::is_standard_layout_v<object> && sizeof(object) == sizeof(PyObject*),
                  "the pointer is the one member, so the object has its address");
    return reinterpret_cast<PyObject*&>(inout_object);
}

using TakenOver = boost::python::detail::new_non_null_reference;

/// Returns a counted reference that the base class takes over. Without the lock, returns one to
/// None that is not counted.
TakenOver newReference(bool in_bLockHeld, PyObject* in_pObject)
{
    if (!in_bLockHeld)
        return reinterpret_cast<TakenOver>(Py_None);
    Py_INCREF(in_pObject);
    return reinterpret_cast<TakenOver>(in_pObject);
}

/// Returns an object to which the base class may drop a reference without the lock. Its count
/// belongs to this thread and never reaches 0.
PyObject* objectOfThread()
{
    static constinit thread_local PyObject s_object{};
    Py_SET_REFCNT(&s_object, 2);
    return &s_object;
}

} // namespace

TSPyObjPtrBase::TSPyObjPtrBase() : m_iLockState(s_iNoneUncounted)
{
    int iState = 0;
    if (Python::InterpreterLock::enter(iState))
        m_iLockState = iState;
}

TSPyObjPtrBase::~TSPyObjPtrBase() { giveUpLock(); }

void TSPyObjPtrBase::giveUpLock()
{
    if (isLockHeld())
        Python::InterpreterLock::leave(std::exchange(m_iLockState, s_iCounted));
}

TSPyObjPtr::TSPyObjPtr() : object(newReference(isLockHeld(), Py_None)) { giveUpLock(); }

TSPyObjPtr::TSPyObjPtr(const object& in_object)
    : object(newReference(isLockHeld(), in_object.ptr()))
{
    giveUpLock();
}

TSPyObjPtr::TSPyObjPtr(const TSPyObjPtr& in_other)
    // g++ warns if a copy constructor does not name its base, which is not copied.
    // NOLINTNEXTLINE(readability-redundant-member-init)
    : TSPyObjPtrBase(), object(newReference(isLockHeld(), in_other.ptr()))
{
    giveUpLock();
}

TSPyObjPtr::~TSPyObjPtr()
{
    int iState = 0;
    const bool bEntered = Python::InterpreterLock::enter(iState);
    // The base class drops a reference to the object of this thread below, not to None: threads
    // that destroy handles would all write to the count of None.
    if (bEntered && m_iLockState == s_iCounted)
    {
        m_iLockState = s_iNoneUncounted;
        Py_DECREF(std::exchange(pointerOf(*this), Py_None));
    }
    // Otherwise the finaliser of the old object has assigned this handle, and the base class drops
    // that counted reference.
    if (!bEntered || m_iLockState == s_iNoneUncounted)
        pointerOf(*this) = objectOfThread();
    // The lock is held until the base class has dropped its reference; `~TSPyObjPtrBase` releases
    // it.
    if (bEntered)
        m_iLockState = iState;
}

TSPyObjPtr& TSPyObjPtr::operator=(const object& in_object)
{
    assign(in_object.ptr());
    return *this;
}

TSPyObjPtr& TSPyObjPtr::operator=(const TSPyObjPtr& in_other)
{
    if (this != &in_other)
        assign(in_other.ptr());
    return *this;
}

TSPyObjPtr& TSPyObjPtr::operator=(int in_iZero)
{
    const int iZero = in_iZero;
    VELMORA_PLAIN_ASSERT(iZero == 0);
    if (iZero == 0)
        setToNull();
    return *this;
}

void TSPyObjPtr::setToNull() { assign(Py_None); }

void TSPyObjPtr::assign(PyObject* in_pObject)
{
    // The finaliser of the old object may assign this handle, too. So the state of the lock is kept
    // in a local variable and not in `m_iLockState`.
    const Python::InterpreterLock lock;
    if (lock)
    {
        exchange(in_pObject);
        return;
    }
    // Without the lock the old reference cannot be dropped; it is leaked.
    pointerOf(*this) = Py_None;
    m_iLockState = s_iNoneUncounted;
}

void TSPyObjPtr::exchange(PyObject* in_pObject)
{
    // An uncounted reference to None is counted now, as it is dropped below.
    if (std::exchange(m_iLockState, s_iCounted) == s_iNoneUncounted)
        Py_INCREF(Py_None);
    Py_INCREF(in_pObject);
    Py_DECREF(std::exchange(pointerOf(*this), in_pObject));
}

} // namespace Velmora

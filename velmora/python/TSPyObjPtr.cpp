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

/// The pointer within an object of Boost.Python. Its own assignment counts, which must not be done
/// without the lock, and lets the old object go before it refers to the new one, which a finaliser
/// could see.
PyObject*& pointerOf(object& inout_object)
{
    static_assert(std::is_standard_layout_v<object> && sizeof(object) == sizeof(PyObject*),
                  "the pointer is the one member, so the object has its address");
    return reinterpret_cast<PyObject*&>(inout_object);
}

using TakenOver = boost::python::detail::new_non_null_reference;

/// A reference that the base takes over; without the lock, one to None that is not counted.
TakenOver newReference(bool in_bLockHeld, PyObject* in_pObject)
{
    if (!in_bLockHeld)
        return reinterpret_cast<TakenOver>(Py_None);
    Py_INCREF(in_pObject);
    return reinterpret_cast<TakenOver>(in_pObject);
}

/// What the base may drop a reference to without the lock: a count of this thread's own, which no
/// other touches and which never comes to 0.
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
    // g++ asks for the base that is not copied.
    // NOLINTNEXTLINE(readability-redundant-member-init)
    : TSPyObjPtrBase(), object(newReference(isLockHeld(), in_other.ptr()))
{
    giveUpLock();
}

TSPyObjPtr::~TSPyObjPtr()
{
    int iState = 0;
    const bool bEntered = Python::InterpreterLock::enter(iState);
    // All threads that drop handles would write to the count of None, so it is left alone.
    if (bEntered && m_iLockState == s_iCounted)
    {
        m_iLockState = s_iNoneUncounted;
        Py_DECREF(std::exchange(pointerOf(*this), Py_None));
    }
    // Else the finaliser of the old object has assigned this handle.
    if (!bEntered || m_iLockState == s_iNoneUncounted)
        pointerOf(*this) = objectOfThread();
    // Held until the base has dropped what it refers to.
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
    // The finaliser of the old object may assign this handle too, so the state is not kept in it.
    const Python::InterpreterLock lock;
    if (lock)
    {
        exchange(in_pObject);
        return;
    }
    pointerOf(*this) = Py_None;
    m_iLockState = s_iNoneUncounted;
}

/// With the lock held. The handle has its new content when the old object's finaliser runs.
void TSPyObjPtr::exchange(PyObject* in_pObject)
{
    if (std::exchange(m_iLockState, s_iCounted) == s_iNoneUncounted)
        Py_INCREF(Py_None);
    Py_INCREF(in_pObject);
    Py_DECREF(std::exchange(pointerOf(*this), in_pObject));
}

} // namespace Velmora

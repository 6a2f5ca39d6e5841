#pragma once

#include "velmora/Export.h"
#include "velmora/python/BoostPython.h"

namespace Velmora
{

/// The interpreter lock of a `TSPyObjPtr` while that comes into being and while it goes. As a base
/// that stands before the Python reference it is made before it and destroyed after it, so that the
/// reference is only ever counted with the lock held.
///
/// Thread-safety: belongs to one thread at a time.
class VELMORA_API TSPyObjPtrBase
{
  public:
    TSPyObjPtrBase(const TSPyObjPtrBase&) = delete;
    TSPyObjPtrBase& operator=(const TSPyObjPtrBase&) = delete;

  protected:
    /// Takes the interpreter lock, where Python may be entered.
    TSPyObjPtrBase();

    /// Gives the lock up if it is held.
    ~TSPyObjPtrBase();

    [[nodiscard]] bool isLockHeld() const { return m_iLockState >= 0; }
    void giveUpLock();

    /// What `PyGILState_Ensure` gave, while the lock is held; else one of the values below.
    int m_iLockState;

    /// The lock is not held, and the handle's reference is counted.
    static constexpr int s_iCounted = -1;
    /// The lock is not held, and the handle has a reference to None which is not counted, since it
    /// got it where Python may not be entered.
    static constexpr int s_iNoneUncounted = -2;
};

/// A handle to a Python object that may be copied and destroyed on any thread: each operation takes
/// the interpreter lock by itself. It always holds some object; None plays the part of null.
///
///     TSPyObjPtr alarm = PyClassName("site.alarms.Door").getNewInstance();
///     if (alarm.is_none())
///         return;                          // the log says why
///     const Python::InterpreterLock lock;
///     if (lock)
///         alarm.attr("check")();
///
/// As the example shows, only the handle's own operations and a comparison with None need no lock
/// of the caller's; whatever else is done with the object behind it does. Each copy and each
/// destruction costs a round of the interpreter lock, so pass handles by reference.
///
/// Dropping the last reference to an object runs its finaliser, on this thread, with the lock held.
/// The finaliser may use other handles, and the new content of this one when it is being assigned.
///
/// Where Python may not be entered (see `Python::InterpreterLock`), a handle takes no lock and
/// touches no count:
/// - before Python starts, each handle is one to None, and stays right when Python starts;
/// - once Python ends or has ended, and in the child of a `fork` that Python did not do, a handle
///   that is made, assigned or set to null becomes one to None, and the reference that it had
///   is leaked.
/// None of this crashes, on whichever thread. A program should still drop its handles before
/// Python's end: an object that is leaked is never finalised.
///
/// Thread-safety: different handles may be used concurrently, also to the same object; one handle
/// belongs to one thread at a time. May be used with the interpreter lock held. Without it, hold no
/// lock that another thread waits for inside Python.
/// Failure: none. A finaliser that raises is reported by Python through `sys.unraisablehook`.
class VELMORA_API TSPyObjPtr : public TSPyObjPtrBase, public boost::python::object
{
  public:
    /// Refers to None.
    TSPyObjPtr();

    /// Refer to the same object, with one more reference.
    // NOLINTNEXTLINE(google-explicit-constructor): a handle is got from an object as from a handle
    TSPyObjPtr(const boost::python::object& in_object);
    TSPyObjPtr(const TSPyObjPtr& in_other);

    ~TSPyObjPtr();

    TSPyObjPtr& operator=(const boost::python::object& in_object);

    /// Assigning a handle to itself takes no lock.
    TSPyObjPtr& operator=(const TSPyObjPtr& in_other);

    /// Sets to null by a 0, as one writes it for a plain pointer.
    /// Failure: any other number is the assertion "iZero == 0", and changes nothing.
    TSPyObjPtr& operator=(int in_iZero);

    /// Refers to None from now on.
    void setToNull();

  private:
    void assign(PyObject* in_pObject);
    void exchange(PyObject* in_pObject);
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/python/BoostPython.h"

namespace Velmora
{

/// Holds the interpreter lock while a `TSPyObjPtr` is constructed and while it is destroyed. As the
/// first base class, it is constructed before the Python reference and destroyed after it, so the
/// reference count only changes while the lock is held.
///
/// Thread-safety: belongs to one thread at a time.
class VELMORA_API TSPyObjPtrBase
{
  public:
    TSPyObjPtrBase(const TSPyObjPtrBase&) = delete;
    TSPyObjPtrBase& operator=(const TSPyObjPtrBase&) = delete;

  protected:
    /// Takes the interpreter lock if Python may be entered.
    TSPyObjPtrBase();

    /// Releases the lock if it is held.
    ~TSPyObjPtrBase();

    [[nodiscard]] bool isLockHeld() const { return m_iLockState >= 0; }
    /// Releases the lock if it is held, and sets the state to `s_iCounted`.
    void giveUpLock();

    /// The result of `PyGILState_Ensure` while the lock is held, otherwise one of the values below.
    int m_iLockState;

    /// The lock is not held. The handle's reference is counted.
    static constexpr int s_iCounted = -1;
    /// The lock is not held. The handle refers to None without counting the reference, as it was
    /// made or changed while Python could not be entered.
    static constexpr int s_iNoneUncounted = -2;
};

/// A handle on a Python object that may be copied and destroyed on any thread: each operation takes
/// the interpreter lock itself. It always refers to an object; None means null.
///
///     TSPyObjPtr alarm = PyClassName("site.alarms.Door").getNewInstance();
///     if (alarm.is_none())
///         return;                          // the log has the reason
///     const Python::InterpreterLock lock;
///     if (lock)
///         alarm.attr("check")();
///
/// As the example shows, the handle's own operations and a comparison with None do not require that
/// the caller holds the interpreter lock. All other uses of the object do. Each copy and each
/// destruction takes and releases the interpreter lock, so pass handles by reference.
///
/// Dropping the last reference to an object runs its finaliser, on this thread, with the lock held.
/// The finaliser may use other handles. If this handle is being assigned, the finaliser may use it
/// too, and sees its new content.
///
/// If Python may not be entered (see `Python::InterpreterLock`), a handle takes no lock and changes
/// no reference count:
/// - before Python starts, each handle refers to None, and remains valid when Python starts;
/// - once Python ends or has ended, and in the child of a `fork` that Python did not do, a handle
///   that is made, assigned or set to null refers to None. The reference that it had is leaked.
/// None of this crashes, on any thread. A program should still drop its handles before Python ends:
/// an object that is leaked is never finalised.
///
/// Thread-safety: different handles may be used concurrently, even if they refer to the same
/// object; one handle belongs to one thread at a time. May be used with the interpreter lock held.
/// A thread that does not hold the interpreter lock must not hold a lock for which another thread
/// waits inside Python.
/// Failure: none. An exception of a finaliser is reported by Python through `sys.unraisablehook`.
class VELMORA_API TSPyObjPtr : public TSPyObjPtrBase, public boost::python::object
{
  public:
    /// Refers to None.
    TSPyObjPtr();

    /// Refer to the same object and count one more reference.
    // NOLINTNEXTLINE(google-explicit-constructor): converts like the copy of a handle
    TSPyObjPtr(const boost::python::object& in_object);
    TSPyObjPtr(const TSPyObjPtr& in_other);

    ~TSPyObjPtr();

    TSPyObjPtr& operator=(const boost::python::object& in_object);

    /// Assigning a handle to itself takes no lock.
    TSPyObjPtr& operator=(const TSPyObjPtr& in_other);

    /// Sets the handle to null, as the assignment of 0 does for a pointer.
    /// Failure: any other number fails the assertion "iZero == 0" and changes nothing.
    TSPyObjPtr& operator=(int in_iZero);

    /// Makes the handle refer to None.
    void setToNull();

  private:
    /// Takes the interpreter lock and refers to another object, or to None if Python may not be
    /// entered.
    void assign(PyObject* in_pObject);
    /// Refers to another object. The caller holds the interpreter lock. The handle has its new
    /// content before the finaliser of the old object runs.
    void exchange(PyObject* in_pObject);
};

} // namespace Velmora

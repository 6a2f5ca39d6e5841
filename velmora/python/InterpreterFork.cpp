#include "velmora/python/InterpreterFork.h"

#include "velmora/python/InterpreterGate.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyRef.h"

namespace Velmora::Python
{

namespace
{

constexpr void doNothing() {}

constinit InterpreterFork::Locks s_locks{&doNothing, &doNothing, &doNothing};

void holdLocks()
{
    const InterpreterUnlock unlock;
    s_locks.pHold();
}

PyObject* before(PyObject*, PyObject*)
{
    holdLocks();
    InterpreterGate::ofProcess().beginForkOfPython();
    Py_RETURN_NONE;
}

PyObject* afterInParent(PyObject*, PyObject*)
{
    InterpreterGate::ofProcess().endForkOfPython();
    s_locks.pRelease();
    Py_RETURN_NONE;
}

PyObject* afterInChild(PyObject*, PyObject*)
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    gate.endForkOfPython();
    // Python has deleted the states of all other threads.
    if (gate.startState() != PyThreadState_Get())
        gate.setStartState(nullptr);
    Py_RETURN_NONE;
}

} // namespace

void InterpreterFork::setLocks(const Locks& in_locks) { s_locks = in_locks; }

void InterpreterFork::prepare()
{
    if (!InterpreterGate::ofProcess().isForkOfPython())
        holdLocks();
}

void InterpreterFork::parent()
{
    if (!InterpreterGate::ofProcess().isForkOfPython())
        s_locks.pRelease();
}

void InterpreterFork::child()
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    if (!gate.isForkOfPython() && (Py_IsInitialized() != 0 || gate.isStarting()))
    {
        gate.setState(InterpreterGate::State::forked);
        thread.uiDepth = 0;
    }
    else
        gate.keepOnlyThisThread(thread);
    s_locks.pReleaseInChild();
}

bool InterpreterFork::watchForksOfPython()
{
    static PyMethodDef s_before = {"velmora_before_fork", &before, METH_NOARGS, nullptr};
    static PyMethodDef s_inParent = {"velmora_after_fork_in_parent", &afterInParent, METH_NOARGS,
                                     nullptr};
    static PyMethodDef s_inChild = {"velmora_after_fork_in_child", &afterInChild, METH_NOARGS,
                                    nullptr};
    const PyRef pModule(PyImport_ImportModule("posix"));
    const PyRef pRegister(
        pModule == nullptr ? nullptr : PyObject_GetAttrString(pModule.get(), "register_at_fork"));
    const PyRef pNothing(PyTuple_New(0));
    if (pRegister == nullptr || pNothing == nullptr)
        return false;
    const PyRef pCallbacks(Py_BuildValue("{s:N,s:N,s:N}", "before",
                                         PyCFunction_New(&s_before, nullptr), "after_in_parent",
                                         PyCFunction_New(&s_inParent, nullptr), "after_in_child",
                                         PyCFunction_New(&s_inChild, nullptr)));
    return pCallbacks != nullptr &&
           PyRef(PyObject_Call(pRegister.get(), pNothing.get(), pCallbacks.get())) != nullptr;
}

} // namespace Velmora::Python

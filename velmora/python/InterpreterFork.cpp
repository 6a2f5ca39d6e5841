// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/InterpreterFork.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/python/InterpreterGate.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyRef.h"

#include <chrono>
#include <thread>

namespace Velmora::Python
{

namespace
{

/// Calls a function without the interpreter lock, for the gate of the process.
void callWithout(void (*in_pFunction)(void*), void* in_pArgument)
{
    const InterpreterUnlock unlock;
    in_pFunction(in_pArgument);
}

/// Releases the interpreter lock for a moment, in which another thread finishes a thread state.
void pauseWithoutLock()
{
    const InterpreterUnlock unlock;
    std::this_thread::sleep_for(std::chrono::microseconds(100));
}

bool isHeld() { return Py_IsInitialized() != 0 && InterpreterLock::isHeld(); }

/// Whether the gate could be closed for the current fork. Guarded by the turn to close the gate,
/// which one thread at a time has.
bool s_bClosed = false;

PyObject* before(PyObject*, PyObject*)
{
    s_bClosed = ProcessGate::closeForFork();
    InterpreterGate::ofProcess().beginForkOfPython(&pauseWithoutLock);
    Py_RETURN_NONE;
}

PyObject* afterInParent(PyObject*, PyObject*)
{
    InterpreterGate::ofProcess().endForkOfPython();
    ProcessGate::open();
    Py_RETURN_NONE;
}

PyObject* afterInChild(PyObject*, PyObject*)
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    gate.endForkOfPython();
    // Python has deleted the thread states of all other threads. If another thread started Python,
    // its state was among them.
    if (gate.startState() != PyThreadState_Get())
        gate.setStartState(nullptr);
    Py_RETURN_NONE;
}

} // namespace

void InterpreterFork::setInterpreterOfGate()
{
    // Made now, as the fork handlers may run without memory.
    InterpreterGate::ofProcess();
    ProcessGate::setInterpreter({&isHeld, &callWithout});
}

bool InterpreterFork::prepare()
{
    if (!InterpreterGate::ofProcess().isForkOfPython())
        s_bClosed = ProcessGate::closeForFork();
    return s_bClosed;
}

void InterpreterFork::parent()
{
    if (!InterpreterGate::ofProcess().isForkOfPython())
        ProcessGate::open();
}

void InterpreterFork::child()
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    if (!gate.isForkOfPython() && (Py_IsInitialized() != 0 || gate.isStarting()))
    {
        // Another thread may have held any of Python's locks, so the child must stay out.
        gate.setState(InterpreterGate::State::forked);
        thread.uiDepth = 0;
    }
    else
        gate.keepOnlyThisThread(thread);
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

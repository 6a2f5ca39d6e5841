// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/InterpreterLock.h"

#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterGate.h"

#include <unistd.h>

namespace Velmora::Python
{

namespace
{

/// Blocks the thread until the process ends.
[[noreturn]] void waitForEndOfProcess()
{
    while (true)
        pause();
}

} // namespace

bool InterpreterLock::enter(int& out_iState)
{
    if (Py_IsInitialized() == 0)
        return false;
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    InterpreterGate& gate = InterpreterGate::ofProcess();
    const bool bComes = !thread.isInside();
    if (bComes && !(thread.uiDepth == 0 ? gate.goIn() : gate.comeBack(thread)))
        return false;
    ++thread.uiDepth;
    out_iState = PyGILState_Ensure();
    if (bComes)
        gate.settle();
    return true;
}

void InterpreterLock::leave(int in_iState)
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    // The state belongs to Python as it was before the fork. In this child Python must not be
    // touched.
    if (gate.state() == InterpreterGate::State::forked) [[unlikely]]
        return;
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    const bool bGoes = thread.isAboutToGo();
    if (bGoes)
        gate.unsettle();
    PyGILState_Release(static_cast<PyGILState_STATE>(in_iState));
    --thread.uiDepth;
    if (bGoes)
        gate.goOut();
}

bool InterpreterLock::isHeld() { return InterpreterGate::holdsInterpreterLock(); }

InterpreterUnlock::InterpreterUnlock() : m_pThreadState(nullptr)
{
    if (Py_IsInitialized() == 0 || !InterpreterLock::isHeld())
        return;
    InterpreterGate& gate = InterpreterGate::ofProcess();
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    // In these states the destructor could not take the lock again, so it is not released.
    const InterpreterGate::State state = gate.state();
    if (state == InterpreterGate::State::forked ||
        (state == InterpreterGate::State::closed && !thread.bEnds))
        return;
    if (thread.uiDepth == 0)
        thread.bOfScript = true;
    ++thread.uiDepth;
    m_pThreadState = PyEval_SaveThread();
}

InterpreterUnlock::~InterpreterUnlock()
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    if (m_pThreadState == nullptr || gate.state() == InterpreterGate::State::forked)
        return;
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    // Python has ended or is about to. It would unwind a thread that returns to it, through the
    // code of the library and of the program.
    if (thread.isAway() && !gate.comeBack(thread))
        waitForEndOfProcess();
    PyEval_RestoreThread(static_cast<PyThreadState*>(m_pThreadState));
    if (--thread.uiDepth > 0)
        return;
    thread.bOfScript = false;
    gate.goOut();
}

} // namespace Velmora::Python

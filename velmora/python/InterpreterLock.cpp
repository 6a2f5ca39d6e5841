#include "velmora/python/InterpreterLock.h"

#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterGate.h"

namespace Velmora::Python
{

bool InterpreterLock::enter(int& out_iState)
{
    if (Py_IsInitialized() == 0)
        return false;
    unsigned int& uiDepth = ThreadInPython::ofThisThread().uiDepth;
    if (uiDepth > 0)
    {
        ++uiDepth;
        out_iState = PyGILState_Ensure();
        return true;
    }
    InterpreterGate& gate = InterpreterGate::ofProcess();
    if (!gate.goIn())
        return false;
    uiDepth = 1;
    out_iState = PyGILState_Ensure();
    gate.settle();
    return true;
}

void InterpreterLock::leave(int in_iState)
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    // What stood before the fork is not there any more.
    if (gate.state() == InterpreterGate::State::forked) [[unlikely]]
        return;
    unsigned int& uiDepth = ThreadInPython::ofThisThread().uiDepth;
    const bool bOutermost = uiDepth == 1;
    if (bOutermost)
        gate.unsettle();
    PyGILState_Release(static_cast<PyGILState_STATE>(in_iState));
    --uiDepth;
    if (bOutermost)
        gate.goOut();
}

bool InterpreterLock::isHeld()
{
    const PyThreadState* const pState = PyGILState_GetThisThreadState();
    return pState != nullptr && pState == _PyThreadState_UncheckedGet();
}

InterpreterUnlock::InterpreterUnlock() : m_pThreadState(nullptr)
{
    if (Py_IsInitialized() == 0 || !InterpreterLock::isHeld())
        return;
    InterpreterGate& gate = InterpreterGate::ofProcess();
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    // Python would end a thread that comes back then.
    const InterpreterGate::State state = gate.state();
    if (state == InterpreterGate::State::forked ||
        (state == InterpreterGate::State::closed && !thread.bEnds))
        return;
    if (thread.uiDepth++ == 0)
    {
        gate.goInUnasked();
        gate.settle();
    }
    m_pThreadState = PyEval_SaveThread();
}

InterpreterUnlock::~InterpreterUnlock()
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    if (m_pThreadState == nullptr || gate.state() == InterpreterGate::State::forked)
        return;
    PyEval_RestoreThread(static_cast<PyThreadState*>(m_pThreadState));
    if (--ThreadInPython::ofThisThread().uiDepth > 0)
        return;
    gate.unsettle();
    gate.goOut();
}

} // namespace Velmora::Python

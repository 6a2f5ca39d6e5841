#include "velmora/python/InterpreterGate.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/python/InterpreterLock.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(EmbeddedInterpreter)

namespace Velmora::Python
{

constinit thread_local ThreadInPython ThreadInPython::s_ofThisThread;

InterpreterGate& InterpreterGate::ofProcess()
{
    static constinit InterpreterGate s_gate;
    static InterpreterGate* const s_pGate =
        OncePerProcess<InterpreterGate>("Python::InterpreterGate").fill(&s_gate);
    return *s_pGate;
}

bool InterpreterGate::goInLate()
{
    if (state() == State::closing && InterpreterLock::isHeld())
        return true;
    goOut();
    if (state() == State::forked && !m_bForkReported.exchange(true))
        VELMORA_FILE_LOG_ERROR("Python cannot be used in this process : it was forked from a "
                               "process in which Python runs ; fork with Python's os.fork, or "
                               "start a program of its own");
    return false;
}

} // namespace Velmora::Python

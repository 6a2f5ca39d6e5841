#include "velmora/python/InterpreterGate.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/python/InterpreterLock.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(EmbeddedInterpreter)

namespace Velmora::Python
{

constinit thread_local ThreadInPython ThreadInPython::s_ofThisThread;

InterpreterGate::InterpreterGate() { pthread_key_create(&m_forkKey, nullptr); }

InterpreterGate& InterpreterGate::ofProcess()
{
    static InterpreterGate* const s_pGate = []
    {
        OncePerProcess<InterpreterGate> place("Python::InterpreterGate");
        if (InterpreterGate* const pFound = place.get())
            return pFound;
        static InterpreterGate s_gate;
        return place.fill(&s_gate);
    }();
    return *s_pGate;
}

void InterpreterGate::keepOnlyThisThread(const ThreadInPython& in_thread)
{
    // An end that another thread had begun is not this process's.
    if (!in_thread.bEnds && m_state.load() != State::forked)
        m_state.store(State::open);
    m_uiInside.store(in_thread.uiDepth > 0 ? 1 : 0);
}

void InterpreterGate::markForkOfPython(bool in_bForks)
{
    pthread_setspecific(m_forkKey, in_bForks ? this : nullptr);
}

bool InterpreterGate::isForkOfPython() const { return pthread_getspecific(m_forkKey) != nullptr; }

void InterpreterGate::reportFork()
{
    if (!m_bForkReported.exchange(true))
        VELMORA_FILE_LOG_ERROR("Python cannot be used in this process : it was forked from a "
                               "process in which Python runs ; fork with Python's os.fork, or "
                               "start a program of its own");
}

bool InterpreterGate::goInLate()
{
    if (state() == State::closing && InterpreterLock::isHeld())
    {
        goInUnasked();
        return true;
    }
    if (state() == State::forked)
        reportFork();
    return false;
}

} // namespace Velmora::Python

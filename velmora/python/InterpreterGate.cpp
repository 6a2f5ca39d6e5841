// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/InterpreterGate.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/logging/WithoutThrowing.h"

#include <Python.h>

#include <chrono>
#include <thread>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(EmbeddedInterpreter)

namespace Velmora::Python
{

namespace
{

/// Between two checks of the gate.
constexpr std::chrono::microseconds s_pause(100);

} // namespace

constinit thread_local ThreadInPython ThreadInPython::s_ofThisThread;

InterpreterGate::InterpreterGate() : m_bHasForkKey(pthread_key_create(&m_forkKey, nullptr) == 0) {}

InterpreterGate& InterpreterGate::ofProcess()
{
    static InterpreterGate* const s_pGate = []
    {
        static OncePerProcess<InterpreterGate> s_place("Python::InterpreterGate");
        if (InterpreterGate* const pFound = s_place.get())
            return pFound;
        static InterpreterGate s_gate;
        return s_place.fill(&s_gate);
    }();
    return *s_pGate;
}

void InterpreterGate::keepOnlyThisThread(const ThreadInPython& in_thread)
{
    // If another thread had begun to end Python, that thread does not exist in this process.
    if (!in_thread.bEnds && m_state.load() != State::forked)
        m_state.store(State::open);
    for (Counts& counts : m_counts)
    {
        counts.uiInside.store(0);
        counts.uiSettled.store(0);
    }
    if (in_thread.isInside())
    {
        goInUnasked();
        settle();
    }
}

unsigned int InterpreterGate::countInside() const
{
    unsigned int uiSum = 0;
    for (const Counts& counts : m_counts)
        uiSum += counts.uiInside.load();
    return uiSum;
}

unsigned int InterpreterGate::countSettled() const
{
    unsigned int uiSum = 0;
    for (const Counts& counts : m_counts)
        uiSum += counts.uiSettled.load();
    return uiSum;
}

bool InterpreterGate::comeBack(const ThreadInPython& in_thread)
{
    // Counts first, as in `goIn`: the end closes the gate before it reads the count.
    goInUnasked();
    if (state() != State::closed || in_thread.bEnds)
        return true;
    goOut();
    return false;
}

void InterpreterGate::beginForkOfPython(void (*in_pPause)())
{
    if (m_bHasForkKey)
        pthread_setspecific(m_forkKey, this);
    bool bForking = false;
    while (true)
    {
        State found = State::open;
        bForking = bForking || m_state.compare_exchange_strong(found, State::forking);
        // While Python ends, no thread begins to make a state, so there is nothing to wait for. If
        // another thread forks, wait for that.
        if (!bForking && found != State::forking)
            return;
        if (bForking && (state() != State::forking || countInside() == countSettled()))
            return;
        in_pPause();
    }
}

void InterpreterGate::endForkOfPython()
{
    State expected = State::forking;
    m_state.compare_exchange_strong(expected, State::open);
    if (m_bHasForkKey)
        pthread_setspecific(m_forkKey, nullptr);
}

bool InterpreterGate::isForkOfPython() const
{
    return m_bHasForkKey && pthread_getspecific(m_forkKey) != nullptr;
}

void InterpreterGate::reportFork()
{
    if (m_bForkReported.exchange(true))
        return;
    // Destructors of handles call this, too, so nothing may be thrown.
    withoutThrowing(::liveFileScopeLogger(), "exception while a fork is reported",
                    []
                    {
                        VELMORA_FILE_LOG_ERROR(
                            "Python cannot be used in this process : it was forked from a process "
                            "in which Python runs ; fork with Python's os.fork, or start a program "
                            "of its own");
                    });
}

bool InterpreterGate::holdsInterpreterLock()
{
    const PyThreadState* const pState = PyGILState_GetThisThreadState();
    return pState != nullptr && pState == _PyThreadState_UncheckedGet();
}

bool InterpreterGate::goInLate()
{
    // A thread that holds the interpreter lock has a thread state, so it need not wait for the end
    // of a fork. It must not wait either: the thread that forks waits for the interpreter lock.
    const bool bHolds = holdsInterpreterLock();
    while (!bHolds && state() == State::forking)
        std::this_thread::sleep_for(s_pause);
    switch (state())
    {
    case State::open:
        return goIn();
    case State::forking:
        goInUnasked();
        return true;
    case State::closing:
        if (bHolds)
            goInUnasked();
        return bHolds;
    case State::closed:
        return false;
    case State::forked:
        reportFork();
        return false;
    }
    return false;
}

} // namespace Velmora::Python

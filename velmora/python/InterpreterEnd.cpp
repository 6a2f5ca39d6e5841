// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/InterpreterEnd.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/python/ExceptionHook.h"
#include "velmora/python/InterpreterGate.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyRef.h"

#include <atomic>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(EmbeddedInterpreter)

namespace Velmora::Python
{

namespace
{

using Clock = std::chrono::steady_clock;

/// How long the end waits for threads.
constexpr std::chrono::seconds s_limit(1);
/// Between two checks. There is nothing to wait on: threads leave Python without notifying.
constexpr std::chrono::milliseconds s_pause(1);

// Does the work of threading._shutdown, but takes no more than `limit` seconds. Python calls
// threading._shutdown when it ends, and that function waits without a limit.
//
// The main thread of threading is the one that imported it first. The script makes it the thread
// that ends Python, and marks it as stopped; threading._shutdown then has nothing left to do. Then
// the script runs the functions registered with threading._register_atexit and joins the threads
// that are not daemons. Functions may join threads themselves, so Thread.join has the limit, too.
//
// Returns the names of the threads that are left, and whether the thread that ends Python is one
// that threading has started.
constexpr const char* s_szScript = R"(
def end_threads(limit):
    import sys
    threading = sys.modules.get("threading")
    if threading is None:
        return [], False
    import time
    from _thread import get_ident
    end = time.monotonic() + limit
    own = get_ident()
    main = threading._main_thread
    current = threading._active.get(own)
    of_script = current not in (None, main) and not isinstance(current, threading._DummyThread)
    if of_script:
        threading._shutdown_locks.discard(current._tstate_lock)
    if threading._active.get(main._ident) is main:
        del threading._active[main._ident]
    main._ident = own
    threading._active[own] = main
    threading._SHUTTING_DOWN = True

    join = threading.Thread.join
    def join_within_limit(self, timeout=None):
        if get_ident() == own:
            left = max(end - time.monotonic(), 0)
            timeout = left if timeout is None else min(timeout, left)
        join(self, timeout)
    threading.Thread.join = join_within_limit
    try:
        if main._tstate_lock is not None:
            if main._tstate_lock.locked():
                main._tstate_lock.release()
            main._stop()
        while threading._threading_atexits:
            try:
                threading._threading_atexits.pop()()
            except BaseException:
                sys.excepthook(*sys.exc_info())
        while True:
            left = [thread for thread in list(threading._limbo) + list(threading._active.values())
                    if thread not in (main, current) and not thread.daemon
                    and not thread._is_stopped]
            if not left or time.monotonic() >= end:
                return [thread.name for thread in left], of_script
            if left[0].is_alive():
                left[0].join()
            else:
                time.sleep(0.001)
    finally:
        threading.Thread.join = join
)";

/// Returns true if no thread except this one is inside.
bool isNobodyInside(const InterpreterGate& in_gate)
{
    // `closeGate` has counted this thread.
    return in_gate.countInside() <= 1;
}

/// Waits for the interpreter lock on a thread of its own and records that it got the lock. A thread
/// that waits for the lock makes Python ask the owner to release it. Python has no such wait with a
/// limit, so the thread that ends Python must not wait itself.
class Probe
{
  public:
    void start()
    try
    {
        if (!m_bStarted)
            std::thread(&Probe::run).detach();
        m_bStarted = true;
    }
    catch (const std::system_error&)
    {
        // Without this thread, `takeLock` only gets a lock that it finds free at one of its checks.
    }

    static bool hasTakenLock() { return s_bTaken; }

  private:
    static void run()
    {
        PyGILState_Release(PyGILState_Ensure());
        s_bTaken = true;
    }

    static inline std::atomic<bool> s_bTaken{false};

    bool m_bStarted = false;
};

/// Takes the interpreter lock and keeps it. A thread that runs a script releases the lock when
/// asked to. A thread that waits for something else while it holds the lock does not.
/// Failure: returns false if the lock is still held at the given time.
bool takeLock(Clock::time_point in_end)
{
    Probe probe;
    // In Python 3.11 the function returns the state of the thread that holds the lock, whichever
    // thread that is, and null if the lock is free.
    for (int iTry = 0; _PyThreadState_UncheckedGet() != nullptr && !Probe::hasTakenLock(); ++iTry)
    {
        if (Clock::now() >= in_end)
            return false;
        constexpr int iProbeAfter = 20;
        if (iTry == iProbeAfter)
            probe.start();
        std::this_thread::sleep_for(s_pause);
    }
    PyGILState_Ensure();
    return true;
}

/// The result of `endThreadsOfScripts`.
struct ThreadsOfScripts
{
    /// The names of those that still run, empty if there are none.
    std::string strNames{};
    /// Whether the thread that ends Python is one of a script.
    bool bEndingIsOne = false;
};

/// Runs `s_szScript`. The caller holds the interpreter lock.
/// Failure: if the script raises, reports the exception and returns the name "unknown".
ThreadsOfScripts endThreadsOfScripts(Clock::time_point in_end)
{
    ThreadsOfScripts result;
    const double dLimit = std::chrono::duration<double>(in_end - Clock::now()).count();
    const PyRef pNamespace(PyDict_New());
    PyRef pDone;
    PyRef pResult;
    if (pNamespace != nullptr)
        pDone.reset(PyRun_String(s_szScript, Py_file_input, pNamespace.get(), pNamespace.get()));
    if (pDone != nullptr)
        pResult.reset(PyObject_CallFunction(PyDict_GetItemString(pNamespace.get(), "end_threads"),
                                            "d", dLimit));
    PyObject* pNames = nullptr;
    int iOfScript = 0;
    if (pResult == nullptr || PyArg_ParseTuple(pResult.get(), "Op", &pNames, &iOfScript) == 0)
    {
        ExceptionHook::reportPendingError();
        result.strNames = "unknown";
        return result;
    }
    result.bEndingIsOne = iOfScript != 0;
    const PyRef pSeparator(PyUnicode_FromString(", "));
    const PyRef pText(PyUnicode_Join(pSeparator.get(), pNames));
    result.strNames = pText == nullptr ? "unknown" : ExceptionHook::toText(pText.get());
    PyErr_Clear();
    return result;
}

/// Returns the number of running threads that Python's module _thread has started.
long countThreadsOfScripts()
{
    const PyRef pModule(PyImport_ImportModule("_thread"));
    const PyRef pCount(pModule == nullptr ? nullptr
                                          : PyObject_CallMethod(pModule.get(), "_count", nullptr));
    const long iCount = pCount == nullptr ? 0 : PyLong_AsLong(pCount.get());
    PyErr_Clear();
    return iCount;
}

/// Returns the number of native threads that have a thread state of Python by other means than the
/// library's.
long countStatesOfOthers(const InterpreterGate& in_gate, bool in_bEndingIsOfScript)
{
    const PyThreadState* const pOwn = PyThreadState_Get();
    // The loop does not count this thread, but `countThreadsOfScripts` does if it is of a script.
    long iCount = in_bEndingIsOfScript ? 1 : 0;
    for (PyThreadState* pState = PyInterpreterState_ThreadHead(PyInterpreterState_Get());
         pState != nullptr; pState = PyThreadState_Next(pState))
    {
        // The thread that started Python keeps its state while it is outside.
        const bool bIdle = pState == in_gate.startState() && pState->gilstate_counter <= 1;
        iCount += pState == pOwn || bIdle ? 0 : 1;
    }
    return iCount - countThreadsOfScripts();
}

/// Waits until no native thread is inside. The caller holds the interpreter lock, which is released
/// while waiting.
/// Failure: returns false if threads are inside at the given time.
bool waitForNativeThreads(const InterpreterGate& in_gate, bool in_bEndingIsOfScript,
                          Clock::time_point in_end)
{
    while (!isNobodyInside(in_gate) || countStatesOfOthers(in_gate, in_bEndingIsOfScript) > 0)
    {
        if (Clock::now() >= in_end)
            return false;
        PyThreadState* const pState = PyEval_SaveThread();
        std::this_thread::sleep_for(s_pause);
        PyEval_RestoreThread(pState);
    }
    return true;
}

/// Waits until the threads inside have left, then closes the gate for threads that would return to
/// Python as well. The caller holds the interpreter lock.
/// Failure: returns false if threads are still inside after the limit.
bool closeForGood(InterpreterGate& inout_gate, bool in_bEndingIsOfScript, Clock::time_point in_end)
{
    if (!waitForNativeThreads(inout_gate, in_bEndingIsOfScript, in_end))
        return false;
    inout_gate.setState(InterpreterGate::State::closed);
    // A thread may have returned to Python just before the state was set. It is given the full
    // limit to leave again.
    return waitForNativeThreads(inout_gate, in_bEndingIsOfScript, Clock::now() + s_limit);
}

/// Closes the gate for all other threads, and counts this thread as inside until the process ends
/// or `leaveAsItIs` is called.
void closeGate(InterpreterGate& in_gate)
{
    ThreadInPython& thread = ThreadInPython::ofThisThread();
    if (!thread.isInside())
        in_gate.goInUnasked();
    ++thread.uiDepth;
    thread.bEnds = true;
    in_gate.setState(InterpreterGate::State::closing);
}

/// Gives up the end of Python: logs a WARN with the reason, and makes this thread an ordinary one
/// again. The gate stays closed. Returns false.
bool leaveAsItIs(InterpreterGate& in_gate, const std::string& in_strReason)
{
    ThreadInPython::ofThisThread() = ThreadInPython();
    in_gate.goOut();
    VELMORA_FILE_LOG_WARN("Python is left as it is at the end of the process, and functions of "
                          "scripts registered with atexit do not run : after 1 s "
                          << in_strReason << " ; end such threads first");
    return false;
}

void (*s_pLetGo)() = nullptr;

PyObject* beforeEndOfPython(PyObject*, PyObject*)
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    // If the library itself ends Python, `prepare` has done all this and the gate is not open.
    if (gate.state() == InterpreterGate::State::open)
    {
        s_pLetGo();
        closeGate(gate);
        constexpr bool bEndingIsOfScript = false;
        if (!closeForGood(gate, bEndingIsOfScript, Clock::now() + s_limit))
        {
            const InterpreterUnlock unlock;
            // Python, which is written in C, calls this function: no exception may leave it.
            withoutThrowing(::liveFileScopeLogger(), "exception while Python ends",
                            []
                            {
                                VELMORA_FILE_LOG_WARN(
                                    "Python ends while native threads are inside : those that go "
                                    "on in it end the process ; end them first");
                            });
        }
        gate.setState(InterpreterGate::State::closed);
    }
    Py_RETURN_NONE;
}

} // namespace

bool InterpreterEnd::prepare()
{
    InterpreterGate& gate = InterpreterGate::ofProcess();
    if (gate.state() == InterpreterGate::State::forked)
        return false;
    const Clock::time_point end = Clock::now() + s_limit;
    closeGate(gate);
    // Threads inside may need the interpreter lock to leave.
    if (InterpreterLock::isHeld())
        PyEval_SaveThread();
    while (!isNobodyInside(gate))
    {
        if (Clock::now() >= end)
            return leaveAsItIs(gate, std::to_string(gate.countInside() - 1) +
                                         " native thread(s) are inside Python");
        std::this_thread::sleep_for(s_pause);
    }
    if (!takeLock(end))
        return leaveAsItIs(gate, "a thread still holds the interpreter lock");
    const ThreadsOfScripts left = endThreadsOfScripts(end);
    // If threads of scripts are left, Python does not end. Native threads are then only waited for
    // to log the right reason.
    const bool bNativeLeft = left.strNames.empty()
                                 ? !closeForGood(gate, left.bEndingIsOne, end)
                                 : !waitForNativeThreads(gate, left.bEndingIsOne, end);
    if (left.strNames.empty() && !bNativeLeft)
        return true;
    // Released for good: threads of scripts that are left go on.
    PyEval_SaveThread();
    return leaveAsItIs(gate, bNativeLeft ? "native threads are inside Python"
                                         : "threads of scripts still run : " + left.strNames);
}

bool InterpreterEnd::watchEndOfPython(void (*in_pLetGo)())
{
    s_pLetGo = in_pLetGo;
    static PyMethodDef s_function = {"velmora_before_end", &beforeEndOfPython, METH_NOARGS,
                                     nullptr};
    const PyRef pFunction(PyCFunction_New(&s_function, nullptr));
    const PyRef pModule(PyImport_ImportModule("atexit"));
    if (pFunction == nullptr || pModule == nullptr)
        return false;
    return PyRef(PyObject_CallMethod(pModule.get(), "register", "O", pFunction.get())) != nullptr;
}

} // namespace Velmora::Python

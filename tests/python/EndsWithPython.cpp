// SPDX-License-Identifier: BSD-2-Clause

// Starts Python and ends in the way that the first argument names. The other arguments name what
// happens before: threads that are busy in Python while the process ends, imports, objects. The log
// goes to standard output.
//
// endswithpython <end> [busy...]

#include "tests/support/LogToOutput.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>

using Velmora::Python::EmbeddedInterpreter;
using Velmora::Python::InterpreterLock;

namespace
{

std::counting_semaphore<> s_ready(0);

void ready() { s_ready.release(); }

void leave(int in_iCode) { std::exit(in_iCode); }

void leaveWithoutLock(int in_iCode)
{
    const Velmora::Python::InterpreterUnlock unlock;
    std::exit(in_iCode);
}

[[noreturn]] void pauseForever()
{
    while (true)
        pause();
}

/// Runs a script in the main namespace, with an `InterpreterLock` of its own. Imports the module
/// "__main__" instead of using the library's object for it: a thread that never returns from the
/// script must not use objects that the exit list deletes.
void run(const std::string& in_strScript)
{
    const InterpreterLock lock;
    if (!lock)
        return;
    EmbeddedInterpreter& interpreter = EmbeddedInterpreter::getInstance();
    try
    {
        const boost::python::object globals = boost::python::import("__main__").attr("__dict__");
        boost::python::exec(in_strScript.c_str(), globals, globals);
    }
    catch (const boost::python::error_already_set&)
    {
        interpreter.logLastPyException();
    }
}

void start(std::function<void()> in_function)
{
    std::thread(std::move(in_function)).detach();
    s_ready.acquire();
}

/// Repeatedly enters Python, makes an object and drops it.
void useObjects()
{
    for (int iUse = 0;; ++iUse)
    {
        {
            const InterpreterLock lock;
            if (lock)
                const boost::python::list list;
        }
        if (iUse == 10)
            ready();
    }
}

const std::map<std::string_view, void (*)()> s_busy{
    // Threads of the program.
    {"objects",
     []
     {
         start(&useObjects);
         start(&useObjects);
     }},
    {"holds-lock",
     []
     {
         start(
             []
             {
                 const InterpreterLock lock;
                 ready();
                 pauseForever();
             });
     }},
    {"holds-lock-shortly",
     []
     {
         start(
             []
             {
                 const InterpreterLock lock;
                 ready();
                 usleep(100000);
             });
     }},
    {"holds-lock-by-itself",
     []
     {
         start(
             []
             {
                 PyGILState_Ensure();
                 ready();
                 pauseForever();
             });
     }},
    {"has-state-by-itself",
     []
     {
         start(
             []
             {
                 PyGILState_Ensure();
                 PyEval_SaveThread();
                 ready();
                 pauseForever();
             });
     }},
    {"has-state-by-itself-shortly",
     []
     {
         start(
             []
             {
                 const PyGILState_STATE state = PyGILState_Ensure();
                 PyThreadState* const pState = PyEval_SaveThread();
                 ready();
                 usleep(100000);
                 PyEval_RestoreThread(pState);
                 PyGILState_Release(state);
             });
     }},
    {"runs-script-forever", [] { start([] { run("ready()\nwhile True: pass"); }); }},
    {"runs-script-shortly", []
     { start([] { run("import time\nready()\ntime.sleep(0.1)\nprint('script has ended')"); }); }},
    {"gave-lock-up",
     []
     {
         start(
             []
             {
                 const InterpreterLock lock;
                 const Velmora::Python::InterpreterUnlock unlock;
                 ready();
                 pauseForever();
             });
     }},
    // The thread that imports threading becomes its main thread.
    {"threading-here", [] { run("import threading"); }},
    {"threading-there", [] { std::thread([] { run("import threading"); }).join(); }},
    // Threads of scripts.
    {"thread-sleeps",
     []
     {
         run("import threading, time\n"
             "def work():\n"
             "    ready()\n"
             "    while True: time.sleep(0.01)\n"
             "threading.Thread(target=work, name='sleeper').start()");
         s_ready.acquire();
     }},
    {"thread-spins",
     []
     {
         run("import threading\n"
             "def work():\n"
             "    ready()\n"
             "    while True: pass\n"
             "threading.Thread(target=work, name='spinner').start()");
         s_ready.acquire();
     }},
    {"daemon-sleeps",
     []
     {
         run("import threading, time\n"
             "def work():\n"
             "    ready()\n"
             "    while True: time.sleep(0.01)\n"
             "threading.Thread(target=work, daemon=True).start()");
         s_ready.acquire();
     }},
    {"daemon-spins",
     []
     {
         run("import threading\n"
             "def work():\n"
             "    ready()\n"
             "    while True: pass\n"
             "threading.Thread(target=work, daemon=True).start()");
         s_ready.acquire();
     }},
    {"unnamed-thread-spins",
     []
     {
         run("import _thread\n"
             "def work():\n"
             "    ready()\n"
             "    while True: pass\n"
             "_thread.start_new_thread(work, ())");
         s_ready.acquire();
     }},
    {"thread-ends-soon",
     []
     {
         run("import threading, time\n"
             "def work():\n"
             "    ready()\n"
             "    time.sleep(0.2)\n"
             "    print('thread has ended', flush=True)\n"
             "threading.Thread(target=work).start()");
         s_ready.acquire();
     }},
    {"thread-waits-for-main-thread",
     []
     {
         run("import threading\n"
             "def work():\n"
             "    ready()\n"
             "    threading.main_thread().join()\n"
             "    print('main thread has ended', flush=True)\n"
             "threading.Thread(target=work).start()");
         s_ready.acquire();
     }},
    {"pool-idles",
     []
     {
         run("from concurrent.futures import ThreadPoolExecutor\n"
             "pool = ThreadPoolExecutor(2)\n"
             "pool.submit(ready).result()");
         s_ready.acquire();
     }},
    {"pool-works-forever",
     []
     {
         run("from concurrent.futures import ThreadPoolExecutor\n"
             "import time\n"
             "def work():\n"
             "    ready()\n"
             "    while True: time.sleep(0.01)\n"
             "pool = ThreadPoolExecutor(1, thread_name_prefix='pool')\n"
             "pool.submit(work)");
         s_ready.acquire();
     }},
    {"object",
     []
     {
         run("import os\nclass Last:\n    def __del__(self): os.write(1, b'finalised\\n')\n"
             "    def method(self): return last\nlast = Last()");
     }},
    {"atexit", [] { run("import atexit\natexit.register(print, 'atexit', flush=True)"); }},
};

/// Calls `exit` at SIGTERM, on a thread that waits for the signal. A signal handler must not call
/// `exit`.
void exitOnSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    std::thread(
        [signals]
        {
            int iSignal = 0;
            sigwait(&signals, &iSignal);
            std::exit(0);
        })
        .detach();
}

const std::map<std::string_view, void (*)()> s_ends{
    {"returns", [] {}},
    {"exits-on-worker",
     []
     {
         std::thread([] { std::exit(0); }).detach();
         pauseForever();
     }},
    {"exits-in-pair",
     []
     {
         const InterpreterLock lock;
         std::exit(0);
     }},
    {"exits-in-script", [] { run("leave(0)"); }},
    {"exits-in-script-on-worker",
     []
     {
         std::thread([] { run("leave(0)"); }).detach();
         pauseForever();
     }},
    {"exits-in-thread-of-script",
     []
     {
         run("import threading\nthreading.Thread(target=leave, args=(0,)).start()");
         pauseForever();
     }},
    {"exits-in-thread-of-script-without-lock",
     []
     {
         run("import threading\n"
             "threading.Thread(target=leave_without_lock, args=(0,)).start()");
         pauseForever();
     }},
    {"exits-in-unnamed-thread-of-script",
     []
     {
         run("import _thread\n_thread.start_new_thread(leave, (0,))");
         pauseForever();
     }},
    {"sigterm",
     []
     {
         exitOnSignal();
         kill(getpid(), SIGTERM);
         pauseForever();
     }},
    {"sigterm-in-script",
     []
     {
         exitOnSignal();
         run("import os, signal\nos.kill(os.getpid(), signal.SIGTERM)\nwhile True: pass");
     }},
    {"sigterm-in-short-script",
     []
     {
         exitOnSignal();
         run("import os, signal, time\nos.kill(os.getpid(), signal.SIGTERM)\ntime.sleep(0.1)");
         pauseForever();
     }},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    // Blocked before any thread starts, so that only `sigwait` gets the signal.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    Velmora::Test::logToOutput({});
    EmbeddedInterpreter& interpreter = EmbeddedInterpreter::getInstance();
    if (!interpreter.initialize())
        return 3;
    {
        const InterpreterLock lock;
        boost::python::object globals = interpreter.getMainNamespaceInstance();
        globals["ready"] = boost::python::make_function(&ready);
        globals["leave"] = boost::python::make_function(&leave);
        globals["leave_without_lock"] = boost::python::make_function(&leaveWithoutLock);
    }
    for (int iArgument = 2; iArgument < argc; ++iArgument)
        s_busy.at(argv[iArgument])();
    s_ends.at(argv[1])();
    return 0;
}

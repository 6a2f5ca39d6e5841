// SPDX-License-Identifier: BSD-2-Clause

// Starts Python and forks in the way that the argument names. The child uses Python and ends
// through exit(). It reports each step on standard output.
//
// forkswithpython <fork>

#include "tests/support/ForkedChild.h"
#include "tests/support/LogToOutput.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <thread>

using Velmora::Python::EmbeddedInterpreter;
using Velmora::Python::InterpreterLock;
using Velmora::Python::InterpreterUnlock;
using Velmora::Test::exitCodeOfChild;
using Velmora::Test::forkChild;
using Velmora::Test::waitForChild;

namespace
{

void say(const std::string& in_strText)
{
    std::printf("%s\n", in_strText.c_str());
    std::fflush(stdout);
}

/// Runs a script. Returns false if Python could not be entered.
bool run(const std::string& in_strScript)
{
    const InterpreterLock lock;
    if (!lock)
        return false;
    EmbeddedInterpreter& interpreter = EmbeddedInterpreter::getInstance();
    try
    {
        const boost::python::object globals = interpreter.getMainNamespaceInstance();
        boost::python::exec(in_strScript.c_str(), globals, globals);
    }
    catch (const boost::python::error_already_set&)
    {
        interpreter.logLastPyException();
    }
    return true;
}

/// Uses Python in the child, reports the results and ends the child.
void liveInChild()
{
    alarm(20);
    say(run("print('script in child', flush=True)") ? "child entered" : "child did not enter");
    say(run("pass") ? "child entered again" : "child did not enter again");
    say(EmbeddedInterpreter::getInstance().initialize() ? "child is initialized"
                                                        : "child is not initialized");
    std::exit(0);
}

/// Enters Python once in the child and ends the child.
void endChild()
{
    alarm(20);
    {
        const InterpreterLock lock;
    }
    std::exit(0);
}

void reportEndOf(pid_t in_pid)
{
    say("child ended with status " + std::to_string(waitForChild(in_pid)));
}

/// Forks without Python's `os.fork`.
void forkNatively()
{
    const pid_t pid = forkChild();
    if (pid == 0)
        liveInChild();
    reportEndOf(pid);
}

std::atomic<bool> s_bStop{false};

void useObjects()
{
    while (!s_bStop)
    {
        const InterpreterLock lock;
        const boost::python::list list;
    }
}

const char* const s_szForkInScript = "import os, threading\n"
                                     "pid = os.fork()\n"
                                     "if pid == 0:\n"
                                     "    live_in_child()\n"
                                     "wait_for_child(pid)\n";

const std::map<std::string_view, void (*)()> s_forks{
    {"native", &forkNatively},
    {"native-in-pair",
     []
     {
         const InterpreterLock lock;
         forkNatively();
     }},
    {"native-in-script", [] { run("fork_natively()"); }},
    {"native-without-lock",
     []
     {
         const InterpreterLock lock;
         const InterpreterUnlock unlock;
         forkNatively();
     }},
    // Scopes that began before the fork end in the child.
    {"native-leaves-pair",
     []
     {
         pid_t pid = -1;
         {
             const InterpreterLock lock;
             const InterpreterLock inner;
             pid = forkChild();
         }
         if (pid == 0)
             liveInChild();
         reportEndOf(pid);
     }},
    {"native-takes-lock-back",
     []
     {
         pid_t pid = -1;
         {
             const InterpreterLock lock;
             const InterpreterUnlock unlock;
             pid = forkChild();
         }
         if (pid == 0)
             liveInChild();
         reportEndOf(pid);
     }},
    {"python", [] { run(s_szForkInScript); }},
    {"python-on-worker", [] { std::thread([] { run(s_szForkInScript); }).join(); }},
    {"python-in-thread-of-script",
     []
     {
         run(std::string("def work():\n"
                         "    global os, pid\n"
                         "    import os\n"
                         "    pid = os.fork()\n"
                         "    if pid == 0:\n"
                         "        live_in_child()\n"
                         "    wait_for_child(pid)\n"
                         "import threading\n"
                         "thread = threading.Thread(target=work)\n"
                         "thread.start()\n"
                         "thread.join()\n"));
     }},
    // Python forks in the last of these without running the callbacks of `os.fork`. The child only
    // starts another program.
    {"subprocess",
     []
     {
         run("import subprocess\n"
             "def output(**options):\n"
             "    command = subprocess.run(['/bin/echo', 'command'], capture_output=True, "
             "**options)\n"
             "    print(command.stdout.decode().strip(), flush=True)\n"
             "output()\n"
             "output(preexec_fn=lambda: None)\n"
             "output(close_fds=False, start_new_session=True)\n"
             "print('script goes on', flush=True)\n");
     }},
    // Forks repeatedly while other threads are in Python.
    {"many",
     []
     {
         std::thread first(&useObjects);
         std::thread second(&useObjects);
         run("import os\n"
             "for child in range(20):\n"
             "    pid = os.fork()\n"
             "    if pid == 0:\n"
             "        end_child()\n"
             "    if os.waitpid(pid, 0)[1] != 0:\n"
             "        print('a child failed')\n");
         for (int iChild = 0; iChild < 20; ++iChild)
         {
             if (exitCodeOfChild([] { std::exit(0); }) != 0)
                 say("a child failed");
         }
         s_bStop = true;
         first.join();
         second.join();
         say("all children have ended");
     }},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    Velmora::Test::logToOutput({});
    EmbeddedInterpreter& interpreter = EmbeddedInterpreter::getInstance();
    if (!interpreter.initialize())
        return 3;
    {
        const InterpreterLock lock;
        boost::python::object globals = interpreter.getMainNamespaceInstance();
        globals["live_in_child"] = boost::python::make_function(&liveInChild);
        globals["end_child"] = boost::python::make_function(&endChild);
        globals["wait_for_child"] = boost::python::make_function(&reportEndOf);
        globals["fork_natively"] = boost::python::make_function(&forkNatively);
    }
    s_forks.at(argv[1])();
    return 0;
}

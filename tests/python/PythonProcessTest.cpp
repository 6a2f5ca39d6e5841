// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"
#include "tests/support/VelmoraTree.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAreArray;

using Lines = std::vector<std::string>;

/// The end takes about a second at most, but the machine may be busy.
constexpr std::chrono::seconds s_limit(40);

/// Runs a helper and returns its output. Expects exit code 0 and nothing on standard error.
Lines outputOf(const std::string& in_strProgram, const std::vector<std::string>& in_arguments)
{
    const VelmoraTree tree;
    const HelperResult result = runHelper(in_strProgram, in_arguments, tree.environment(), s_limit);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ("", result.strErrors);
    return linesOf(result.strOutput);
}

std::string leftAsItIs(const std::string& in_strReason)
{
    return "WARN keswardin.python.EmbeddedInterpreter: Python is left as it is at the end of the "
           "process, and functions of scripts registered with atexit do not run : after 1 s " +
           in_strReason + " ; end such threads first";
}

struct Case
{
    std::string strName;
    std::vector<std::string> arguments;
    Lines output;

    /// Prints the name, where GoogleTest lists the parameters of tests.
    friend void PrintTo(const Case& in_case, std::ostream* out_pStream)
    {
        *out_pStream << in_case.strName;
    }
};

std::string nameOf(const testing::TestParamInfo<Case>& in_info) { return in_info.param.strName; }

class EndOfProcess : public testing::TestWithParam<Case>
{
};

TEST_P(EndOfProcess, DoesNotHangOrDie)
{
    EXPECT_THAT(outputOf(VELMORA_HELPER_PYTHON_ENDSWITHPYTHON, GetParam().arguments),
                ElementsAreArray(GetParam().output));
}

const Lines s_ended{"atexit"};
const Lines s_nativeInside{leftAsItIs("1 native thread(s) are inside Python")};

INSTANTIATE_TEST_SUITE_P(
    Python, EndOfProcess,
    testing::Values(
        Case{"FromMain", {"returns", "atexit"}, s_ended},
        Case{"FromMainAfterObjectsOfScripts", {"returns", "object"}, {"finalised"}},
        Case{"FromMainThatImportedThreading", {"returns", "threading-here", "atexit"}, s_ended},
        Case{"FromMainAfterAWorkerImportedThreading",
             {"returns", "threading-there", "atexit"},
             s_ended},
        Case{"OnAWorker", {"exits-on-worker", "atexit"}, s_ended},
        Case{"OnAWorkerAfterMainImportedThreading",
             {"exits-on-worker", "threading-here", "atexit"},
             s_ended},
        Case{"OnAWorkerAfterAnotherImportedThreading",
             {"exits-on-worker", "threading-there", "atexit"},
             s_ended},
        Case{"InsidePython", {"exits-in-pair", "threading-here", "atexit"}, s_ended},
        Case{"InAScript", {"exits-in-script", "threading-there", "atexit"}, s_ended},
        Case{"InAScriptOnAWorker",
             {"exits-in-script-on-worker", "threading-here", "atexit"},
             s_ended},
        Case{"InAThreadOfAScript", {"exits-in-thread-of-script", "atexit"}, s_ended},
        Case{"InAThreadOfAScriptWithTheLockGivenUp",
             {"exits-in-thread-of-script-without-lock", "atexit"},
             s_ended},
        Case{"InAThreadOfAScriptWhileANativeThreadHasGivenTheLockUp",
             {"exits-in-thread-of-script-without-lock", "atexit", "gave-lock-up"},
             s_nativeInside},
        Case{
            "InAnUnnamedThreadOfAScript", {"exits-in-unnamed-thread-of-script", "atexit"}, s_ended},
        Case{"AtASignal", {"sigterm", "atexit"}, s_ended},
        Case{"AtASignalWhileAScriptRunsForever", {"sigterm-in-script", "atexit"}, s_nativeInside},
        Case{"AtASignalWhileAScriptRuns", {"sigterm-in-short-script", "atexit"}, s_ended},
        Case{"WhileNativeThreadsUseObjects", {"returns", "objects", "atexit"}, s_ended},
        Case{"OnAWorkerWhileNativeThreadsUseObjects",
             {"exits-on-worker", "threading-there", "objects", "atexit"},
             s_ended},
        Case{"AtASignalWhileNativeThreadsUseObjects",
             {"sigterm-in-short-script", "objects", "atexit"},
             s_ended},
        Case{"WhileANativeThreadHoldsTheLockForever",
             {"returns", "atexit", "holds-lock"},
             s_nativeInside},
        Case{
            "WhileANativeThreadHoldsTheLock", {"returns", "atexit", "holds-lock-shortly"}, s_ended},
        Case{"WhileANativeThreadHoldsTheLockByItself",
             {"returns", "atexit", "holds-lock-by-itself"},
             {leftAsItIs("a thread still holds the interpreter lock")}},
        Case{"WhileANativeThreadHasAStateByItself",
             {"returns", "atexit", "has-state-by-itself"},
             {leftAsItIs("native threads are inside Python")}},
        Case{"WhileANativeThreadGivesItsStateBack",
             {"returns", "atexit", "has-state-by-itself-shortly"},
             s_ended},
        Case{"WhileANativeThreadRunsAScriptForever",
             {"returns", "atexit", "runs-script-forever"},
             s_nativeInside},
        Case{"WhileANativeThreadRunsAScript",
             {"returns", "atexit", "runs-script-shortly"},
             {"script has ended", "atexit"}},
        Case{"WhileANativeThreadHasGivenTheLockUp",
             {"returns", "atexit", "gave-lock-up"},
             s_nativeInside},
        Case{"WhileAThreadOfAScriptSleepsForever",
             {"returns", "atexit", "thread-sleeps"},
             {leftAsItIs("threads of scripts still run : sleeper")}},
        Case{"OnAWorkerWhileAThreadOfAScriptComputesForever",
             {"exits-on-worker", "atexit", "thread-spins"},
             {leftAsItIs("threads of scripts still run : spinner")}},
        Case{"WhileADaemonSleeps", {"returns", "atexit", "daemon-sleeps"}, s_ended},
        Case{"WhileADaemonComputes", {"returns", "atexit", "daemon-spins"}, s_ended},
        Case{"OnAWorkerWhileADaemonComputes",
             {"exits-on-worker", "atexit", "daemon-spins"},
             s_ended},
        Case{
            "WhileAnUnnamedThreadComputes", {"returns", "atexit", "unnamed-thread-spins"}, s_ended},
        Case{"WaitsForAThreadOfAScript",
             {"returns", "atexit", "thread-ends-soon"},
             {"thread has ended", "atexit"}},
        Case{"LetsAThreadSeeTheEndOfTheMainThread",
             {"exits-on-worker", "atexit", "thread-waits-for-main-thread"},
             {"main thread has ended", "atexit"}},
        Case{"EndsAPoolThatIsIdle", {"returns", "atexit", "pool-idles"}, s_ended},
        Case{"DoesNotWaitForAPoolForever",
             {"returns", "atexit", "pool-works-forever"},
             {leftAsItIs("threads of scripts still run : pool_0")}}),
    nameOf);

const std::string s_strClosed =
    "ERROR keswardin.python.EmbeddedInterpreter: Python cannot be used in this process : it was "
    "forked from a process in which Python runs ; fork with Python's os.fork, or start a program "
    "of its own";
const Lines s_childOutside{s_strClosed, "child did not enter", "child did not enter again",
                           "child is initialized", "child ended with status 0"};
const Lines s_childInside{"script in child", "child entered", "child entered again",
                          "child is initialized", "child ended with status 0"};

class ChildOfFork : public testing::TestWithParam<Case>
{
};

TEST_P(ChildOfFork, DoesNotHangOrDie)
{
    if (VELMORA_ADDRESS_SANITIZER != 0 && GetParam().arguments[0] == "many")
        GTEST_SKIP() << "malloc of AddressSanitizer does not survive a fork beside other threads";
    EXPECT_THAT(outputOf(VELMORA_HELPER_PYTHON_FORKSWITHPYTHON, GetParam().arguments),
                ElementsAreArray(GetParam().output));
}

INSTANTIATE_TEST_SUITE_P(
    Python, ChildOfFork,
    testing::Values(Case{"StaysOutside", {"native"}, s_childOutside},
                    Case{"StaysOutsideInAPair", {"native-in-pair"}, s_childOutside},
                    Case{"StaysOutsideInAScript", {"native-in-script"}, s_childOutside},
                    Case{"StaysOutsideWithTheLockGivenUp", {"native-without-lock"}, s_childOutside},
                    Case{"LeavesThePairsOfItsParent", {"native-leaves-pair"}, s_childOutside},
                    Case{"TakesNoLockBack", {"native-takes-lock-back"}, s_childOutside},
                    Case{"GoesOnAfterPythonsFork", {"python"}, s_childInside},
                    Case{"GoesOnAfterPythonsForkOnAWorker", {"python-on-worker"}, s_childInside},
                    Case{"GoesOnAfterPythonsForkInAThreadOfAScript",
                         {"python-in-thread-of-script"},
                         s_childInside},
                    Case{"StartsAnotherProgram",
                         {"subprocess"},
                         {"command", "command", "command", "script goes on"}},
                    Case{"IsMadeWhileOthersAreInPython", {"many"}, {"all children have ended"}}),
    nameOf);

class ObjectManagerWithoutLock : public testing::TestWithParam<Case>
{
};

TEST_P(ObjectManagerWithoutLock, KeepsPythonFromStarting)
{
    const Lines lines = outputOf(VELMORA_HELPER_PYTHON_LOSESLOCK, GetParam().arguments);
    ASSERT_EQ(2u, lines.size());
    EXPECT_THAT(lines[0], testing::StartsWith(GetParam().output[0]));
    EXPECT_EQ("initialized: 0", lines[1]);
}

INSTANTIATE_TEST_SUITE_P(
    Python, ObjectManagerWithoutLock,
    testing::Values(
        Case{"WhenItFails",
             {"fails"},
             {"ERROR keswardin.python.EmbeddedInterpreter: Assertion failed "
              "(ACE_Object_Manager::get_singleton_lock(pMutex) == 0) file="}},
        Case{"WhenItGivesNone",
             {"none"},
             {"ERROR keswardin.python.EmbeddedInterpreter: Assertion failed (pMutex != 0) file="}}),
    nameOf);

/// Returns true if a symbol of Python is an object whose address the library has in its data.
bool isData(const std::string& in_strSymbol)
{
    return in_strSymbol.ends_with("_Type") || in_strSymbol.ends_with("Struct") ||
           in_strSymbol.starts_with("PyExc_");
}

/// The dynamic linker lists the symbols of Python that it has bound for the library: those of data
/// when the library is loaded, those of functions when they are first called.
TEST(ProcessThatNeverStartsPython, CallsNothingOfItButTheQuestionWhetherItRuns)
{
    const HelperResult result = runHelper(VELMORA_HELPER_PYTHON_LOSESLOCK, {"fails"},
                                          {{"LD_DEBUG", "bindings"}, {"LD_BIND_NOW", ""}});
    EXPECT_EQ(0, result.iExitCode);
    std::set<std::string> symbols;
    for (const std::string& strLine : linesOf(result.strErrors))
        if (strLine.find("libkeswardin-infra.so.0.1 [0] to") != std::string::npos &&
            strLine.find("libpython3") != std::string::npos)
        {
            const std::size_t uiStart = strLine.find('`') + 1;
            symbols.insert(strLine.substr(uiStart, strLine.find('\'', uiStart) - uiStart));
        }
    EXPECT_TRUE(symbols.contains("_Py_NoneStruct"));
    std::erase_if(symbols, isData);
    EXPECT_THAT(symbols, testing::ElementsAre("Py_IsInitialized"));
}

/// The extension modules of the standard library need the symbols of Python, which must be global.
TEST(LibraryOpenedLocally, LetsExtensionModulesFindPython)
{
    EXPECT_THAT(outputOf(VELMORA_HELPER_PYTHON_PLUGINHOST, {VELMORA_HELPER_PYTHON_PLUGIN}),
                testing::ElementsAre("imported"));
}

class OrdinaryPython : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (VELMORA_ADDRESS_SANITIZER != 0 || VELMORA_THREAD_SANITIZER != 0)
            GTEST_SKIP() << "Debian's interpreter is not linked with the run-time of a sanitizer";
    }
};

/// Runs a script in Debian's own interpreter, with the module of the tests and without `VELMORA`.
HelperResult runInPython(const std::string& in_strScript)
{
    const std::string strModule = VELMORA_HELPER_PYTHON_EXTENSION;
    HelperResult result =
        runHelper("/usr/bin/python3", {"-c", "import extension\n" + in_strScript},
                  {{"PYTHONPATH", strModule.substr(0, strModule.rfind('/'))}}, s_limit);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(0, result.iSignal);
    return result;
}

TEST_F(OrdinaryPython, IsUsedAsItIs)
{
    const HelperResult result =
        runInPython("import os, sys\n"
                    "before = dict(os.environ), sys.excepthook, list(sys.argv), list(sys.path)\n"
                    "print(extension.initialize(), extension.initialize())\n"
                    "print(before == (dict(os.environ), sys.excepthook, sys.argv, sys.path))\n"
                    "print(os.popen('echo $PYTHONHOME').read() == '\\n')\n"
                    "print('__velmora_native_excepthook__' in globals())\n"
                    "print(extension.is_main_namespace(globals()))\n");
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(linesOf(result.strOutput),
                testing::ElementsAre("True True", "True", "True", "False", "True"));
    EXPECT_EQ("", result.strErrors);
}

TEST_F(OrdinaryPython, EndsWithItsOwnExitCode)
{
    const HelperResult result =
        runInPython("import atexit, sys, threading\nextension.initialize()\n"
                    "atexit.register(print, 'atexit')\nsys.exit(7)");
    EXPECT_EQ(7, result.iExitCode);
    EXPECT_EQ("atexit\n", result.strOutput);
    EXPECT_EQ("", result.strErrors);
}

TEST_F(OrdinaryPython, EndsWhileNativeThreadsUseObjects)
{
    const HelperResult result =
        runInPython("import sys, time\nextension.initialize()\n"
                    "extension.use_objects_forever()\ntime.sleep(0.05)\nsys.exit(7)");
    EXPECT_EQ(7, result.iExitCode);
    EXPECT_EQ("", result.strOutput);
    EXPECT_EQ("", result.strErrors);
}

TEST_F(OrdinaryPython, WarnsOfNativeThreadsThatStayInside)
{
    const HelperResult result = runInPython("import time\nextension.initialize()\n"
                                            "extension.hold_forever()\ntime.sleep(0.1)\n");
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("WARN keswardin.python.EmbeddedInterpreter: Python ends while native threads are "
              "inside : those that go on in it end the process ; end them first\n",
              result.strOutput);
}

TEST_F(OrdinaryPython, IsNotEndedByAnExitOnAWorker)
{
    const HelperResult result =
        runInPython("import atexit, time\nextension.initialize()\n"
                    "atexit.register(print, 'atexit')\nextension.exit_on_worker()\n"
                    "while True: time.sleep(1)");
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strOutput);
    EXPECT_EQ("", result.strErrors);
}

TEST_F(OrdinaryPython, HasTheErrorsOfTheLibraryLogged)
{
    const HelperResult result = runInPython("extension.fail()");
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("ERROR keswardin.python.EmbeddedInterpreter: Embedded Python Interpreter Exception :"
              "\nValueError: text\n",
              result.strOutput);
    EXPECT_EQ("", result.strErrors);
}

TEST_F(OrdinaryPython, IsUsableInTheChildOfItsFork)
{
    const HelperResult result =
        runInPython("import os\nextension.initialize()\npid = os.fork()\n"
                    "if pid == 0:\n    print(extension.is_main_namespace(globals()), flush=True)\n"
                    "else:\n    print(os.waitpid(pid, 0)[1])\n");
    EXPECT_EQ("True\n0\n", result.strOutput);
    EXPECT_EQ("", result.strErrors);
}

} // namespace

} // namespace Velmora::Test

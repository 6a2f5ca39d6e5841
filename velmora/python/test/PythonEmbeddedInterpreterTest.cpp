// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/PythonEmbeddedInterpreter.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PythonExceptions.h"
#include "tests/support/Threads.h"
#include "tests/support/VelmoraTree.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using Python::EmbeddedInterpreter;
using Python::InterpreterLock;
using Python::InterpreterUnlock;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* s_szLogger = s_szPythonLogger;

EmbeddedInterpreter& interpreter() { return EmbeddedInterpreter::getInstance(); }

/// Runs a script in the main namespace. Reports an exception by `logLastPyException`.
void run(const std::string& in_strScript)
{
    const InterpreterLock lock;
    try
    {
        const boost::python::object globals = interpreter().getMainNamespaceInstance();
        boost::python::exec(in_strScript.c_str(), globals, globals);
    }
    catch (const boost::python::error_already_set&)
    {
        interpreter().logLastPyException();
    }
}

/// Returns the value of an expression as a text.
std::string valueOf(const std::string& in_strExpression)
{
    const InterpreterLock lock;
    const boost::python::object globals = interpreter().getMainNamespaceInstance();
    return boost::python::extract<std::string>(
        boost::python::str(boost::python::eval(in_strExpression.c_str(), globals, globals)));
}

/// Returns the type of the pending error and clears the error.
std::string takeError()
{
    PyObject* pType = nullptr;
    PyObject* pValue = nullptr;
    PyObject* pTraceback = nullptr;
    PyErr_Fetch(&pType, &pValue, &pTraceback);
    const std::string strName = pType == nullptr ? "" : PyExceptionClass_Name(pType);
    Py_XDECREF(pType);
    Py_XDECREF(pValue);
    Py_XDECREF(pTraceback);
    return strName;
}

/// Has an installation, no environment variables of Python and of the library, and a Python that
/// does not run yet.
class NotStarted : public testing::Test
{
  protected:
    NotStarted()
    {
        unsetenv("VELMORA");
        unsetenv("VELMORA_OUTDIR_STRING");
        unsetenv("PYTHONHOME");
        unsetenv("PYTHONPATH");
    }

    VelmoraTree m_tree;
    CapturedLog m_log;
};

/// The same with Python running.
class Started : public NotStarted
{
  protected:
    Started()
    {
        setenv("VELMORA", m_tree.root().c_str(), 1);
        EXPECT_TRUE(interpreter().initialize());
    }
};

using EmbeddedInterpreterNotStarted = NotStarted;
using EmbeddedInterpreterStarted = Started;

TEST_F(EmbeddedInterpreterNotStarted, IsThereWithoutPython)
{
    EXPECT_EQ(&interpreter(), &EmbeddedInterpreter::getInstance());
    EXPECT_EQ(0, Py_IsInitialized());
    const InterpreterLock lock;
    EXPECT_FALSE(lock);
    EXPECT_FALSE(InterpreterLock::isHeld());
    const InterpreterUnlock unlock;
    interpreter().logLastPyException();
    EXPECT_FALSE(interpreter().appendToSysPath("a"));
    EXPECT_FALSE(interpreter().prependToSysPath("a"));
    EXPECT_FALSE(interpreter().replaceExceptionHook());
    interpreter().resetSysPath();
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(EmbeddedInterpreterNotStarted, NamesItsParameters)
{
    EXPECT_STREQ("keswardin.python.sys.path", Python::s_szPYTHON_SYS_PATH_PARAM);
    EXPECT_STREQ("keswardin.python.useChecker", Python::s_szPYTHON_USECHECKER_PARAM);
}

TEST_F(EmbeddedInterpreterNotStarted, NeedsVelmora)
{
    const LogLine line =
        errorLine(s_szLogger, "The VELMORA environment variable must be defined to determine the "
                              "Python sys.path");
    EXPECT_FALSE(interpreter().initialize());
    EXPECT_THAT(m_log.lines(), ElementsAre(line));
    EXPECT_FALSE(interpreter().configure(ParameterHashMap()));
    interpreter().initializeThread();
    EXPECT_THAT(m_log.lines(), ElementsAre(line, line, line));
    EXPECT_EQ(0, Py_IsInitialized());
}

TEST_F(EmbeddedInterpreterNotStarted, StartsOnceVelmoraIsSet)
{
    EXPECT_FALSE(interpreter().initialize());
    setenv("VELMORA", m_tree.root().c_str(), 1);
    EXPECT_TRUE(interpreter().initialize());
}

TEST_F(EmbeddedInterpreterNotStarted, FindsModulesBelowVelmora)
{
    setenv("VELMORA", "/v", 1);
    std::vector<std::string> path{"before"};
    EXPECT_TRUE(EmbeddedInterpreter::sGetBootstrapSysPath(path));
    EXPECT_THAT(path,
                ElementsAre("before", "/v/lib", "/v/data/Python-2.5/Lib", "/v/Python-2.5/Lib"));
}

TEST_F(EmbeddedInterpreterNotStarted, FindsModulesInADirectoryOfItsOwnBelowLib)
{
    setenv("VELMORA", "/v", 1);
    setenv("VELMORA_OUTDIR_STRING", "x", 1);
    std::vector<std::string> path;
    EXPECT_TRUE(EmbeddedInterpreter::sGetBootstrapSysPath(path));
    EXPECT_THAT(path, ElementsAre("/v/lib/x", "/v/data/Python-2.5/Lib", "/v/Python-2.5/Lib"));
}

TEST_F(EmbeddedInterpreterNotStarted, FindsNothingWithoutVelmora)
{
    std::vector<std::string> path;
    EXPECT_FALSE(EmbeddedInterpreter::sGetBootstrapSysPath(path));
    EXPECT_THAT(path, IsEmpty());
}

TEST_F(EmbeddedInterpreterNotStarted, SaysWhyPythonDoesNotStart)
{
    setenv("VELMORA", "/v", 1);
    setenv("VELMORA_OUTDIR_STRING", "x", 1);
    EXPECT_FALSE(interpreter().initialize());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(
                    s_szLogger,
                    "Failed to start Python : init_fs_encoding: failed to get the Python codec of "
                    "the filesystem encoding ; PYTHONHOME is \".\", PYTHONPATH is "
                    "\"/v/lib/x:/v/data/Python-2.5/Lib:/v/Python-2.5/Lib:\"")));
}

TEST_F(EmbeddedInterpreterNotStarted, DoesNotStartWhereAStartFailedHalfWay)
{
    setenv("VELMORA", "/v", 1);
    EXPECT_FALSE(interpreter().initialize());
    m_log.clear();
    setenv("VELMORA", m_tree.root().c_str(), 1);
    EXPECT_FALSE(interpreter().initialize());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(
                    s_szLogger, "Failed to start Python : it cannot be started in a process in "
                                "which its start has failed before ; restart the process")));
    const InterpreterLock lock;
    EXPECT_FALSE(lock);
}

TEST_F(EmbeddedInterpreterNotStarted, SetsTheHomeOfPythonOnlyIfNotSet)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    setenv("PYTHONHOME", "/opt/py", 1);
    EXPECT_TRUE(interpreter().initialize());
    EXPECT_STREQ("/opt/py", std::getenv("PYTHONHOME"));
}

TEST_F(EmbeddedInterpreterNotStarted, OverwritesThePathOfPython)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    setenv("PYTHONPATH", "/elsewhere", 1);
    EXPECT_TRUE(interpreter().initialize());
    const std::string strRoot = m_tree.root();
    EXPECT_EQ(strRoot + "/lib:" + strRoot + "/data/Python-2.5/Lib:" + strRoot + "/Python-2.5/Lib:",
              std::getenv("PYTHONPATH"));
    EXPECT_EQ("False", valueOf("'/elsewhere' in __import__('sys').path"));
    EXPECT_STREQ(".", std::getenv("PYTHONHOME"));
}

TEST_F(EmbeddedInterpreterNotStarted, WarnsOfDirectoriesThatOthersMayWriteTo)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    const TemporaryDirectory workingDirectory;
    chmod(workingDirectory.path().c_str(), 01777);
    chmod((m_tree.root() + "/lib").c_str(), 0777);
    ASSERT_EQ(0, chdir(workingDirectory.path().c_str()));
    EXPECT_TRUE(interpreter().initialize());
    ASSERT_EQ(0, chdir("/"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(warnLine(
                    s_szLogger,
                    "Python takes modules from directories that others than root and the user of "
                    "this process may write to : \"" +
                        m_tree.root() +
                        "/lib\", \".\" ; change their permissions, or start the process in another "
                        "directory and set PYTHONHOME and keswardin.python.sys.path")));
}

TEST_F(EmbeddedInterpreterNotStarted, KeepsTheSignalsTheLocaleAndTheWorkingOfTheProcess)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_TRUE(interpreter().initialize());
    struct sigaction action
    {
    };
    for (const int iSignal : {SIGINT, SIGPIPE})
    {
        sigaction(iSignal, nullptr, &action);
        EXPECT_EQ(SIG_DFL, action.sa_handler);
    }
    EXPECT_STREQ("C", std::setlocale(LC_CTYPE, nullptr));
}

TEST_F(EmbeddedInterpreterStarted, StartsPythonOnce)
{
    run("mark = 1");
    EXPECT_TRUE(interpreter().initialize());
    EXPECT_EQ("1", valueOf("mark"));
}

TEST_F(EmbeddedInterpreterStarted, IsHeldByNobodyBetweenUses)
{
    EXPECT_FALSE(InterpreterLock::isHeld());
    std::thread([] { run("on_worker = 1"); }).join();
    EXPECT_EQ("1", valueOf("on_worker"));
    EXPECT_FALSE(InterpreterLock::isHeld());
}

TEST_F(EmbeddedInterpreterStarted, GivesTheLockUpForAScope)
{
    const InterpreterLock lock;
    const InterpreterLock inner;
    EXPECT_TRUE(InterpreterLock::isHeld());
    {
        const InterpreterUnlock unlock;
        EXPECT_FALSE(InterpreterLock::isHeld());
        const InterpreterUnlock again;
        std::thread([] { run("on_worker = 1"); }).join();
        const InterpreterLock nested;
        EXPECT_TRUE(InterpreterLock::isHeld());
    }
    EXPECT_TRUE(InterpreterLock::isHeld());
}

TEST_F(EmbeddedInterpreterStarted, EntersWithoutAnObject)
{
    int iState = -1;
    ASSERT_TRUE(InterpreterLock::enter(iState));
    EXPECT_TRUE(InterpreterLock::isHeld());
    InterpreterLock::leave(iState);
    EXPECT_FALSE(InterpreterLock::isHeld());
}

TEST_F(EmbeddedInterpreterStarted, HasOneEmptyArgument)
{
    EXPECT_EQ("['']", valueOf("__import__('sys').argv"));
}

TEST_F(EmbeddedInterpreterStarted, LeavesOnlyTheNativeHookInTheMainNamespace)
{
    EXPECT_EQ("(False, False, True)", valueOf("('velmora_excepthook' in globals(), 'sys' in "
                                              "globals(), '__velmora_native_excepthook__' in "
                                              "globals())"));
}

TEST_F(EmbeddedInterpreterStarted, FindsExtensionModulesAndPackages)
{
    run("import _ctypes, ssl, sqlite3, decimal");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(EmbeddedInterpreterStarted, LogsAnUncaughtExceptionWithItsTraceback)
{
    run("def fail(): raise ValueError('text')\nfail()");
    EXPECT_THAT(m_log.lines(), ElementsAre(exceptionLine({"line 2, in <module>", "line 1, in fail"},
                                                         "ValueError: text")));
}

TEST_F(EmbeddedInterpreterStarted, LogsWhatPythonItselfHandsToTheHook)
{
    const InterpreterLock lock;
    EXPECT_EQ(-1, PyRun_SimpleString("1 / 0"));
    EXPECT_THAT(m_log.lines(), ElementsAre(exceptionLine({"line 1, in <module>"},
                                                         "ZeroDivisionError: division by zero")));
}

TEST_F(EmbeddedInterpreterStarted, GoesOnAfterSystemExit)
{
    run("raise SystemExit(3)");
    EXPECT_THAT(m_log.lines(),
                ElementsAre(exceptionLine({"line 1, in <module>"}, "SystemExit: 3")));
}

TEST_F(EmbeddedInterpreterStarted, ReplacesTextThatUtf8CannotHold)
{
    run("raise ValueError('a\\udc80b\\0c')");
    EXPECT_THAT(m_log.lines(),
                ElementsAre(exceptionLine({"line 1, in <module>"}, "ValueError: a?b?c")));
}

TEST_F(EmbeddedInterpreterStarted, LogsExceptionsWithoutASearchPath)
{
    interpreter().resetSysPath();
    EXPECT_EQ("[]", valueOf("__import__('sys').path"));
    run("raise ValueError('text')");
    ASSERT_EQ(1u, m_log.lines().size());
    EXPECT_THAT(m_log.lines()[0].strText, HasSubstr("ValueError: text"));
}

TEST_F(EmbeddedInterpreterStarted, ReportsThroughTheHookOfAScript)
{
    run("import sys\ndef hook(type, value, traceback):\n    global seen\n    seen = str(value)\n"
        "sys.excepthook = hook\nraise SystemExit('text')");
    EXPECT_EQ("text", valueOf("seen"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(EmbeddedInterpreterStarted, LosesNoErrorToAHookThatFails)
{
    run("import sys\ndef hook(type, value, traceback):\n    raise SystemExit('of the hook')\n"
        "sys.excepthook = hook\nraise ValueError('original')");
    ASSERT_EQ(2u, m_log.lines().size());
    EXPECT_THAT(m_log.lines()[0].strText, HasSubstr("ValueError: original"));
    EXPECT_THAT(m_log.lines()[1].strText, HasSubstr("SystemExit: of the hook"));
    const InterpreterLock lock;
    EXPECT_EQ("", takeError());
}

TEST_F(EmbeddedInterpreterStarted, LogsWhatItCanWithoutTheModuleTraceback)
{
    run("import sys\nsys.modules['traceback'] = None\nraise ValueError('text')");
    EXPECT_THAT(m_log.lines(), Contains(exceptionLine("ValueError: text")));
}

TEST_F(EmbeddedInterpreterStarted, ReportsNothingWithoutAnError)
{
    interpreter().logLastPyException();
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

/// Uses an appender that waits for another thread, which enters Python.
TEST_F(EmbeddedInterpreterStarted, LogsExceptionsWithTheLockGivenUp)
{
    {
        const CallbackAppender appender([](const std::string&)
                                        { std::thread([] { run("entered = 1"); }).join(); });
        run("raise ValueError");
    }
    EXPECT_EQ("1", valueOf("entered"));
}

TEST_F(EmbeddedInterpreterStarted, KeepsTheHookThatCannotBeReplaced)
{
    run("import builtins\nreal = builtins.__import__\n"
        "def failing(name, *rest):\n"
        "    if name == 'sys': raise ImportError('no sys')\n"
        "    return real(name, *rest)\n"
        "builtins.__import__ = failing");
    EXPECT_TRUE(interpreter().replaceExceptionHook());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(exceptionLine({"line 5, in <module>", "line 4, in failing"},
                                          "ImportError: no sys"),
                            errorLine(s_szLogger, "Failed to install the velmora excepthook in the "
                                                  "Python embedded interpreter")));
}

TEST_F(EmbeddedInterpreterNotStarted, StartsWithoutTheHook)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    m_tree.addModule("usercustomize.py", "");
    m_tree.addModule("sitecustomize.py",
                     "import builtins, sys\nreal = builtins.__import__\n"
                     "def failing(name, globals=None, *rest):\n"
                     "    if name == 'sys' and globals and globals['__name__'] == '__main__':\n"
                     "        raise ImportError('no sys')\n"
                     "    return real(name, globals, *rest)\n"
                     "builtins.__import__ = failing\n");
    EXPECT_TRUE(interpreter().initialize());
    ASSERT_EQ(2u, m_log.lines().size());
    EXPECT_THAT(m_log.lines()[0].strText, HasSubstr("ImportError: no sys"));
    EXPECT_EQ(errorLine(s_szLogger, "Failed to install the velmora excepthook in the Python "
                                    "embedded interpreter"),
              m_log.lines()[1]);
    EXPECT_EQ("2", valueOf("1 + 1"));
}

TEST_F(EmbeddedInterpreterStarted, ReplacesTheSearchPathByTheParameter)
{
    ParameterHashMap config;
    config.setStringParameter(Python::s_szPYTHON_SYS_PATH_PARAM, "a,b");
    EXPECT_TRUE(interpreter().configure(config));
    EXPECT_EQ("['a', 'b']", valueOf("__import__('sys').path"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(EmbeddedInterpreterStarted, KeepsEmptyPartsOfTheParameter)
{
    ParameterHashMap config;
    config.setStringParameter(Python::s_szPYTHON_SYS_PATH_PARAM, ",\xff,");
    EXPECT_TRUE(interpreter().configure(config));
    EXPECT_EQ("['', '\\udcff', '']", valueOf("ascii(__import__('sys').path)"));
}

TEST_F(EmbeddedInterpreterStarted, KeepsTheSearchPathWithoutTheParameter)
{
    const std::string strBefore = valueOf("__import__('sys').path");
    EXPECT_TRUE(interpreter().configure(ParameterHashMap()));
    EXPECT_EQ(strBefore, valueOf("__import__('sys').path"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(debugLine(s_szLogger,
                                      "The parameter keswardin.python.sys.path is not defined.")));
}

TEST_F(EmbeddedInterpreterStarted, ImportsTheChecker)
{
    std::filesystem::create_directory(m_tree.root() + "/lib/pychecker");
    m_tree.addModule("pychecker/checker.py", "import builtins\nbuiltins.checked = 1\n");
    ParameterHashMap config;
    config.setBoolParameter(Python::s_szPYTHON_USECHECKER_PARAM, true);
    EXPECT_TRUE(interpreter().configure(config));
    EXPECT_EQ("1", valueOf("checked"));
    EXPECT_THAT(
        m_log.lines(),
        Contains(infoLine(s_szLogger, "Embedded Python interpreter using the pychecker module.")));
}

TEST_F(EmbeddedInterpreterStarted, DoesNotImportTheCheckerThatIsSwitchedOff)
{
    ParameterHashMap config;
    config.setBoolParameter(Python::s_szPYTHON_USECHECKER_PARAM, false);
    EXPECT_TRUE(interpreter().configure(config));
    EXPECT_EQ("False", valueOf("'pychecker' in __import__('sys').modules"));
}

TEST_F(EmbeddedInterpreterStarted, LeavesTheErrorOfTheCheckerToTheCaller)
{
    ParameterHashMap config;
    config.setBoolParameter(Python::s_szPYTHON_USECHECKER_PARAM, true);
    EXPECT_THROW(interpreter().configure(config), boost::python::error_already_set);
    EXPECT_FALSE(InterpreterLock::isHeld());
    const InterpreterLock lock;
    EXPECT_EQ("ModuleNotFoundError", takeError());
}

/// On a thread that did not start Python, the error is lost with the outermost `InterpreterLock`.
TEST_F(EmbeddedInterpreterStarted, LosesAnErrorOnAWorkerUnlessTheCallerIsInside)
{
    ParameterHashMap config;
    config.setBoolParameter(Python::s_szPYTHON_USECHECKER_PARAM, true);
    std::thread(
        [&config]
        {
            EXPECT_THROW(interpreter().configure(config), boost::python::error_already_set);
            {
                const InterpreterLock lock;
                EXPECT_EQ("", takeError());
            }
            const InterpreterLock lock;
            EXPECT_THROW(interpreter().configure(config), boost::python::error_already_set);
            EXPECT_EQ("ModuleNotFoundError", takeError());
        })
        .join();
}

/// A configuration that records whether it is read with the interpreter lock held.
class AsksForTheLock : public ParameterHashMap
{
  public:
    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        m_bHeld = m_bHeld || InterpreterLock::isHeld();
        ParameterHashMap::getParameter(in_szParamName, out_value);
    }

    mutable bool m_bHeld = false;
};

TEST_F(EmbeddedInterpreterStarted, ReadsItsParametersWithoutTheLock)
{
    const AsksForTheLock config;
    const InterpreterLock lock;
    EXPECT_TRUE(interpreter().configure(config));
    EXPECT_FALSE(config.m_bHeld);
}

TEST_F(EmbeddedInterpreterStarted, AddsDirectoriesAtBothEndsOfTheSearchPath)
{
    interpreter().resetSysPath();
    EXPECT_TRUE(interpreter().appendToSysPath("middle"));
    EXPECT_TRUE(interpreter().appendToSysPath("last"));
    EXPECT_TRUE(interpreter().prependToSysPath("first"));
    EXPECT_EQ("['first', 'middle', 'last']", valueOf("__import__('sys').path"));
}

TEST_F(EmbeddedInterpreterStarted, RefusesASearchPathThatIsNoList)
{
    run("import sys\nsys.path = ('a', 'b')");
    EXPECT_THROW(interpreter().appendToSysPath("c"), boost::python::error_already_set);
    EXPECT_THROW(interpreter().prependToSysPath("c"), boost::python::error_already_set);
    EXPECT_THROW(interpreter().resetSysPath(), boost::python::error_already_set);
    const InterpreterLock lock;
    EXPECT_THROW(interpreter().getSysPath(), boost::python::error_already_set);
    EXPECT_EQ("TypeError", takeError());
}

TEST_F(EmbeddedInterpreterStarted, PassesTheFailureOfALength)
{
    run("import sys\n"
        "class Path(list):\n"
        "    def __len__(self): raise ValueError\n"
        "sys.path = Path()");
    EXPECT_THROW(interpreter().resetSysPath(), boost::python::error_already_set);
    const InterpreterLock lock;
    EXPECT_EQ("ValueError", takeError());
}

TEST_F(EmbeddedInterpreterStarted, InitializesAThread)
{
    std::thread(
        []
        {
            interpreter().initializeThread();
            EXPECT_FALSE(InterpreterLock::isHeld());
        })
        .join();
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(EmbeddedInterpreterNotStarted, InitializesWithTheFirstThread)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    interpreter().initializeThread();
    EXPECT_EQ("2", valueOf("1 + 1"));
}

TEST_F(EmbeddedInterpreterNotStarted, StartsOnceForManyThreads)
{
    setenv("VELMORA", m_tree.root().c_str(), 1);
    onThreads(8, [] { EXPECT_TRUE(interpreter().initialize()); });
    EXPECT_EQ("2", valueOf("1 + 1"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(EmbeddedInterpreterNotStarted, HasNoMainNamespaceYet)
{
    interpreter().getMainNamespaceInstance();
    EXPECT_THAT(
        failedAssertions(m_log),
        ElementsAre(failedAssertion("m_bInitialized", "PythonEmbeddedInterpreter", s_szLogger)));
}

TEST_F(EmbeddedInterpreterStarted, ReportsASecondObjectWhichEndsNothing)
{
    {
        const std::unique_ptr<EmbeddedInterpreter> pSecond(new EmbeddedInterpreter);
        EXPECT_THAT(m_log.lines(), Contains(errorLine("keswardin.infra.MaxCountClass",
                                                      "Maximum count of 1 exceeded : 2")));
    }
    EXPECT_EQ("2", valueOf("1 + 1"));
}

class EmbeddedInterpreterTraced : public Started
{
  protected:
    EmbeddedInterpreterTraced() : m_trace(TRACE_LOG_LEVEL) {}

    [[nodiscard]] std::vector<std::string> texts() const
    {
        std::vector<std::string> result;
        for (const LogLine& line : m_trace.linesOf(s_szLogger))
            result.push_back(line.strText);
        return result;
    }

    CapturedLog m_trace;
};

TEST_F(EmbeddedInterpreterTraced, TracesItsOperations)
{
    const auto scope = [this](const std::string& in_strName)
    {
        EXPECT_THAT(texts(), Contains("entering " + in_strName));
        EXPECT_THAT(texts(), Contains("exiting " + in_strName));
        m_trace.clear();
    };
    {
        const InterpreterLock lock;
        interpreter().getMainNamespaceInstance();
        scope("EmbeddedInterpreter::getMainNamespace");
        interpreter().getSysPath();
        scope("EmbeddedInterpreter::getSysPath");
    }
    interpreter().resetSysPath();
    scope("EmbeddedInterpreter::resetSysPath");
    interpreter().appendToSysPath("a");
    scope("EmbeddedInterpreter::appendToSysPath");
    interpreter().prependToSysPath("a");
    scope("EmbeddedInterpreter::prependToSysPath");
    std::vector<std::string> path;
    EmbeddedInterpreter::sGetBootstrapSysPath(path);
    scope("EmbeddedInterpreter::getBootstrapSysPath");
    interpreter().configure(ParameterHashMap());
    scope("EmbeddedInterpreter::configure");
    interpreter().logLastPyException();
    scope("EmbeddedInterpreter::logLastPyException");
    std::unique_ptr<EmbeddedInterpreter> pSecond(new EmbeddedInterpreter);
    scope("EmbeddedInterpreter ctor");
    pSecond.reset();
    scope("EmbeddedInterpreter dtor");
}

} // namespace

} // namespace Velmora::Test

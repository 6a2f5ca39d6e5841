// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/PyClassName.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PythonExceptions.h"
#include "tests/support/StartedPython.h"
#include "velmora/python/TSPyObjPtr.h"
#include "velmora/python/test/LogsWhileAnotherEntersPython.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

const char* const s_szLogger = "keswardin.infra.PyClassName";

using Strings = std::vector<std::string>;

LogLine withoutModuleLine(const std::string& in_strClassName)
{
    return errorLine(s_szLogger, "Error instanciating Python class \"" + in_strClassName +
                                     "\". Name must be in \"[Modules.]ModuleName.ClassName\" "
                                     "format, ie at least one module must be provided, none given "
                                     "here.");
}

LogLine invalidModuleLine(const std::string& in_strModules)
{
    return errorLine(s_szLogger, "Invalid Python module name: \"" + in_strModules + "\"");
}

/// Returns the errors that a failing `getNewInstance` logs. Expects that no exception is pending
/// afterwards and that the result is None.
std::vector<LogLine> errorsOf(const char* in_szDottedName)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    const Python::InterpreterLock lock;
    const TSPyObjPtr pInstance = PyClassName(in_szDottedName).getNewInstance();
    EXPECT_EQ(pInstance.ptr(), Py_None);
    EXPECT_TRUE(!lock || PyErr_Occurred() == nullptr);
    return log.lines();
}

/// Returns the beginning and the last line of the error with the given index, which must be the
/// last one. The traceback in between contains paths of the test's own modules.
Strings causeOf(const std::vector<LogLine>& in_lines, std::size_t in_uiLine)
{
    if (in_lines.size() != in_uiLine + 1)
        return {"not as many errors"};
    const LogLine& line = in_lines[in_uiLine];
    EXPECT_EQ(line.strLogger, s_szPythonLogger);
    EXPECT_EQ(line.level, ERROR_LOG_LEVEL);
    const std::string& strText = line.strText;
    return {strText.substr(0, strText.find("\n  File")), strText.substr(strText.rfind('\n') + 1)};
}

const std::string s_strTracebackBegins = exceptionText("Traceback (most recent call last):");

std::string nameOfClass(const TSPyObjPtr& in_pInstance)
{
    const Python::InterpreterLock lock;
    return Py_TYPE(in_pInstance.ptr())->tp_name;
}

/// Expects that a module with this text is reported as invalid, with this last line of the
/// traceback.
void expectInvalidModule(const std::string& in_strText, const std::string& in_strLastLine)
{
    const StartedPython python;
    python.addModule("thing", in_strText);
    const std::vector<LogLine> errors = errorsOf("thing.Thing");
    EXPECT_EQ(errors.at(0), invalidModuleLine("thing"));
    EXPECT_EQ(causeOf(errors, 1), (Strings{s_strTracebackBegins, in_strLastLine}));
}

void exportInto(const char* in_szModule) { makeModule(in_szModule, &PyClassName::exportToPython); }

} // namespace

TEST(PyClassName, HasAVirtualDestructorAndIsCopied)
{
    static_assert(std::has_virtual_destructor_v<PyClassName>);
    const PyClassName original("a.b.C");
    const PyClassName copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.getClassName(), "C");
    EXPECT_EQ(copy.getModules(), (Strings{"a", "b"}));
    PyClassName assigned("D");
    assigned = original;
    EXPECT_EQ(assigned.getClassName(), "C");
    EXPECT_EQ(assigned.getModules(), (Strings{"a", "b"}));
}

TEST(PyClassName, TakesTheLastPartAsTheClassAndTheOthersAsModules)
{
    const PyClassName className("a.b.C");
    EXPECT_EQ(className.getClassName(), "C");
    EXPECT_EQ(className.getModules(), (Strings{"a", "b"}));
    EXPECT_EQ(className.getModulesAsString(), "a.b");
}

TEST(PyClassName, HasNoModulesForANameWithoutADot)
{
    const PyClassName className("Thing");
    EXPECT_EQ(className.getClassName(), "Thing");
    EXPECT_EQ(className.getModules(), Strings{});
    EXPECT_EQ(className.getModulesAsString(), "");
}

TEST(PyClassName, TakesRunsOfDotsAsOneAndNoneAtTheEnds)
{
    const PyClassName className("..a...b.C.");
    EXPECT_EQ(className.getClassName(), "C");
    EXPECT_EQ(className.getModulesAsString(), "a.b");
}

TEST(PyClassName, IsEmptyForANullPointerAnEmptyTextAndDots)
{
    for (const char* const szName : {static_cast<const char*>(nullptr), "", "."})
    {
        const PyClassName className(szName);
        EXPECT_EQ(className.getClassName(), "");
        EXPECT_EQ(className.getModules(), Strings{});
        EXPECT_EQ(className.getModulesAsString(), "");
    }
}

TEST(PyClassName, TracesItsOperations)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        const PyClassName className("C");
        static_cast<void>(className.getClassName());
        static_cast<void>(className.getModules());
        static_cast<void>(className.getModulesAsString());
        static_cast<void>(className.getNewInstance());
    }
    std::vector<LogLine> expected;
    for (const std::string strScope :
         {"PyClassName default ctor", "PyClassName::getClassName", "PyClassName::getModules",
          "PyClassName::getModulesAsString", "PyClassName::getNewInstance", "PyClassName dtor"})
    {
        expected.push_back(traceLine(s_szLogger, "entering " + strScope));
        if (strScope == "PyClassName::getNewInstance")
            expected.push_back(withoutModuleLine("C"));
        expected.push_back(traceLine(s_szLogger, "exiting " + strScope));
    }
    EXPECT_EQ(log.linesOf(s_szLogger), expected);
}

TEST(PyClassName, MakesAnInstanceOfAClassInAModule)
{
    const StartedPython python;
    python.addModule("thing", "class Thing: pass\n");
    const CapturedLog log;
    EXPECT_EQ(nameOfClass(PyClassName("thing.Thing").getNewInstance()), "Thing");
    EXPECT_EQ(log.linesOf(s_szLogger), std::vector<LogLine>{});
}

TEST(PyClassName, MakesAnInstanceOfAClassInAPackage)
{
    const StartedPython python;
    python.addModule("site_of.alarms.door", "class Door: pass\n");
    EXPECT_EQ(nameOfClass(PyClassName("site_of.alarms.door.Door").getNewInstance()), "Door");
}

TEST(PyClassName, MakesANewInstanceEachTime)
{
    const StartedPython python;
    python.addModule("thing", "class Thing: pass\n");
    const PyClassName className("thing.Thing");
    const TSPyObjPtr pFirst = className.getNewInstance();
    const TSPyObjPtr pSecond = className.getNewInstance();
    EXPECT_NE(pFirst.ptr(), pSecond.ptr());
    const Python::InterpreterLock lock;
    EXPECT_EQ(Py_REFCNT(pFirst.ptr()), 1);
}

TEST(PyClassName, TakesWhateverCanBeCalledAsAClass)
{
    const StartedPython python;
    python.addModule("thing", "def make(): return 'made'\n");
    const TSPyObjPtr pInstance = PyClassName("thing.make").getNewInstance();
    const Python::InterpreterLock lock;
    EXPECT_EQ(boost::python::extract<std::string>(pInstance)(), "made");
}

TEST(PyClassName, MakesNoInstanceWithoutAModule)
{
    const StartedPython python;
    EXPECT_EQ(errorsOf("C"), std::vector<LogLine>{withoutModuleLine("C")});
    EXPECT_EQ(errorsOf(""), std::vector<LogLine>{withoutModuleLine("")});
}

TEST(PyClassName, LogsOneLineForAModuleThatIsNotThere)
{
    const StartedPython python;
    python.addModule("package.module", "");
    EXPECT_EQ(errorsOf("no.such.Thing"), std::vector<LogLine>{invalidModuleLine("no.such")});
    EXPECT_EQ(errorsOf("nosuch.Thing"), std::vector<LogLine>{invalidModuleLine("nosuch")});
    EXPECT_EQ(errorsOf("package.nosuch.Thing"),
              std::vector<LogLine>{invalidModuleLine("package.nosuch")});
    EXPECT_EQ(errorsOf("package.module.nosuch.Thing"),
              std::vector<LogLine>{invalidModuleLine("package.module.nosuch")});
}

TEST(PyClassName, SaysWhyAModuleWithWrongSyntaxIsInvalid)
{
    const StartedPython python;
    python.addModule("thing", "class Thing pass\n");
    const std::vector<LogLine> errors = errorsOf("thing.Thing");
    EXPECT_EQ(errors.at(0), invalidModuleLine("thing"));
    EXPECT_EQ(causeOf(errors, 1).back(), "SyntaxError: invalid syntax");
}

TEST(PyClassName, SaysWhyAModuleThatMissesAnotherIsInvalid)
{
    const StartedPython python;
    python.addModule("thing", "import thing_it_needs\n");
    const std::vector<LogLine> errors = errorsOf("thing.Thing");
    EXPECT_EQ(errors.at(0), invalidModuleLine("thing"));
    EXPECT_EQ(
        causeOf(errors, 1),
        (Strings{s_strTracebackBegins, "ModuleNotFoundError: No module named 'thing_it_needs'"}));
}

TEST(PyClassName, SaysWhyAModuleThatMissesANameOfAnotherIsInvalid)
{
    const StartedPython python;
    python.addModule("package.thing", "from os import nosuch\n");
    const std::vector<LogLine> errors = errorsOf("package.thing.Thing");
    EXPECT_EQ(errors.at(0), invalidModuleLine("package.thing"));
    EXPECT_EQ(causeOf(errors, 1).front(), s_strTracebackBegins);
    EXPECT_EQ(causeOf(errors, 1).back().find("ImportError: cannot import name 'nosuch'"), 0U);
}

TEST(PyClassName, SaysWhyAModuleThatRaisesIsInvalid)
{
    expectInvalidModule("raise ValueError('no door')\n", "ValueError: no door");
}

TEST(PyClassName, SurvivesAModuleThatRaisesANotFoundErrorWithoutAName)
{
    expectInvalidModule("raise ModuleNotFoundError('odd')\n", "ModuleNotFoundError: odd");
}

TEST(PyClassName, SurvivesAModuleThatExits)
{
    expectInvalidModule("import sys\nsys.exit(3)\n", "SystemExit: 3");
}

TEST(PyClassName, SurvivesANameThatIsNotUtf8)
{
    const StartedPython python;
    python.addModule("thing", "");
    std::vector<LogLine> errors = errorsOf("thing\xff.Thing");
    EXPECT_EQ(errors.at(0), invalidModuleLine("thing\xff"));
    EXPECT_EQ(causeOf(errors, 1).back().find("UnicodeDecodeError: "), 0U);
    EXPECT_EQ(causeOf(errorsOf("thing.Thing\xff"), 0).back().find("UnicodeDecodeError: "), 0U);
}

TEST(PyClassName, ReportsAClassThatIsNotInTheModule)
{
    const StartedPython python;
    python.addModule("thing", "");
    EXPECT_EQ(errorsOf("thing.Thing"),
              std::vector<LogLine>{exceptionLine("AttributeError: module 'thing' has no attribute "
                                                 "'Thing'")});
}

TEST(PyClassName, ReportsAConstructorThatRaisesWithItsTraceback)
{
    const StartedPython python;
    python.addModule("thing", "class Thing:\n"
                              "    def __init__(self):\n"
                              "        raise ValueError('no door')\n");
    EXPECT_EQ(causeOf(errorsOf("thing.Thing"), 0),
              (Strings{s_strTracebackBegins, "ValueError: no door"}));
}

TEST(PyClassName, ReportsAConstructorThatNeedsArguments)
{
    const StartedPython python;
    python.addModule("thing", "class Thing:\n"
                              "    def __init__(self, door): pass\n");
    EXPECT_EQ(errorsOf("thing.Thing"),
              std::vector<LogLine>{exceptionLine("TypeError: Thing.__init__() missing 1 required "
                                                 "positional argument: 'door'")});
}

TEST(PyClassName, ReportsWhatIsNoClass)
{
    const StartedPython python;
    python.addModule("thing", "Thing = 5\n");
    EXPECT_EQ(errorsOf("thing.Thing"),
              std::vector<LogLine>{exceptionLine("TypeError: 'int' object is not callable")});
}

TEST(PyClassName, SurvivesAConstructorThatExits)
{
    const StartedPython python;
    python.addModule("thing", "import sys\n"
                              "class Thing:\n"
                              "    def __init__(self): sys.exit(3)\n");
    EXPECT_EQ(causeOf(errorsOf("thing.Thing"), 0),
              (Strings{s_strTracebackBegins, "SystemExit: 3"}));
}

TEST(PyClassName, ReportsAnInterruptedConstructor)
{
    const StartedPython python;
    python.addModule("thing", "class Thing:\n"
                              "    def __init__(self): raise KeyboardInterrupt\n");
    EXPECT_EQ(causeOf(errorsOf("thing.Thing"), 0),
              (Strings{s_strTracebackBegins, "KeyboardInterrupt"}));
}

TEST(PyClassName, MakesNoInstanceBeforePythonRuns)
{
    EXPECT_EQ(errorsOf("site.Thing"),
              std::vector<LogLine>{errorLine(
                  s_szLogger, "Error instanciating Python class \"Thing\" of module \"site\". "
                              "Python cannot be entered: it has not been started, has ended, or "
                              "is about to.")});
}

TEST(PyClassName, MakesInstancesOnThreadsAtTheSameTime)
{
    const StartedPython python;
    python.addModule("thing", "class Thing: pass\n");
    const auto make = []
    {
        const PyClassName className("thing.Thing");
        for (int i = 0; i != 100; ++i)
            EXPECT_EQ(nameOfClass(className.getNewInstance()), "Thing");
    };
    std::thread first(make);
    std::thread second(make);
    first.join();
    second.join();
}

TEST(PyClassName, LogsWithoutTheInterpreterLock)
{
    const StartedPython python;
    python.addModule("broken", "raise ValueError\n");
    python.addModule("thing", "class Thing:\n"
                              "    def __init__(self): raise ValueError\n");
    const LogsWhileAnotherEntersPython log;
    const Python::InterpreterLock lock;
    for (const char* const szName : {"C", "no.such.Thing", "broken.Thing", "thing.Thing"})
        static_cast<void>(PyClassName(szName).getNewInstance());
    EXPECT_TRUE(Python::InterpreterLock::isHeld());
    EXPECT_EQ(log.count(ERROR_LOG_LEVEL), 5U);
}

TEST(PyClassNameInPython, IsMadeFromAStringAndHasBothNames)
{
    const StartedPython python;
    exportInto("ofTest");
    runScript("name = ofTest.PyClassName('a.b.C')");
    EXPECT_EQ(evaluate("name.getClassName()"), "C");
    EXPECT_EQ(evaluate("name.getModulesAsString()"), "a.b");
    EXPECT_EQ(evaluate("type(name.getClassName()).__name__"), "str");
    EXPECT_EQ(evaluate("ofTest.PyClassName.__name__"), "PyClassName");
}

TEST(PyClassNameInPython, GivesACopyOfTheClassNameThatOutlivesTheObject)
{
    const StartedPython python;
    exportInto("ofTest");
    runScript("name = ofTest.PyClassName('a.AVeryLongNameOfAClassThatNeedsMemoryOfItsOwn')\n"
              "text = name.getClassName()\n"
              "del name\n");
    EXPECT_EQ(evaluate("text"), "AVeryLongNameOfAClassThatNeedsMemoryOfItsOwn");
}

TEST(PyClassNameInPython, IsEmptyWhenMadeFromNone)
{
    const StartedPython python;
    exportInto("ofTest");
    EXPECT_EQ(evaluate("repr(ofTest.PyClassName(None).getClassName())"), "''");
}

TEST(PyClassNameInPython, IsNotMadeFromAnythingElse)
{
    const StartedPython python;
    exportInto("ofTest");
    runScript("raised = []\n"
              "for arguments in ((), (5,), ('a.B', 'c')):\n"
              "    try:\n"
              "        ofTest.PyClassName(*arguments)\n"
              "    except TypeError as error:\n"
              "        raised.append(type(error).__name__)\n");
    EXPECT_EQ(evaluate("raised"), "['ArgumentError', 'ArgumentError', 'ArgumentError']");
}

TEST(PyClassNameInPython, PassesBetweenPythonAndNativeCode)
{
    const StartedPython python;
    makeModule("ofTest",
               []
               {
                   PyClassName::exportToPython();
                   boost::python::def(
                       "same", +[](const PyClassName& in_name) { return in_name; });
               });
    EXPECT_EQ(evaluate("ofTest.same(ofTest.PyClassName('a.b.C')).getModulesAsString()"), "a.b");
}

TEST(PyClassNameInPython, IsExportedToAnyNumberOfModulesWithoutAWarning)
{
    const StartedPython python;
    runScript("import warnings\nwarnings.simplefilter('error')");
    exportInto("ofTest");
    exportInto("ofTest");
    exportInto("another");
    EXPECT_EQ(evaluate("ofTest.PyClassName is another.PyClassName"), "True");
    EXPECT_EQ(evaluate("another.PyClassName('a.b.C').getClassName()"), "C");
}

TEST(PyClassNameInPython, GivesTheInterpreterLockUpWhileItMayLog)
{
    const StartedPython python;
    exportInto("ofTest");
    const LogsWhileAnotherEntersPython log;
    runScript("name = ofTest.PyClassName('a.b.C')\n"
              "name.getClassName()\n"
              "name.getModulesAsString()\n"
              "del name\n");
    EXPECT_EQ(log.count(TRACE_LOG_LEVEL), 8U);
}

} // namespace Velmora::Test

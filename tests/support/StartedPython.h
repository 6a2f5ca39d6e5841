// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/Threads.h"
#include "tests/support/VelmoraTree.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace Velmora::Test
{

/// Starts Python for a test, which may add its own modules.
class StartedPython
{
  public:
    StartedPython()
    {
        m_tree.use();
        EXPECT_TRUE(Python::EmbeddedInterpreter::getInstance().initialize());
    }

    /// Creates a module from its text, with the packages that contain it.
    void addModule(const std::string& in_strDottedName, const std::string& in_strText) const
    {
        std::string strPath = in_strDottedName;
        std::replace(strPath.begin(), strPath.end(), '.', '/');
        m_tree.addModule(strPath + ".py", in_strText);
        const Python::InterpreterLock lock;
        boost::python::import("importlib").attr("invalidate_caches")();
    }

  private:
    VelmoraTree m_tree;
};

/// Runs a script in the module "__main__". An exception of the script fails the test.
inline void runScript(const std::string& in_strText)
{
    const Python::InterpreterLock lock;
    const boost::python::object scope = boost::python::import("__main__").attr("__dict__");
    try
    {
        boost::python::exec(in_strText.c_str(), scope, scope);
    }
    catch (const boost::python::error_already_set&)
    {
        PyErr_Print();
        FAIL() << "the script raised";
    }
}

/// Evaluates an expression in the module "__main__" and returns the text form of its value.
inline std::string evaluate(const std::string& in_strExpression)
{
    const Python::InterpreterLock lock;
    const boost::python::object scope = boost::python::import("__main__").attr("__dict__");
    try
    {
        return boost::python::extract<std::string>(
            boost::python::str(boost::python::eval(in_strExpression.c_str(), scope, scope)));
    }
    catch (const boost::python::error_already_set&)
    {
        PyErr_Print();
        return "raised";
    }
}

/// Creates a module, calls `in_fill` in it, as the initialiser of an extension module is called,
/// and imports it into the module "__main__".
template <class Fill>
void makeModule(const char* in_szName, Fill in_fill)
{
    const Python::InterpreterLock lock;
    const boost::python::object module(boost::python::borrowed(PyImport_AddModule(in_szName)));
    {
        const boost::python::scope scope(module);
        in_fill();
    }
    runScript(std::string("import ") + in_szName);
}

/// Calls a function with the interpreter lock held, and returns its result.
template <class Function>
auto locked(Function in_function)
{
    const Python::InterpreterLock lock;
    EXPECT_TRUE(static_cast<bool>(lock));
    return in_function();
}

/// Checks that another thread can enter Python now. Waits forever if this thread holds the
/// interpreter lock, so use it only where the lock must not be held.
inline void enterOnAnotherThread()
{
    onAnotherThread([] { const Python::InterpreterLock lock; });
}

} // namespace Velmora::Test

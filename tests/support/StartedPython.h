#pragma once

#include "tests/support/VelmoraTree.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <utility>

namespace Velmora::Test
{

/// Starts Python for a test, with modules of the test's own.
class StartedPython
{
  public:
    StartedPython()
    {
        m_tree.use();
        EXPECT_TRUE(Python::EmbeddedInterpreter::getInstance().initialize());
    }

    /// Makes a module from its text; its packages come into being with it.
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

/// Runs a script in the module "__main__"; what it raises is a failure of the test.
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

/// The text form of what an expression gives in the module "__main__".
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

/// Makes a module of the name, in which `in_fill` is called as the initialiser of an extension
/// module is.
template <class Fill>
void makeModule(const char* in_szName, Fill in_fill)
{
    const Python::InterpreterLock lock;
    const boost::python::object module(boost::python::borrowed(PyImport_AddModule(in_szName)));
    const boost::python::scope scope(module);
    in_fill();
}

/// Has an object under the lock, in a function that takes it.
template <class Function>
auto locked(Function in_function)
{
    const Python::InterpreterLock lock;
    EXPECT_TRUE(static_cast<bool>(lock));
    return in_function();
}

/// Runs a function on a thread of its own.
template <class Function>
void onThread(Function in_function)
{
    std::thread(std::move(in_function)).join();
}

/// Whether another thread can enter Python now. Waits for ever if this thread holds the lock, so
/// use it where it must not.
inline void enterOnAnotherThread()
{
    onThread([] { const Python::InterpreterLock lock; });
}

} // namespace Velmora::Test

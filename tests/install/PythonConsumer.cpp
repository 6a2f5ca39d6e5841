// SPDX-License-Identifier: BSD-2-Clause

// A program that uses Python: it creates an object of a Python class and calls it.

#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/TSPyObjPtr.h"

#include <iostream>

int main()
{
    if (!Velmora::Python::EmbeddedInterpreter::getInstance().initialize())
        return 1;
    const Velmora::TSPyObjPtr counter =
        Velmora::PyClassName("collections.Counter").getNewInstance();
    const Velmora::Python::InterpreterLock lock;
    counter.attr("update")(boost::python::make_tuple("call", "call"));
    std::cout << "calls: " << boost::python::extract<int>(counter["call"])() << '\n';
}

// A program that scripts: makes an object of a Python class and calls it.

#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/TSPyObjPtr.h"

#include <iostream>
#include <string>

int main()
{
    if (!Velmora::Python::EmbeddedInterpreter::getInstance().initialize())
        return 1;
    const Velmora::TSPyObjPtr counter =
        Velmora::PyClassName("collections.Counter").getNewInstance();
    const Velmora::Python::InterpreterLock lock;
    counter.attr("update")("call");
    const std::string strText = boost::python::extract<std::string>(boost::python::str(counter));
    std::cout << strText << '\n';
}

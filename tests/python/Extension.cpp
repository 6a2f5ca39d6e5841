// SPDX-License-Identifier: BSD-2-Clause

// An extension module of Python that is built on the library. It is imported by `python3`, or by a
// program that does not use the library itself.

#include "tests/support/LogToOutput.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>

using Velmora::Python::EmbeddedInterpreter;
using Velmora::Python::InterpreterLock;

namespace
{

bool initialize() { return EmbeddedInterpreter::getInstance().initialize(); }

void useObjectsForever()
{
    for (int iThread = 0; iThread < 2; ++iThread)
        std::thread(
            []
            {
                while (true)
                {
                    const InterpreterLock lock;
                    if (lock)
                        const boost::python::list list;
                }
            })
            .detach();
}

void holdForever()
{
    std::thread(
        []
        {
            const InterpreterLock lock;
            const Velmora::Python::InterpreterUnlock unlock;
            while (true)
                pause();
        })
        .detach();
}

void fail()
{
    PyErr_SetString(PyExc_ValueError, "text");
    EmbeddedInterpreter::getInstance().logLastPyException();
}

void exitOnWorker()
{
    std::thread([] { std::exit(0); }).detach();
}

bool isMainNamespace(const boost::python::object& in_namespace)
{
    return EmbeddedInterpreter::getInstance().getMainNamespaceInstance() == in_namespace;
}

} // namespace

BOOST_PYTHON_MODULE(extension)
{
    Velmora::Test::logToOutput({});
    boost::python::def("initialize", &initialize);
    boost::python::def("use_objects_forever", &useObjectsForever);
    boost::python::def("hold_forever", &holdForever);
    boost::python::def("fail", &fail);
    boost::python::def("exit_on_worker", &exitOnWorker);
    boost::python::def("is_main_namespace", &isMainNamespace);
}

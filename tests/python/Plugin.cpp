// SPDX-License-Identifier: BSD-2-Clause

// A module that PluginHost opens. It is linked with the library and with Python; its host is not.

#include "tests/support/LogToOutput.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <cstdio>

extern "C" [[gnu::visibility("default")]] int runPlugin()
{
    Velmora::Test::logToOutput({});
    if (!Velmora::Python::EmbeddedInterpreter::getInstance().initialize())
        return 3;
    const Velmora::Python::InterpreterLock lock;
    const int iResult = PyRun_SimpleString("import _ctypes, _ssl, _decimal");
    if (iResult == 0)
        std::puts("imported");
    return iResult == 0 ? 0 : 4;
}

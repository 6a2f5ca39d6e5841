// SPDX-License-Identifier: BSD-2-Clause

// The extension module velmora.infra._infra, which exports the library to scripts.

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/logging/Logger.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PyOutputStreamableImpl.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/module/KnownParameters.h"
#include "velmora/python/module/ScriptAlarm.h"
#include "velmora/system/URL.h"

#include <string>

namespace
{

/// Sets the log level to WARN, the default of an application, unless a level has been set.
void setDefaultLogLevel()
{
    Velmora::Logger logger;
    if (logger.getLogLevel() == Velmora::NOT_SET_LOG_LEVEL)
        logger.setLogLevel(Velmora::WARN_LOG_LEVEL);
}

void warnOfSource(const std::string& in_strText)
{
    // An appender may wait for a thread that waits for Python.
    const Velmora::Python::InterpreterUnlock unlock;
    Velmora::GlobalConfigSeam::warnOfSource(in_strText);
}

bool isCheck() { return Velmora::GlobalConfigSeam::isCheck(); }

std::string urlWithoutSecrets(const std::string& in_strUrl)
{
    return Velmora::URL::withoutSecrets(in_strUrl);
}

} // namespace

BOOST_PYTHON_MODULE(_infra)
{
    using namespace Velmora;
    // In a program that embeds Python this does nothing. In `python3` it makes the library use the
    // interpreter that runs.
    Python::EmbeddedInterpreter& interpreter = Python::EmbeddedInterpreter::getInstance();
    if (!interpreter.initialize())
    {
        PyErr_SetString(PyExc_ImportError,
                        "the library cannot use this interpreter; its log has the reason");
        boost::python::throw_error_already_set();
    }
    if (!interpreter.hasStartedPython())
        setDefaultLogLevel();
    ScriptAlarm::exportToPython();
    AlarmRegistry::exportToPython();
    PyOutputStreamableImpl::exportToPython();
    PyClassName::exportToPython();
    KnownParameters::exportToPython();
    boost::python::def("warnOfSource", warnOfSource, boost::python::arg("text"));
    boost::python::def("isCheck", isCheck);
    boost::python::def("urlWithoutSecrets", urlWithoutSecrets, boost::python::arg("url"));
}

// The extension module velmora.infra._infra: what the library offers to scripts.

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/logging/Logger.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PyOutputStreamableImpl.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/module/ScriptAlarm.h"

namespace
{

/// Logs from WARN on, as an application does that nobody has configured.
void setDefaultLogLevel()
{
    Velmora::Logger logger;
    if (logger.getLogLevel() == Velmora::NOT_SET_LOG_LEVEL)
        logger.setLogLevel(Velmora::WARN_LOG_LEVEL);
}

} // namespace

BOOST_PYTHON_MODULE(_infra)
{
    using namespace Velmora;
    // In a program that embeds Python this has been done; a plain interpreter is taken as it is.
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
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/ConfigPropertiesModel.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/system/URL.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora::Python
{

namespace python = boost::python;

namespace
{

/// Returns the name and the value of an element of the result.
/// Failure: throws `error_already_set` if the element is not a tuple of two strings.
std::pair<std::string, std::string> nameWithValue(PyObject* in_pyNameValue)
{
    if (PyTuple_Check(in_pyNameValue) == 0)
    {
        PyErr_Format(PyExc_TypeError, "expected a tuple of a name and a value, got %R",
                     in_pyNameValue);
        python::throw_error_already_set();
    }
    const char* szParamName = nullptr;
    const char* szParamValue = nullptr;
    const bool bPair = PyArg_ParseTuple(in_pyNameValue, "ss", &szParamName, &szParamValue) != 0;
    if (!bPair)
    {
        {
            // The failed assertion is logged, and an appender may wait for other threads.
            const InterpreterUnlock unlock;
            VELMORA_FILE_ASSERT_TEXT(
                bPair, "PyArg_ParseTuple(pyNameValue.ptr(), \"ss\", &szParamName, &szParamValue)");
        }
        python::throw_error_already_set();
    }
    return {szParamName, szParamValue};
}

/// Keeps imports from writing compiled modules while a check asks, which writes no file.
class BytecodeOfCheck
{
  public:
    BytecodeOfCheck()
    {
        if (GlobalConfigSeam::isCheck())
            m_pFormer = PySys_GetObject(s_szNotWritten);
        if (m_pFormer == nullptr)
            return;
        Py_INCREF(m_pFormer);
        PySys_SetObject(s_szNotWritten, Py_True);
    }
    ~BytecodeOfCheck()
    {
        if (m_pFormer == nullptr)
            return;
        PySys_SetObject(s_szNotWritten, m_pFormer);
        Py_DECREF(m_pFormer);
    }
    BytecodeOfCheck(const BytecodeOfCheck&) = delete;
    BytecodeOfCheck& operator=(const BytecodeOfCheck&) = delete;

  private:
    static constexpr const char* s_szNotWritten = "dont_write_bytecode";
    PyObject* m_pFormer = nullptr;
};

GlobalConfigSeam::DatabaseSource::Parameters askModel(const std::string& in_strUrl)
{
    const BytecodeOfCheck bytecode;
    const python::object model = python::import("velmora.infra.ConfigPropertiesModel");
    const python::list result(
        model.attr("getPropertyNameValuesForGivenSetsAndHostnames")(in_strUrl));
    GlobalConfigSeam::DatabaseSource::Parameters parameters;
    parameters.reserve(static_cast<std::size_t>(PyList_GET_SIZE(result.ptr())));
    // The list keeps its elements. An object for each index and element would cost as much as the
    // rest of the loop.
    for (Py_ssize_t iIndex = 0; iIndex < PyList_GET_SIZE(result.ptr()); ++iIndex)
        parameters.push_back(nameWithValue(PyList_GET_ITEM(result.ptr(), iIndex)));
    return parameters;
}

} // namespace

std::optional<GlobalConfigSeam::DatabaseSource::Parameters>
ConfigPropertiesModel::fetch(const std::string& in_strUrl)
{
    EmbeddedInterpreter& interpreter = EmbeddedInterpreter::getInstance();
    const bool bStarted = interpreter.initialize();
    VELMORA_FILE_ASSERT_TEXT(bStarted, "Python::EmbeddedInterpreter::getInstance(). initialize()");
    if (!bStarted)
        return std::nullopt;
    const InterpreterLock lock;
    if (!lock)
    {
        VELMORA_FILE_LOG_ERROR("cannot ask the database for "
                               << URL::withoutSecrets(in_strUrl)
                               << ": Python ends, or the process was forked");
        return std::nullopt;
    }
    try
    {
        return askModel(in_strUrl);
    }
    catch (const python::error_already_set&)
    {
        interpreter.logLastPyException();
        return std::nullopt;
    }
}

} // namespace Velmora::Python

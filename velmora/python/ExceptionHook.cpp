// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/ExceptionHook.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyRef.h"

#include <algorithm>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(EmbeddedInterpreter)

namespace Velmora::Python
{

namespace
{

// The script imports the module traceback when it reports an exception. `install` has imported it
// before, so it is found even if a script has changed sys.path.
constexpr const char* s_szHookName = "velmora_excepthook";
constexpr const char* s_szScript =
    "def velmora_excepthook(type, value, tb):\n"
    "    import traceback\n"
    "    tb = traceback.format_exception(type, value, tb)\n"
    "    __velmora_native_excepthook__(\"\".join(tb).rstrip('\\n'))\n"
    "import sys\n"
    "sys.excepthook = velmora_excepthook\n"
    "del sys\n"
    "del velmora_excepthook\n";

/// The arguments of an exception hook. Each may be null.
struct Exception
{
    PyRef pType;
    PyRef pValue;
    PyRef pTraceback;
};

/// Returns the pending error, normalised, and clears it.
Exception takePendingError()
{
    PyObject* pType = nullptr;
    PyObject* pValue = nullptr;
    PyObject* pTraceback = nullptr;
    PyErr_Fetch(&pType, &pValue, &pTraceback);
    PyErr_NormalizeException(&pType, &pValue, &pTraceback);
    if (pValue != nullptr && pTraceback != nullptr)
        PyException_SetTraceback(pValue, pTraceback);
    return {PyRef(pType), PyRef(pValue), PyRef(pTraceback)};
}

PyObject* orNone(const PyRef& in_pObject)
{
    return in_pObject == nullptr ? Py_None : in_pObject.get();
}

/// Formats an exception by the module traceback. Returns null, with a pending error, on failure.
PyRef format(const Exception& in_exception)
{
    const PyRef pModule(PyImport_ImportModule("traceback"));
    if (pModule == nullptr)
        return nullptr;
    const PyRef pLines(PyObject_CallMethod(pModule.get(), "format_exception", "OOO",
                                           orNone(in_exception.pType), orNone(in_exception.pValue),
                                           orNone(in_exception.pTraceback)));
    const PyRef pEmpty(PyUnicode_FromString(""));
    if (pLines == nullptr || pEmpty == nullptr)
        return nullptr;
    const PyRef pText(PyUnicode_Join(pEmpty.get(), pLines.get()));
    return pText == nullptr ? nullptr
                            : PyRef(PyObject_CallMethod(pText.get(), "rstrip", "s", "\n"));
}

/// Formats the type and the value only, for when the module traceback fails. Clears its error.
std::string formatShortly(const Exception& in_exception)
{
    PyErr_Clear();
    std::string strText = PyExceptionClass_Check(in_exception.pType.get())
                              ? PyExceptionClass_Name(in_exception.pType.get())
                              : "exception";
    const PyRef pValue(PyObject_Str(orNone(in_exception.pValue)));
    if (pValue != nullptr)
        return strText + ": " + ExceptionHook::toText(pValue.get());
    PyErr_Clear();
    return strText;
}

void log(const std::string& in_strText)
{
    const InterpreterUnlock unlock;
    VELMORA_FILE_LOG_ERROR("Embedded Python Interpreter Exception :\n" << in_strText);
}

void log(const Exception& in_exception)
{
    const PyRef pText = format(in_exception);
    log(pText == nullptr ? formatShortly(in_exception) : ExceptionHook::toText(pText.get()));
}

} // namespace

std::string ExceptionHook::toText(PyObject* in_pString)
{
    const PyRef pBytes(PyUnicode_AsEncodedString(in_pString, "utf-8", "replace"));
    if (pBytes == nullptr)
    {
        PyErr_Clear();
        return "(no text)";
    }
    std::string strText(PyBytes_AS_STRING(pBytes.get()),
                        static_cast<std::size_t>(PyBytes_GET_SIZE(pBytes.get())));
    std::replace(strText.begin(), strText.end(), '\0', '?');
    return strText;
}

void ExceptionHook::excepthook(const boost::python::str& in_text) { log(toText(in_text.ptr())); }

bool ExceptionHook::install(boost::python::object& inout_namespace)
try
{
    boost::python::import("traceback");
    inout_namespace["__velmora_native_excepthook__"] =
        boost::python::make_function(&ExceptionHook::excepthook);
    const PyRef pResult(PyRun_StringFlags(s_szScript, Py_file_input, inout_namespace.ptr(),
                                          inout_namespace.ptr(), nullptr));
    return pResult != nullptr;
}
catch (const boost::python::error_already_set&)
{
    return false;
}

void ExceptionHook::uninstall()
{
    PyObject* const pFound = PySys_GetObject("excepthook");
    if (pFound == nullptr || PyFunction_Check(pFound) == 0)
        return;
    // The hook is recognised by its name, as any function may have replaced it.
    const PyRef pName(PyObject_GetAttrString(pFound, "__name__"));
    if (pName != nullptr && PyUnicode_CompareWithASCIIString(pName.get(), s_szHookName) == 0)
        PySys_SetObject("excepthook", PySys_GetObject("__excepthook__"));
    PyErr_Clear();
}

void ExceptionHook::reportPendingError()
{
    const Exception exception = takePendingError();
    if (exception.pType == nullptr)
        return;
    // A borrowed reference. It is counted below, as the hook itself may replace `sys.excepthook`.
    PyObject* const pFound = PySys_GetObject("excepthook");
    if (pFound == nullptr || pFound == PySys_GetObject("__excepthook__"))
        return log(exception);
    Py_INCREF(pFound);
    const PyRef pHook(pFound);
    const PyRef pResult(PyObject_CallFunctionObjArgs(pHook.get(), exception.pType.get(),
                                                     orNone(exception.pValue),
                                                     orNone(exception.pTraceback), nullptr));
    if (pResult != nullptr)
        return;
    // The hook has failed: log the error that it should have reported, and its own.
    const Exception ofHook = takePendingError();
    log(exception);
    log(ofHook);
}

} // namespace Velmora::Python

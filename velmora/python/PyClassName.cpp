// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/PyClassName.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/python/ExportedClass.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyRef.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/TSPyObjPtr.h"
#include "velmora/python/UnlockedTraceScope.h"
#include "velmora/system/CTokenizer.h"
#include "velmora/system/DottedName.h"

#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(PyClassName)

namespace Velmora
{

namespace
{

namespace python = boost::python;

/// Returns true if `in_strModule` is `in_strOther` or a package that contains it.
bool isOrContains(const std::string& in_strModule, const std::string& in_strOther)
{
    return in_strOther == in_strModule || in_strOther.starts_with(in_strModule + ".");
}

/// Returns true if a ModuleNotFoundError names the module or a package that contains it.
bool saysNotFound(PyObject* in_pException, const std::string& in_strModule)
{
    const Python::PyRef pName(PyObject_GetAttrString(in_pException, "name"));
    const char* const szName =
        pName != nullptr && PyUnicode_Check(pName.get()) ? PyUnicode_AsUTF8(pName.get()) : nullptr;
    PyErr_Clear();
    return szName != nullptr && isOrContains(szName, in_strModule);
}

/// Clears the pending error of a failed import. Reports the error unless it only says that the
/// module itself does not exist, which the caller has logged. A module that exists may fail to
/// import another one; that error is reported.
void clearImportError(const std::string& in_strModule)
{
    PyObject* pType = nullptr;
    PyObject* pException = nullptr;
    PyObject* pTraceback = nullptr;
    PyErr_Fetch(&pType, &pException, &pTraceback);
    PyErr_NormalizeException(&pType, &pException, &pTraceback);
    const bool bKnown = PyErr_GivenExceptionMatches(pType, PyExc_ModuleNotFoundError) != 0 &&
                        saysNotFound(pException, in_strModule);
    PyErr_Restore(pType, pException, pTraceback);
    if (bKnown)
        PyErr_Clear();
    else
        Python::EmbeddedInterpreter::getInstance().logLastPyException();
}

} // namespace

PyClassName::PyClassName(const char* in_szDottedName)
{
    VELMORA_UNLOCKED_TRACE_SCOPE(PyClassName default ctor);
    if (in_szDottedName == nullptr)
        return;
    CTokenizer<CIsFromString>::Tokenize(m_vModules, in_szDottedName, CIsFromString("."));
    if (m_vModules.empty())
        return;
    m_strClassName = std::move(m_vModules.back());
    m_vModules.pop_back();
}

PyClassName::~PyClassName() { VELMORA_UNLOCKED_TRACE_SCOPE(PyClassName dtor); }

const std::string& PyClassName::getClassName() const
{
    VELMORA_UNLOCKED_TRACE_SCOPE(PyClassName::getClassName);
    return m_strClassName;
}

const std::vector<std::string>& PyClassName::getModules() const
{
    VELMORA_UNLOCKED_TRACE_SCOPE(PyClassName::getModules);
    return m_vModules;
}

std::string PyClassName::getModulesAsString() const
{
    VELMORA_UNLOCKED_TRACE_SCOPE(PyClassName::getModulesAsString);
    std::string strModules;
    vectorToDottedString(m_vModules, strModules);
    return strModules;
}

TSPyObjPtr PyClassName::getNewInstance() const
{
    VELMORA_UNLOCKED_TRACE_SCOPE(PyClassName::getNewInstance);
    TSPyObjPtr pInstance;
    if (m_vModules.empty())
    {
        const Python::InterpreterUnlock unlock;
        VELMORA_FILE_LOG_ERROR("Error instanciating Python class \""
                               << m_strClassName
                               << "\". Name must be in \"[Modules.]ModuleName.ClassName\" format, "
                                  "ie at least one module must be provided, none given here.");
        return pInstance;
    }
    const std::string strModules = getModulesAsString();
    const Python::InterpreterLock lock;
    if (!lock)
    {
        VELMORA_FILE_LOG_ERROR("Error instanciating Python class \""
                               << m_strClassName << "\" of module \"" << strModules
                               << "\". Python cannot be entered: it has not been started, has "
                                  "ended, or is about to.");
        return pInstance;
    }
    const Python::PyRef pModule(PyImport_ImportModule(strModules.c_str()));
    if (pModule == nullptr)
    {
        {
            const Python::InterpreterUnlock unlock;
            VELMORA_FILE_LOG_ERROR("Invalid Python module name: \"" << strModules << '"');
        }
        clearImportError(strModules);
        return pInstance;
    }
    try
    {
        const python::object module(python::borrowed(pModule.get()));
        pInstance = module.attr(m_strClassName.c_str())();
    }
    catch (const python::error_already_set&)
    {
        Python::EmbeddedInterpreter::getInstance().logLastPyException();
    }
    return pInstance;
}

void PyClassName::exportToPython()
{
    static constexpr const char* s_szName = "PyClassName";
    if (Python::addExportedClass<PyClassName>(s_szName))
        return;
    python::class_<PyClassName>(s_szName, python::init<const char*>())
        .def("getClassName", &PyClassName::getClassName,
             python::return_value_policy<python::copy_const_reference>())
        .def("getModulesAsString", &PyClassName::getModulesAsString);
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/python/BoostPython.h"

namespace Velmora::Python
{

/// Adds the Python class that an earlier export registered for `T` to the current scope of
/// Boost.Python. A C++ class has one class in Python; registering a second one causes a warning.
/// Returns false if none is registered yet. The caller holds the interpreter lock.
template <class T>
bool addExportedClass(const char* in_szName)
{
    namespace python = boost::python;
    const python::converter::registration* const pRegistration =
        python::converter::registry::query(python::type_id<T>());
    if (pRegistration == nullptr || pRegistration->m_class_object == nullptr)
        return false;
    python::scope().attr(in_szName) = python::object(
        python::borrowed(reinterpret_cast<PyObject*>(pRegistration->m_class_object)));
    return true;
}

} // namespace Velmora::Python

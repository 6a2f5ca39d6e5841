// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/python/BoostPython.h"

#include <memory>

namespace Velmora::Python
{

struct PyRefDeleter
{
    void operator()(PyObject* in_pObject) const { Py_DECREF(in_pObject); }
};

/// Owns a reference to a Python object, for code that calls Python and must not throw. Made from
/// the result of a Python function, it is null if the call failed; the Python error is then
/// pending.
///
/// Thread-safety: may be used and destroyed on any thread that holds the interpreter lock.
using PyRef = std::unique_ptr<PyObject, PyRefDeleter>;

} // namespace Velmora::Python

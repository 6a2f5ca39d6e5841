#pragma once

#include "velmora/python/BoostPython.h"

#include <memory>

namespace Velmora::Python
{

struct PyRefDeleter
{
    void operator()(PyObject* in_pObject) const { Py_DECREF(in_pObject); }
};

/// A reference that its holder owns, for code that calls Python where nothing may be thrown. Null
/// after a failed call, whose error is then pending.
///
/// Thread-safety: any thread that holds the interpreter lock, also when it goes.
using PyRef = std::unique_ptr<PyObject, PyRefDeleter>;

} // namespace Velmora::Python

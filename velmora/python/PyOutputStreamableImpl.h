// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/OutputStreamable.h"
#include "velmora/python/PythonForward.h"

namespace Velmora
{

/// Gives Python's `str()` to a class that can be written to a stream. A class that is exported to
/// Python and is to be printable there derives from this one, and names it among its bases:
///
///     class Line : public PyOutputStreamableImpl { ... };
///     class_<Line, bases<PyOutputStreamableImpl>, boost::noncopyable>("Line", no_init);
///
/// Thread-safety: that of `write`.
class VELMORA_API PyOutputStreamableImpl : public virtual OutputStreamable
{
  public:
    PyOutputStreamableImpl() = default;
    PyOutputStreamableImpl(const PyOutputStreamableImpl&) = default;
    PyOutputStreamableImpl& operator=(const PyOutputStreamableImpl&) = default;
    ~PyOutputStreamableImpl() override;

    /// Returns the text that `write` writes. The text is decoded as UTF-8; invalid bytes become
    /// U+FFFD.
    ///
    /// The caller holds the interpreter lock, which is released while `write` runs. So `write` may
    /// take locks and log; if it uses Python, it takes the interpreter lock itself.
    /// Failure: throws the exceptions of `write`, and `boost::python::error_already_set` if there
    /// is not enough memory.
    // NOLINTNEXTLINE(readability-const-return-type): programs are compiled with this type.
    const boost::python::str toPyString() const;

    /// Adds the class "OutputStreamableImpl" to the current scope of Boost.Python, for the
    /// initialiser of an extension module. Each module may call this; all get the same class. A
    /// module that exports a derived class must first call this, or import a module that has called
    /// it. The caller holds the interpreter lock.
    static void exportToPython();
};

} // namespace Velmora

#pragma once

#include "velmora/application/OutputStreamable.h"
#include "velmora/python/PythonForward.h"

namespace Velmora
{

/// Gives Python's `str()` to whatever can be written to a stream. A class that is exported to
/// Python and is to be printable there derives from it, and names it among its bases:
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

    /// Returns what `write` writes, as UTF-8; bytes that are none become U+FFFD.
    ///
    /// The caller holds the interpreter lock, which is given up while `write` runs: that may take
    /// locks and log, and takes the lock itself if it uses Python.
    /// Failure: what `write` throws; `boost::python::error_already_set` when memory is short.
    // NOLINTNEXTLINE(readability-const-return-type): the type that programs compiled against
    const boost::python::str toPyString() const;

    /// Adds the class "OutputStreamableImpl" to the current scope of Boost.Python, for the
    /// initialiser of an extension module. Each module may do so; all get the same class. A module
    /// with a class that derives from it must have done so, or imported a module that has, before.
    /// The caller holds the interpreter lock.
    static void exportToPython();
};

} // namespace Velmora

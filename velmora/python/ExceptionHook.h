#pragma once

#include "velmora/python/BoostPython.h"

#include <string>

namespace Velmora::Python
{

/// What becomes of a Python exception that nobody catches: it is logged at ERROR with its
/// traceback. The interpreter lock is given up for the logging, as an appender may wait for others.
///
/// Thread-safety: any thread that holds the interpreter lock.
class ExceptionHook
{
  public:
    /// Makes the hook `sys.excepthook`, through a script that runs in that namespace.
    /// Failure: false, with a pending Python error.
    static bool install(boost::python::object& inout_namespace);

    /// Makes Python's own hook `sys.excepthook` again, if it is the one of `install`: that keeps
    /// the namespace alive, and with it all that scripts have made there.
    static void uninstall();

    /// Hands the pending error to `sys.excepthook` and clears it; see
    /// `EmbeddedInterpreter::logLastPyException`.
    static void reportPendingError();

    /// A string of Python's as a line of the log can hold it. What UTF-8 cannot hold becomes "?".
    static std::string toText(PyObject* in_pString);

  private:
    /// What the script calls, with the text of the exception.
    static void excepthook(const boost::python::str& in_text);
};

} // namespace Velmora::Python

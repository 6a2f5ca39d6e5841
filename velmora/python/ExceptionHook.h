// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/python/BoostPython.h"

#include <string>

namespace Velmora::Python
{

/// Logs Python exceptions that no code catches, at ERROR with their traceback. Releases the
/// interpreter lock while it logs, as an appender may wait for other threads.
///
/// Thread-safety: may be called on any thread that holds the interpreter lock.
class ExceptionHook
{
  public:
    /// Installs the hook as `sys.excepthook`, by a script that runs in the given namespace.
    /// Failure: returns false, with a pending Python error.
    static bool install(boost::python::object& inout_namespace);

    /// Restores Python's own hook as `sys.excepthook` if the current one is that of `install`. The
    /// latter keeps the namespace alive, and with it all objects that scripts have made there.
    static void uninstall();

    /// Hands the pending error to `sys.excepthook` and clears it; see
    /// `EmbeddedInterpreter::logLastPyException`.
    static void reportPendingError();

    /// Converts a Python string to a text for the log. Null characters, and characters that UTF-8
    /// cannot encode, become "?". Returns "(no text)" if the conversion fails.
    static std::string toText(PyObject* in_pString);

  private:
    /// Logs the text of an exception. Is called by the script of `install`.
    static void excepthook(const boost::python::str& in_text);
};

} // namespace Velmora::Python

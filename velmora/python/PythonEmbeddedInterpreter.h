// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/CountedObjPtr.h"
#include "velmora/application/MaxCountClass.h"
#include "velmora/memory/InAccount.h"
#include "velmora/python/PythonForward.h"

#include <atomic>
#include <string>
#include <vector>

namespace Velmora
{

class ROConfiguration;

namespace Python
{

/// The parameter with the search path for Python modules, separated by commas. It replaces the
/// search path that Python starts with.
inline constexpr const char* s_szPYTHON_SYS_PATH_PARAM = "keswardin.python.sys.path";

/// The parameter that decides whether the module "pychecker.checker" is imported.
inline constexpr const char* s_szPYTHON_USECHECKER_PARAM = "keswardin.python.useChecker";

/// The Python interpreter of the process: starts Python, sets its search path, reports its errors
/// and ends it.
///
/// The object exists from the loading of the library on. The first `initialize()` starts Python;
/// `configure` and `initializeThread` call it. A program that calls none of them never starts
/// Python. Python's signal handlers are not installed, and the locale of the process and its
/// standard streams are not changed.
///
/// Native code enters Python through an `InterpreterLock`, on any thread, including the one that
/// started Python. No thread keeps the interpreter lock between uses.
///
/// Environment, read by `initialize()` when it starts Python:
/// - `VELMORA`: root of the installation; must be set. Modules are searched for in its directories
///   `lib` (or, if `VELMORA_OUTDIR_STRING` is set, the directory of that name in `lib`),
///   `data/Python-2.5/Lib` and `Python-2.5/Lib`.
/// - `PYTHONHOME`: where Python looks for its own modules after these; set to "." if it is not set.
///   It should be a directory that only root may write to: with "." modules are also loaded from
///   the working directory. Python itself loads modules from there, too, until
///   `keswardin.python.sys.path` replaces the search path. The start of Python checks the working
///   directory and the directories of `VELMORA`. A WARN names those to which users other than root
///   and the user of the process may write.
/// - `PYTHONPATH`: overwritten.
///
/// If Python runs already, as in an extension that `python3` imports, `initialize()` uses that
/// interpreter: environment, exception hook and `sys.argv` are not changed, and `VELMORA` is not
/// needed. The library never ends such a Python; its end waits for native threads that are inside.
///
/// The end: when the exit list deletes the object, no thread may enter any more. The end waits up
/// to 1 s for native threads that are inside Python and for threads of scripts that are not
/// daemons, then ends Python. If some threads are left then, Python stays as it is, and a WARN
/// names the reason. Functions that a script registered with `atexit` run only if Python ends.
///
/// Forks: the child of Python's `os.fork` continues in Python. The child of any other fork of a
/// process in which Python runs neither enters nor ends it; see `InterpreterLock`.
///
/// A Python error that leaves an operation (`boost::python::error_already_set`) belongs to the
/// thread's state in Python. On all threads except the one that started Python, that state is
/// deleted with the thread's outermost `InterpreterLock`, and the error with it. A caller that
/// needs the error holds an `InterpreterLock` around the call.
///
/// Thread-safety: all operations may be called on any thread.
/// Ownership: the exit list's.
class VELMORA_API EmbeddedInterpreter : public MaxCountClass<EmbeddedInterpreter, 1>,
                                        public InAccount<"EmbeddedInterpreter">
{
  public:
    /// Returns the object of the process. Must not be called after the exit list has deleted it.
    static EmbeddedInterpreter& getInstance();

    /// `getInstance` makes the only object; `MaxCountClass` reports any other.
    EmbeddedInterpreter();
    EmbeddedInterpreter(const EmbeddedInterpreter&) = delete;
    EmbeddedInterpreter& operator=(const EmbeddedInterpreter&) = delete;

    /// Ends Python if this object has started it.
    virtual ~EmbeddedInterpreter();

    /// Starts Python, unless it runs. Later calls return true at once.
    ///
    /// Needs the ACE object manager, whose lock it holds until Python has started. May be called
    /// with the interpreter lock held, and then releases it temporarily.
    /// Failure: returns false and logs an ERROR if `VELMORA` is not set, or, with Python's error
    /// message, if Python cannot start. It may be called again. But if Python failed half-way
    /// through its start, for example as its standard library is missing, it can only be started
    /// in a new process.
    bool initialize();

    /// Returns true if `initialize()` has started Python. Returns false if Python ran already, as
    /// in `python3`.
    [[nodiscard]] bool hasStartedPython() const { return m_bInitialized && m_bStartedPython; }

    /// Calls `initialize`, then sets `sys.path` and imports the checker as the two parameters
    /// require. The parameters are read before the interpreter lock is taken.
    /// Failure: returns false if `initialize` fails or Python may not be entered. Throws
    /// `boost::python::error_already_set` if the checker cannot be imported.
    bool configure(const ROConfiguration& in_config);

    /// Calls `initialize` and enters Python once, so that failures occur at the start of a thread.
    void initializeThread();

    /// Returns the `__dict__` of the module "__main__". The caller holds the interpreter lock.
    /// Failure: before `initialize()`, fails an assertion and returns None.
    boost::python::object getMainNamespaceInstance();

    /// Returns the list `sys.path` itself. The caller holds the interpreter lock.
    /// Failure: throws `error_already_set` if `sys.path` is not a list.
    boost::python::list getSysPath();

    /// Empty `sys.path`, add a directory at its end, and add one at its beginning. They take the
    /// interpreter lock themselves.
    /// Failure: throw `error_already_set`. If Python may not be entered, they do nothing, and the
    /// latter two return false.
    void resetSysPath();
    bool appendToSysPath(const char* in_szPath);
    bool prependToSysPath(const char* in_szPath);

    /// Installs a `sys.excepthook` that logs exceptions which a script does not catch, at ERROR
    /// with their traceback. `initialize()` calls this when it has started Python.
    /// Failure: if the hook cannot be installed, logs an ERROR, keeps the old hook and returns
    /// true. Returns false if Python may not be entered.
    bool replaceExceptionHook();

    /// Appends the directories in which the environment says that modules are searched for.
    /// Failure: if `VELMORA` is not set, returns false, logs an ERROR and leaves the argument
    /// unchanged.
    static bool sGetBootstrapSysPath(std::vector<std::string>& out_path);

    /// Reports the pending Python error of this thread through `sys.excepthook` and clears it. This
    /// includes `SystemExit`, which does not end the process. Logs the error itself if the hook
    /// fails or is Python's own, which would write to standard error. Does nothing if no error is
    /// pending.
    void logLastPyException();

  private:
    /// Frees the memory of the object without its destructor, which would drop a reference:
    /// Python may have ended.
    struct NamespaceDeleter
    {
        void operator()(boost::python::object* in_pNamespace) const;
    };

    /// Prepares a Python that runs: stores the main namespace and registers for its end and its
    /// forks.
    bool enterMainNamespace();

    /// Drops the references that keep objects of scripts alive. Called before Python ends, with the
    /// interpreter lock held.
    static void letGoOfPython();

    /// Set once, before `m_bInitialized`.
    CountedBuiltInPtr<boost::python::object, ReferenceCount, NamespaceDeleter> m_pMainNamespace;

    /// Whether Python can be used. Set once, under the lock of the ACE object manager. Read without
    /// a lock.
    std::atomic<bool> m_bInitialized{false};

    /// Whether this object started Python. Set once, before `m_bInitialized`.
    bool m_bStartedPython = false;
};

} // namespace Python

} // namespace Velmora

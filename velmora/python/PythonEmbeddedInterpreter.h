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

/// The search path of Python's modules, separated by commas; replaces the one that Python starts
/// with.
inline constexpr const char* s_szPYTHON_SYS_PATH_PARAM = "keswardin.python.sys.path";

/// Whether the module "pychecker.checker" is imported.
inline constexpr const char* s_szPYTHON_USECHECKER_PARAM = "keswardin.python.useChecker";

/// The Python interpreter of the process: its start, its search path, what becomes of its errors,
/// and its end.
///
/// The object exists from the loading of the library on. Python starts with the first
/// `initialize()`, which `configure` and `initializeThread` call; a program that calls none of them
/// never starts it. Python's signal handlers are not installed, and the locale of the process and
/// its standard streams stay as they are.
///
/// Native code enters Python through an `InterpreterLock`, on any thread, that which started Python
/// included. No thread keeps the interpreter lock between uses.
///
/// Environment, read by `initialize()` when it starts Python:
/// - `VELMORA`: root of the installation; must be set. Modules are searched for in its directories
///   `lib` (with `VELMORA_OUTDIR_STRING` set, the directory of that name in it),
///   `data/Python-2.5/Lib` and `Python-2.5/Lib`.
/// - `PYTHONHOME`: where Python looks for its own modules after that; becomes "." if not set. Set
///   it to a directory that only root may write to: with "." modules are also taken from the
///   working directory. Python takes them from there by itself, too, until
///   `keswardin.python.sys.path` replaces the search path. A directory among these that others than
///   root and the user of the process may write to draws a WARN when Python starts.
/// - `PYTHONPATH`: overwritten.
///
/// Where Python runs already, as in an extension that `python3` imports, `initialize()` uses that
/// one: environment, exception hook and `sys.argv` stay as they are, and `VELMORA` is not needed.
/// Such a Python is never ended here; its end waits for native threads that are inside.
///
/// The end. When the exit list deletes the object, no thread is let in any more. The end waits up
/// to 1 s for native threads that are inside Python and for threads of scripts that are no daemons,
/// then ends Python. If some are left then, Python stays as it is, and a WARN says who was in the
/// way. What a script registered with `atexit` runs only if Python ends.
///
/// Forks. A child of Python's `os.fork` goes on in Python. The child of any other fork of a process
/// in which Python runs neither enters nor ends it; see `InterpreterLock`.
///
/// A Python error that leaves an operation (`boost::python::error_already_set`) belongs to the
/// thread's state in Python. On other threads than the one that started Python that state goes with
/// the thread's outermost `InterpreterLock`, and the error with it: a caller who wants to see the
/// error holds one around the call.
///
/// Thread-safety: all operations may be called on any thread.
/// Ownership: the exit list's.
class VELMORA_API EmbeddedInterpreter : public MaxCountClass<EmbeddedInterpreter, 1>,
                                        public InAccount<"EmbeddedInterpreter">
{
  public:
    /// The object of the process. Must not be called once the exit list has deleted it.
    static EmbeddedInterpreter& getInstance();

    /// `getInstance` makes the only object; a further one is reported by `MaxCountClass`.
    EmbeddedInterpreter();
    EmbeddedInterpreter(const EmbeddedInterpreter&) = delete;
    EmbeddedInterpreter& operator=(const EmbeddedInterpreter&) = delete;

    /// Ends Python if this object has started it.
    virtual ~EmbeddedInterpreter();

    /// Starts Python, unless it runs. Later calls give true at once.
    ///
    /// Needs the ACE object manager, whose lock it holds until it is done. May be called with the
    /// interpreter lock held, which it then gives up for a while.
    /// Failure: false, with an ERROR: `VELMORA` is not set, or Python cannot start, with what
    /// Python says about it. It may be called again; but where Python failed after it had come up
    /// half-way, as without its standard library, only a new process can start it.
    bool initialize();

    /// Whether Python runs because `initialize()` has started it, not in a program of its own.
    [[nodiscard]] bool hasStartedPython() const { return m_bInitialized && m_bStartedPython; }

    /// Initializes, then sets `sys.path` and imports the checker, as the two parameters say. They
    /// are read before the interpreter lock is taken.
    /// Failure: false when `initialize` fails or Python may not be entered.
    /// `boost::python::error_already_set` when the checker cannot be imported.
    bool configure(const ROConfiguration& in_config);

    /// Initializes, and enters Python once, so that what may fail does so at the start of a thread.
    void initializeThread();

    /// The `__dict__` of the module "__main__". The caller holds the interpreter lock.
    /// Failure: None, with an assertion, before `initialize()`.
    boost::python::object getMainNamespaceInstance();

    /// The list `sys.path` itself. The caller holds the interpreter lock.
    /// Failure: `error_already_set` when it is no list.
    boost::python::list getSysPath();

    /// Empties `sys.path`; adds a directory at its end; at its beginning. Take the interpreter lock
    /// themselves.
    /// Failure: `error_already_set`. Where Python may not be entered nothing is done, and the
    /// latter two give false.
    void resetSysPath();
    bool appendToSysPath(const char* in_szPath);
    bool prependToSysPath(const char* in_szPath);

    /// Makes exceptions that a script does not catch errors of the log, with their traceback, by a
    /// `sys.excepthook` of our own. Done by `initialize()`.
    /// Failure: an ERROR, and the hook stays what it was; true all the same. False where Python may
    /// not be entered.
    bool replaceExceptionHook();

    /// Appends the directories of modules that the environment names.
    /// Failure: false, with an ERROR and the output as it was, when `VELMORA` is not set.
    static bool sGetBootstrapSysPath(std::vector<std::string>& out_path);

    /// Reports the pending Python error of this thread through `sys.excepthook` and clears it, also
    /// `SystemExit`, which does not end the process. Where the hook is Python's own, which would
    /// write to standard error, or fails, the error goes to the log. Does nothing without an error.
    void logLastPyException();

  private:
    /// Deletes the object, but lets its reference go only by itself: Python may have ended.
    struct NamespaceDeleter
    {
        void operator()(boost::python::object* in_pNamespace) const;
    };

    bool enterMainNamespace();

    /// Drops what keeps objects of scripts alive, before Python ends, under the interpreter lock.
    static void letGoOfPython();

    /// Set once, before `m_bInitialized`.
    CountedBuiltInPtr<boost::python::object, ReferenceCount, NamespaceDeleter> m_pMainNamespace;

    /// Whether Python can be used. Set once, under the lock of the ACE object manager.
    std::atomic<bool> m_bInitialized{false};

    /// Whether this object started Python. Set once, before `m_bInitialized`.
    bool m_bStartedPython = false;
};

} // namespace Python

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/PythonEmbeddedInterpreter.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/Singleton.h"
#include "velmora/config/Configuration.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/ExceptionHook.h"
#include "velmora/python/InterpreterEnd.h"
#include "velmora/python/InterpreterFork.h"
#include "velmora/python/InterpreterGate.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyRef.h"
#include "velmora/python/UnlockedTraceScope.h"

#include <ace/Guard_T.h>
#include <ace/Object_Manager.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(EmbeddedInterpreter)

namespace Velmora::Python
{

namespace
{

constexpr const char* s_szSingleton = "EmbeddedInterpreter::Singleton";

[[maybe_unused]] const EmbeddedInterpreter* const __force_init_singleton__EmbeddedInterpreter =
    (bringUpLibrary(), &EmbeddedInterpreter::getInstance());

constexpr const char* s_szNoRoot =
    "The VELMORA environment variable must be defined to determine the Python sys.path";

/// Collects the lines about the start, and logs them when it is destroyed. By then the lock under
/// which Python starts has been released: an appender may need that lock.
class StartLog
{
  public:
    StartLog() = default;
    ~StartLog()
    {
        for (const auto& line : m_lines)
            withoutThrowing(::liveFileScopeLogger(), "exception while Python starts",
                            [&line] { VELMORA_FILE_LOG(line.first, line.second); });
    }
    StartLog(const StartLog&) = delete;
    StartLog& operator=(const StartLog&) = delete;

    void add(LogLevel in_level, std::string in_strText)
    {
        m_lines.emplace_back(in_level, std::move(in_strText));
    }

  private:
    std::vector<std::pair<LogLevel, std::string>> m_lines;
};

/// Returns true if users other than root and the user of this process may write to a directory.
bool isWritableByOthers(const std::string& in_strDirectory)
{
    struct stat status
    {
    };
    if (stat(in_strDirectory.c_str(), &status) != 0)
        return false;
    return (status.st_uid != 0 && status.st_uid != geteuid()) ||
           ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0) ||
           (status.st_mode & S_IWOTH) != 0;
}

/// Adds a WARN that names the directories that other users may write to. Checks the working
/// directory as well, as Python loads modules from there whatever PYTHONHOME is.
void warnOfWritableDirectories(StartLog& out_log, std::vector<std::string> in_directories)
{
    in_directories.emplace_back(".");
    std::string strNames;
    for (const std::string& strDirectory : in_directories)
        if (isWritableByOthers(strDirectory))
            strNames += (strNames.empty() ? "\"" : ", \"") + strDirectory + '"';
    if (!strNames.empty())
        out_log.add(WARN_LOG_LEVEL,
                    "Python takes modules from directories that others than root and the user of "
                    "this process may write to : " +
                        strNames +
                        " ; change their permissions, or start the process in another directory "
                        "and set PYTHONHOME and " +
                        s_szPYTHON_SYS_PATH_PARAM);
}

/// Appends the directories that the environment names. Returns false if `VELMORA` is not set.
bool appendBootstrapPath(std::vector<std::string>& out_path)
{
    const char* const szRoot = std::getenv("VELMORA");
    if (szRoot == nullptr)
        return false;
    const std::string strRoot = szRoot;
    const char* const szSubDirectory = std::getenv("VELMORA_OUTDIR_STRING");
    out_path.push_back(strRoot + "/lib" +
                       (szSubDirectory == nullptr ? "" : std::string("/") + szSubDirectory));
    out_path.push_back(strRoot + "/data/Python-2.5/Lib");
    out_path.push_back(strRoot + "/Python-2.5/Lib");
    return true;
}

/// A PyConfig that frees its memory.
class Config
{
  public:
    Config() { PyConfig_InitPythonConfig(&m_config); }
    ~Config() { PyConfig_Clear(&m_config); }
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;

    PyConfig* operator->() { return &m_config; }
    PyConfig* get() { return &m_config; }

  private:
    PyConfig m_config;
};

/// Returns false, and adds an ERROR, if the status is a failure.
bool isStarted(StartLog& out_log, const PyStatus& in_status)
{
    if (PyStatus_Exception(in_status) == 0)
        return true;
    std::string strText = "Failed to start Python : ";
    if (in_status.func != nullptr)
        strText.append(in_status.func).append(": ");
    strText.append(in_status.err_msg == nullptr ? "no reason given" : in_status.err_msg)
        .append(" ; PYTHONHOME is \"")
        .append(std::getenv("PYTHONHOME"))
        .append("\", PYTHONPATH is \"")
        .append(std::getenv("PYTHONPATH"))
        .append("\"");
    out_log.add(ERROR_LOG_LEVEL, std::move(strText));
    return false;
}

/// Starts Python with the current environment. Does not change the locale, the standard streams and
/// the signal handlers of the process.
bool startInterpreter(StartLog& out_log)
{
    // Set if Python failed after it had made a thread state. Such a start can be neither undone nor
    // repeated. Guarded by the lock of the ACE object manager.
    static bool s_bStartedHalfWay = false;
    if (s_bStartedHalfWay)
    {
        out_log.add(ERROR_LOG_LEVEL,
                    "Failed to start Python : it cannot be started in a process in which its start "
                    "has failed before ; restart the process");
        return false;
    }
    PyPreConfig preConfig;
    PyPreConfig_InitPythonConfig(&preConfig);
    preConfig.parse_argv = 0;
    preConfig.configure_locale = 0;
    preConfig.coerce_c_locale = 0;
    preConfig.utf8_mode = 1;
    if (!isStarted(out_log, Py_PreInitialize(&preConfig)))
        return false;
    Config config;
    config->parse_argv = 0;
    config->configure_c_stdio = 0;
    config->install_signal_handlers = 0;
    if (isStarted(out_log, Py_InitializeFromConfig(config.get())))
        return true;
    s_bStartedHalfWay = _PyThreadState_UncheckedGet() != nullptr;
    return false;
}

/// Makes the symbols of Python global. If this library was opened with RTLD_LOCAL, they are local,
/// but the extension modules of Python's standard library need them.
void makePythonGlobal()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&Py_IsInitialized), &info) != 0)
        dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL);
}

/// Sets a variable of the environment. Returns false, and adds an ERROR, if that fails.
bool setVariable(StartLog& out_log, const char* in_szName, const char* in_szValue,
                 bool in_bOverwrite)
{
    if (setenv(in_szName, in_szValue, in_bOverwrite ? 1 : 0) == 0)
        return true;
    const int iError = errno;
    out_log.add(ERROR_LOG_LEVEL, std::string("Failed to start Python : cannot set ") + in_szName +
                                     " : " + std::strerror(iError));
    return false;
}

/// Sets the environment variables and starts Python. On return no thread holds the interpreter
/// lock.
/// Failure: returns false if Python cannot start.
bool startPython(StartLog& out_log)
{
    if (!setVariable(out_log, "PYTHONHOME", ".", false))
        return false;
    std::vector<std::string> bootstrapPath;
    if (!appendBootstrapPath(bootstrapPath))
    {
        out_log.add(ERROR_LOG_LEVEL, s_szNoRoot);
        return false;
    }
    std::string strPath;
    for (const std::string& strDirectory : bootstrapPath)
        strPath += strDirectory + ':';
    if (!setVariable(out_log, "PYTHONPATH", strPath.c_str(), true))
        return false;
    makePythonGlobal();
    warnOfWritableDirectories(out_log, bootstrapPath);
    if (!startInterpreter(out_log))
        return false;
    InterpreterGate::ofProcess().setStartState(PyThreadState_Get());
    // Python starts with the interpreter lock held by this thread.
    PyEval_SaveThread();
    return true;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
/// Sets `sys.argv` to a list of one empty string.
void setEmptyArguments()
{
    wchar_t szEmpty[] = L"";
    wchar_t* arguments[] = {szEmpty};
    PySys_SetArgv(1, arguments);
}
#pragma GCC diagnostic pop

PyRef pathFrom(std::string_view in_strPath)
{
    PyRef pPath(PyUnicode_DecodeFSDefaultAndSize(in_strPath.data(),
                                                 static_cast<Py_ssize_t>(in_strPath.size())));
    if (pPath == nullptr)
        boost::python::throw_error_already_set();
    return pPath;
}

boost::python::object pathObject(std::string_view in_strPath)
{
    return boost::python::object(boost::python::handle<>(pathFrom(in_strPath).release()));
}

} // namespace

void EmbeddedInterpreter::NamespaceDeleter::operator()(boost::python::object* in_pNamespace) const
{
    // If Python has not ended, it was left as it is, and a thread may still use the namespace.
    if (Py_IsInitialized() == 0)
        ::operator delete(in_pNamespace);
}

EmbeddedInterpreter& EmbeddedInterpreter::getInstance()
{
    static EmbeddedInterpreter* const pSingleton = []
    {
        // If another copy of the library has registered its object, no second one is made.
        void* const pFound = SingletonRegistry::getInstance()->find(s_szSingleton);
        return pFound == nullptr ? registerSingleton(s_szSingleton, new EmbeddedInterpreter)
                                 : static_cast<EmbeddedInterpreter*>(pFound);
    }();
    return *pSingleton;
}

EmbeddedInterpreter::EmbeddedInterpreter()
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter ctor);
}

EmbeddedInterpreter::~EmbeddedInterpreter()
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter dtor);
    if (!m_bInitialized || !m_bStartedPython || Py_IsInitialized() == 0)
        return;
    bool bPrepared = false;
    if (withoutThrowing(::liveFileScopeLogger(), "exception while Python ends",
                        [&bPrepared]
                        {
                            bPrepared = InterpreterEnd::prepare();
                            if (bPrepared)
                                letGoOfPython();
                        }) &&
        bPrepared)
        Py_FinalizeEx();
}

void EmbeddedInterpreter::letGoOfPython()
{
    *getInstance().m_pMainNamespace = boost::python::object();
    ExceptionHook::uninstall();
}

bool EmbeddedInterpreter::sGetBootstrapSysPath(std::vector<std::string>& out_path)
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::getBootstrapSysPath);
    if (appendBootstrapPath(out_path))
        return true;
    const InterpreterUnlock unlock;
    VELMORA_FILE_LOG_ERROR(s_szNoRoot);
    return false;
}

bool EmbeddedInterpreter::initialize()
{
    if (m_bInitialized)
        return true;
    InterpreterGate& gate = InterpreterGate::ofProcess();
    if (gate.state() == InterpreterGate::State::forked)
    {
        // The parent may have been starting Python on another thread, which held the lock below
        // and does not exist in this process.
        gate.reportFork();
        return false;
    }
    // The lock of the ACE object manager is taken before the interpreter lock.
    const InterpreterUnlock unlock;
    ACE_Recursive_Thread_Mutex* pMutex = nullptr;
    const bool bGotLock = ACE_Object_Manager::get_singleton_lock(pMutex) == 0;
    VELMORA_FILE_ASSERT_TEXT(bGotLock, "ACE_Object_Manager::get_singleton_lock(pMutex) == 0");
    if (!bGotLock)
        return false;
    VELMORA_FILE_ASSERT_TEXT(pMutex != nullptr, "pMutex != 0");
    if (pMutex == nullptr)
        return false;
    // Declared before the guard, so that it logs after the lock has been released.
    StartLog log;
    const ACE_Guard<ACE_Recursive_Thread_Mutex> guard(*pMutex);
    // Another thread may have started Python while this one waited.
    if (m_bInitialized)
        return true;
    if (Py_IsInitialized() == 0)
    {
        // A child that another thread forks while this runs must not use Python.
        gate.setStarting(true);
        m_bStartedPython = startPython(log);
        gate.setStarting(false);
        if (!m_bStartedPython)
            return false;
    }
    m_bInitialized = enterMainNamespace();
    return m_bInitialized;
}

bool EmbeddedInterpreter::enterMainNamespace()
{
    const InterpreterLock lock;
    if (!lock)
        return false;
    try
    {
        m_pMainNamespace = decltype(m_pMainNamespace)(
            new boost::python::object(boost::python::import("__main__").attr("__dict__")));
    }
    catch (const boost::python::error_already_set&)
    {
        logLastPyException();
        return false;
    }
    if (!InterpreterEnd::watchEndOfPython(&EmbeddedInterpreter::letGoOfPython) ||
        !InterpreterFork::watchForksOfPython())
    {
        logLastPyException();
        return false;
    }
    // A Python that the program has started keeps its hook and its arguments.
    if (m_bStartedPython)
    {
        replaceExceptionHook();
        setEmptyArguments();
    }
    return true;
}

bool EmbeddedInterpreter::replaceExceptionHook()
{
    const InterpreterLock lock;
    if (!lock)
        return false;
    if (!ExceptionHook::install(*m_pMainNamespace))
    {
        logLastPyException();
        const InterpreterUnlock unlock;
        VELMORA_FILE_LOG_ERROR("Failed to install the velmora excepthook in the Python embedded "
                               "interpreter");
    }
    return true;
}

void EmbeddedInterpreter::logLastPyException()
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::logLastPyException);
    const InterpreterLock lock;
    if (lock)
        ExceptionHook::reportPendingError();
}

bool EmbeddedInterpreter::configure(const ROConfiguration& in_config)
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::configure);
    if (!initialize())
        return false;
    // Read without the interpreter lock: a thread that has locked the configuration may wait for
    // the interpreter lock.
    std::string strPath;
    bool bChecker = false;
    bool bPathDefined = false;
    {
        const InterpreterUnlock unlock;
        bPathDefined = in_config.getStringParameter(s_szPYTHON_SYS_PATH_PARAM, strPath);
        if (!bPathDefined)
            VELMORA_FILE_LOG_DEBUG("The parameter " << s_szPYTHON_SYS_PATH_PARAM
                                                    << " is not defined.");
        bChecker = in_config.getBoolParameter(s_szPYTHON_USECHECKER_PARAM, bChecker) && bChecker;
    }
    const InterpreterLock lock;
    if (!lock)
        return false;
    if (bPathDefined)
    {
        resetSysPath();
        boost::python::list path = getSysPath();
        for (std::size_t uiStart = 0, uiEnd = 0; uiEnd != std::string::npos; uiStart = uiEnd + 1)
        {
            uiEnd = strPath.find(',', uiStart);
            path.append(pathObject(std::string_view(strPath).substr(
                uiStart, uiEnd == std::string::npos ? uiEnd : uiEnd - uiStart)));
        }
    }
    if (bChecker)
    {
        {
            const InterpreterUnlock unlock;
            VELMORA_FILE_LOG_INFO("Embedded Python interpreter using the pychecker module.");
        }
        boost::python::import("pychecker.checker");
    }
    return true;
}

void EmbeddedInterpreter::initializeThread()
{
    if (!m_bInitialized)
        initialize();
    const InterpreterLock lock;
}

boost::python::object EmbeddedInterpreter::getMainNamespaceInstance()
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::getMainNamespace);
    const bool bInitialized = m_bInitialized;
    VELMORA_FILE_ASSERT_TEXT(bInitialized, "m_bInitialized");
    return bInitialized ? *m_pMainNamespace : boost::python::object();
}

boost::python::list EmbeddedInterpreter::getSysPath()
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::getSysPath);
    return boost::python::extract<boost::python::list>(boost::python::import("sys").attr("path"));
}

void EmbeddedInterpreter::resetSysPath()
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::resetSysPath);
    const InterpreterLock lock;
    if (!lock)
        return;
    boost::python::list path = getSysPath();
    while (boost::python::len(path) > 0)
        path.pop();
}

bool EmbeddedInterpreter::appendToSysPath(const char* in_szPath)
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::appendToSysPath);
    const InterpreterLock lock;
    if (!lock)
        return false;
    getSysPath().append(pathObject(in_szPath));
    return true;
}

bool EmbeddedInterpreter::prependToSysPath(const char* in_szPath)
{
    VELMORA_UNLOCKED_TRACE_SCOPE(EmbeddedInterpreter::prependToSysPath);
    const InterpreterLock lock;
    if (!lock)
        return false;
    getSysPath().insert(0, pathObject(in_szPath));
    return true;
}

} // namespace Velmora::Python

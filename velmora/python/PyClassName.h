#pragma once

#include "velmora/Export.h"

#include <string>
#include <vector>

namespace Velmora
{

class TSPyObjPtr;

/// The dotted name of a Python class, as a configuration holds it, and a way to make an object of
/// that class:
///
///     const PyClassName className("site.alarms.Door");   // class Door of the module site.alarms
///     const TSPyObjPtr door = className.getNewInstance();
///
/// A program that calls `getNewInstance` includes TSPyObjPtr.h.
///
/// Thread-safety: that of its strings; `getNewInstance` takes the interpreter lock itself.
class VELMORA_API PyClassName
{
  public:
    /// Splits the name at its dots, runs of which count as one: the last part is the class, those
    /// before it are the modules. A null pointer and a text without a part leave everything empty.
    explicit PyClassName(const char* in_szDottedName);
    PyClassName(const PyClassName&) = default;
    PyClassName& operator=(const PyClassName&) = default;
    virtual ~PyClassName();

    [[nodiscard]] const std::string& getClassName() const;
    [[nodiscard]] const std::vector<std::string>& getModules() const;

    /// Returns the modules joined by ".".
    [[nodiscard]] std::string getModulesAsString() const;

    /// Imports the module, calls the class without arguments and returns the result. Python must
    /// have been started (`Python::EmbeddedInterpreter`). May be called with the interpreter lock
    /// held, which it gives up for a while.
    ///
    /// Failure: a handle to None, with an ERROR; never a Python exception, and none is left
    /// pending. A name without a module and a module that is not there are logged by one line of
    /// "keswardin.infra.PyClassName". Where the module is there but its import fails, that line is
    /// followed by the exception with its traceback, through `sys.excepthook`. The latter alone
    /// reports a class that is not in the module and a constructor that raises. `SystemExit` is
    /// reported like any other exception and does not end the process.
    [[nodiscard]] TSPyObjPtr getNewInstance() const;

    /// Adds the class "PyClassName" to the current scope of Boost.Python, for the initialiser of an
    /// extension module. Each module may do so; all get the same class. The caller holds the
    /// interpreter lock.
    static void exportToPython();

  private:
    std::string m_strClassName;
    std::vector<std::string> m_vModules;
};

} // namespace Velmora

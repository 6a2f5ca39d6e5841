// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>
#include <vector>

namespace Velmora
{

class TSPyObjPtr;

/// The dotted name of a Python class, as it appears in a configuration. Can make an object of that
/// class:
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
    /// Splits the name at its dots; several dots in a row count as one. The last part is the class,
    /// the parts before it are the modules. For a null pointer, and for a text without any part,
    /// all parts are empty.
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
    /// held, and then releases it temporarily.
    ///
    /// Failure: returns a handle to None and logs an ERROR. Never throws a Python exception, and
    /// leaves none pending. A name without a module, and a module that does not exist, are logged
    /// by one line of "keswardin.infra.PyClassName". If the module exists but its import fails, the
    /// exception follows that line, with its traceback, through `sys.excepthook`. A class that is
    /// missing in the module, and a constructor that raises, are reported by the exception alone.
    /// `SystemExit` is reported like any other exception and does not end the process.
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

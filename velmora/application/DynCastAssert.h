// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <typeinfo>

namespace Velmora
{

class Logger;

/// Logs the failures of a checked downcast, at ERROR. A failure neither aborts nor counts as a
/// failed check of a unit test.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API DynCastAssertNoT
{
  public:
    /// Returns the logger `keswardin.infra.DynCastAssert`.
    static const Logger& getLogger();

    /// Logs "`expr` is of type (`type`)", with file and line. `in_szTypeIdName` is the name from
    /// `std::type_info`; its leading digits are left out.
    static void typeIdError(const char* in_szTypeIdName, const char* in_szExpression,
                            const char* in_szFile, int in_iLine, const Logger& in_logger);

    /// Logs "`expr` == 0", with file and line.
    static void nullBaseError(const char* in_szExpression, const char* in_szFile, int in_iLine,
                              const Logger& in_logger);
};

/// Casts down, and logs a line if it cannot. Returns null if the base is null or the object is not
/// a `Derived`.
///
/// Thread-safety: may be called on any thread.
template <class Derived, class Base>
Derived* dynCastAssert(Base* in_pBase, const char* in_szExpression, const char* in_szFile,
                       int in_iLine, const Logger& in_logger = DynCastAssertNoT::getLogger())
{
    if (in_pBase == nullptr)
    {
        DynCastAssertNoT::nullBaseError(in_szExpression, in_szFile, in_iLine, in_logger);
        return nullptr;
    }
    Derived* const pDerived = dynamic_cast<Derived*>(in_pBase);
    if (pDerived == nullptr)
        DynCastAssertNoT::typeIdError(typeid(*in_pBase).name(), in_szExpression, in_szFile,
                                      in_iLine, in_logger);
    return pDerived;
}

} // namespace Velmora

/// Casts the pointer `base` down to `Derived*`. The log line has the text of `base`, the file and
/// the line.
#define VELMORA_DYN_CAST_ASSERT(Derived, base) \
    ::Velmora::dynCastAssert<Derived>((base), #base, __FILE__, __LINE__)

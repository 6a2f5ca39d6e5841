#pragma once

#include "velmora/Export.h"

#include <typeinfo>

namespace Velmora
{

class Logger;

/// The reports of a checked downcast. They log at ERROR and do no more: they neither abort nor
/// count in a unit test.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API DynCastAssertNoT
{
  public:
    /// The logger `keswardin.infra.DynCastAssert`.
    static const Logger& getLogger();

    /// "`expr` is of type (`type`)", and the place. `in_szTypeIdName` is what `std::type_info`
    /// gives; its leading digits are left out.
    static void typeIdError(const char* in_szTypeIdName, const char* in_szExpression,
                            const char* in_szFile, int in_iLine, const Logger& in_logger);

    /// "`expr` == 0", and the place.
    static void nullBaseError(const char* in_szExpression, const char* in_szFile, int in_iLine,
                              const Logger& in_logger);
};

/// A downcast that tells when it fails. Gives null for a null base and for an object that is no
/// `Derived`.
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

/// Downcasts the pointer `base` to `Derived*`, with the text of `base` and the place in the report.
#define VELMORA_DYN_CAST_ASSERT(Derived, base) \
    ::Velmora::dynCastAssert<Derived>((base), #base, __FILE__, __LINE__)

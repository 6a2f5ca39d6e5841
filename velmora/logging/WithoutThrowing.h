// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <memory>
#include <type_traits>

namespace Velmora
{

class Logger;

/// Logs the exception that is being handled at ERROR, as `withoutThrowing` does. Used in the
/// handler of an operation that returns a result whatever fails:
///
///     catch (...)
///     {
///         logCaughtException(::liveFileScopeLogger(), "failed to load the configuration");
///         return false;
///     }
///
/// Thread-safety: may be called from any thread.
VELMORA_API void logCaughtException(const Logger* in_pLogger, const char* in_szWhat) noexcept;

/// Does the same, and names what the operation was about: "what subject : the exception's text".
VELMORA_API void logCaughtExceptionAbout(const Logger* in_pLogger, const char* in_szWhat,
                                         const char* in_szSubject) noexcept;

/// The part of `withoutThrowing` that does not depend on the type of the function.
VELMORA_API bool runWithoutThrowing(const Logger* in_pLogger, const char* in_szWhat,
                                    const char* in_szSubject, void (*in_pRun)(void*),
                                    void* inout_pFunction) noexcept;

/// Does the same as `withoutThrowing`, and names what the function is about: "what subject : the
/// exception's text".
template <class Function>
bool withoutThrowingAbout(const Logger* in_pLogger, const char* in_szWhat, const char* in_szSubject,
                          Function&& in_function) noexcept
{
    using FunctionType = std::remove_reference_t<Function>;
    return runWithoutThrowing(
        in_pLogger, in_szWhat, in_szSubject,
        [](void* inout_pFunction) { (*static_cast<FunctionType*>(inout_pFunction))(); },
        const_cast<void*>(static_cast<const void*>(std::addressof(in_function))));
}

/// Runs a function that must not throw, such as the work of a destructor or the end of a call. An
/// exception is caught, and logged once at ERROR as "what : the exception's text". Returns whether
/// the function ended without an exception.
///
///     withoutThrowing(::liveFileScopeLogger(), "exception while a task ends", [this] { end(); });
///
/// The line goes to each appender in the logger's chain separately, so an appender that throws does
/// not keep it from the others. If no appender takes it, or if the logger is null, it goes to
/// standard error, where it is written even without memory.
///
/// While uses are nested on a thread, a text is not logged twice in a row: an appender that throws
/// at each of several lines causes one line.
///
/// Thread-safety: may be called from any thread.
template <class Function>
bool withoutThrowing(const Logger* in_pLogger, const char* in_szWhat,
                     Function&& in_function) noexcept
{
    return withoutThrowingAbout(in_pLogger, in_szWhat, "", in_function);
}

} // namespace Velmora

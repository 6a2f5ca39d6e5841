#pragma once

#include "velmora/Export.h"

#include <memory>
#include <type_traits>

namespace Velmora
{

class Logger;

/// Logs the exception that is being handled at ERROR, as `withoutThrowing` does: for the handler of
/// an operation that gives a result whatever fails.
///
///     catch (...)
///     {
///         logCaughtException(::liveFileScopeLogger(), "failed to load the configuration");
///         return false;
///     }
///
/// Thread-safety: may be called on any thread.
VELMORA_API void logCaughtException(const Logger* in_pLogger, const char* in_szWhat) noexcept;

/// The part of `withoutThrowing` that does not depend on the function.
VELMORA_API bool runWithoutThrowing(const Logger* in_pLogger, const char* in_szWhat,
                                    void (*in_pRun)(void*), void* inout_pFunction) noexcept;

/// Runs what must not throw: what a destructor does, the end of a call. What it throws goes no
/// further, and is logged once at ERROR as "what : the exception's text". Gives whether it came to
/// its end.
///
///     withoutThrowing(::liveFileScopeLogger(), "exception while a call ends", [this] { end(); });
///
/// The line goes to each appender in the logger's chain by itself, so that one which throws keeps
/// it from none of the others; where no appender takes it, it goes to standard error. With a null
/// logger it goes there at once. It is written there even without memory.
///
/// Of uses within one another on a thread, a text that has been logged is not logged again: an
/// appender that throws at each of the lines of an end is one line.
///
/// Thread-safety: may be called on any thread.
template <class Function>
bool withoutThrowing(const Logger* in_pLogger, const char* in_szWhat,
                     Function&& in_function) noexcept
{
    using FunctionType = std::remove_reference_t<Function>;
    return runWithoutThrowing(
        in_pLogger, in_szWhat,
        [](void* inout_pFunction) { (*static_cast<FunctionType*>(inout_pFunction))(); },
        const_cast<void*>(static_cast<const void*>(std::addressof(in_function))));
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Object.h"
#include "velmora/logging/LogLevel.h"

#include <array>

namespace Velmora
{

/// The call stack of the thread that constructs the object, with the innermost function first:
///
///     StackTrace().log(WARN_LOG_LEVEL);
///
/// It holds 50 functions at most. The first is the constructor itself. Each function has its image
/// and an address, and also its name if the image exports it.
///
/// Logs on "keswardin.infra.StackTrace".
///
/// Failure: if there is no memory for the texts, both operations report that and do nothing else.
/// Thread-safety: the object does not change after construction; all operations may be called on
/// any thread. Must not be used in signal handlers, as it allocates memory.
class VELMORA_API StackTrace : public virtual Object
{
  public:
    StackTrace();
    StackTrace(const StackTrace&) = delete;
    StackTrace& operator=(const StackTrace&) = delete;
    ~StackTrace() override;

    /// Writes a line "[thread] text" for each function to standard error, with the number of the
    /// calling thread.
    virtual void print() const;

    /// Logs a line "[thread] text" for each function, with the number of the calling thread. The
    /// level is DEBUG, INFO, WARN, ERROR or FATAL. Any other value, including TRACE, logs at ERROR.
    virtual void log(LogLevel in_logLevel) const;

  private:
    std::array<void*, 50> m_addresses;
    char** m_pSymbols;
    int m_iFrames;
};

} // namespace Velmora

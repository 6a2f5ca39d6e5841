#pragma once

#include "velmora/Export.h"
#include "velmora/application/Object.h"
#include "velmora/logging/LogLevel.h"

#include <array>

namespace Velmora
{

/// The functions that the calling thread stood in when the object was made, the innermost first:
///
///     StackTrace().log(WARN_LOG_LEVEL);
///
/// At most 50 are kept. The first is the constructor itself. A function has a name where its image
/// exports it, and the image and an address in any case.
///
/// Logs on "keswardin.infra.StackTrace".
///
/// Failure: where there is no memory for the texts, both operations say so and do nothing else.
/// Thread-safety: nothing changes after construction; all operations may be called on any thread.
/// Not for signal handlers, as memory is allocated.
class VELMORA_API StackTrace : public virtual Object
{
  public:
    StackTrace();
    StackTrace(const StackTrace&) = delete;
    StackTrace& operator=(const StackTrace&) = delete;
    ~StackTrace() override;

    /// Writes a line "[thread] text" for each function to standard error. The thread is the one
    /// that calls this.
    virtual void print() const;

    /// Logs a line "[thread] text" for each function at a level, which is DEBUG, INFO, WARN, ERROR
    /// or FATAL; any other value, TRACE too, logs at ERROR. The thread is the one that calls this.
    virtual void log(LogLevel in_logLevel) const;

  private:
    std::array<void*, 50> m_addresses;
    char** m_pSymbols;
    int m_iFrames;
};

} // namespace Velmora

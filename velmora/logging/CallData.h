#pragma once

#include "velmora/application/Object.h"

#include <log4cplus/appender.h>

namespace Velmora
{

/// What all that take part in a call have in common.
///
/// Ownership: the `CallDataRegistry`'s, as long as there are handles on the call.
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API CallData : public virtual Object
{
  public:
    CallData() = default;
    CallData(const CallData&) = delete;
    CallData& operator=(const CallData&) = delete;
    ~CallData() override;

    /// The id of the call; it does not change.
    /// Ownership: this object's.
    [[nodiscard]] virtual const char* getCallId() const = 0;

    /// The appender of the call's own file. The first time it is asked for, the file is made; null
    /// then and from then on when this call has none.
    virtual log4cplus::SharedAppenderPtr getAppender() = 0;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Object.h"

#include <log4cplus/appender.h>

namespace Velmora
{

/// The data that all participants of a call share.
///
/// Ownership: owned by the `CallDataRegistry`, while there are handles on the call.
/// Thread-safety: all operations may be called from any thread.
class VELMORA_API CallData : public virtual Object
{
  public:
    CallData() = default;
    CallData(const CallData&) = delete;
    CallData& operator=(const CallData&) = delete;
    ~CallData() override;

    /// Returns the id of the call, which does not change.
    /// Ownership: owned by this object.
    [[nodiscard]] virtual const char* getCallId() const = 0;

    /// Returns the appender of the call's own file, which the first call of this function makes.
    /// Returns null if this call has no file; that does not change later.
    virtual log4cplus::SharedAppenderPtr getAppender() = 0;
};

} // namespace Velmora

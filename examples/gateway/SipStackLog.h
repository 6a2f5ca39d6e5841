// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "StackCallback.h"

#include "velmora/logging/CachedLLLogger.h"

#include <sofia-sip/su_log.h>

#include <cstdarg>
#include <string>

namespace GatewayExample
{

/// Logs the lines of the SIP stack's own log at DEBUG, to "keswardin.gateway.SipStack", during the
/// lifetime of this object. There may be only one. What the stack reports by `perror` is logged
/// there at WARN while the process lives.
class SipStackLog
{
  public:
    SipStackLog();
    ~SipStackLog();
    SipStackLog(const SipStackLog&) = delete;
    SipStackLog& operator=(const SipStackLog&) = delete;

    /// The last line since the last `forget`. After a failure of the stack it is the reason.
    [[nodiscard]] const std::string& lastLine() const { return m_strLastLine; }
    void forget() { m_strLastLine.clear(); }

  private:
    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] static FailureLine failureLine()
    {
        return {nullptr, "a line of the SIP stack is lost"};
    }
    void append(const char* in_szFormat, va_list in_arguments);

    su_logger_f* m_pFormerLogger;
    void* m_pFormerStream;
    Velmora::CachedLLLogger m_logger{"keswardin.gateway.SipStack"};
    std::string m_strLastLine;
};

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#include "SipStackLog.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.SipStack")

// The SIP stack reports some failures by this function, which writes to standard error in the C
// library.
extern "C" [[gnu::visibility("default")]] void perror(const char* in_szText)
{
    const int iError = errno;
    Velmora::withoutThrowing(liveFileScopeLogger(), "a line of the SIP stack is lost",
                             [in_szText, iError]
                             {
                                 VELMORA_FILE_LOG_WARN((in_szText != nullptr ? in_szText : "")
                                                       << " : " << std::strerror(iError));
                             });
}

namespace GatewayExample
{

SipStackLog::SipStackLog()
    : m_pFormerLogger(su_log_default->log_logger), m_pFormerStream(su_log_default->log_stream)
{
    su_log_redirect(nullptr, StackCallback<&SipStackLog::append>::logLine, StackContext(this));
}

SipStackLog::~SipStackLog() { su_log_redirect(nullptr, m_pFormerLogger, m_pFormerStream); }

void SipStackLog::append(const char* in_szFormat, va_list in_arguments)
{
    std::array<char, 1024> text{};
    std::vsnprintf(text.data(), text.size(), in_szFormat, in_arguments);
    std::string_view strText = text.data();
    while (strText.ends_with('\n'))
        strText.remove_suffix(1);
    m_strLastLine = strText;
    VELMORA_LOG(m_logger, Velmora::DEBUG_LOG_LEVEL, strText);
}

} // namespace GatewayExample

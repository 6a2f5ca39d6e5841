// SPDX-License-Identifier: BSD-2-Clause

#include "SipStackLog.h"

#include "velmora/logging/LogMacros.h"

#include <array>
#include <cstdio>
#include <string_view>

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

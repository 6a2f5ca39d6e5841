// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Log4cplusBackend.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Priority.h>
#include <ace/Log_Record.h>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Log4cplusBackend)

namespace Velmora
{

namespace
{

LogLevel levelOf(ACE_Log_Priority in_priority)
{
    switch (in_priority)
    {
    case LM_SHUTDOWN:
    case LM_TRACE:
    case LM_STARTUP:
        return TRACE_LOG_LEVEL;
    case LM_DEBUG:
        return DEBUG_LOG_LEVEL;
    case LM_INFO:
        return INFO_LOG_LEVEL;
    case LM_NOTICE:
    case LM_WARNING:
        return WARN_LOG_LEVEL;
    case LM_ERROR:
        return ERROR_LOG_LEVEL;
    default:
        return FATAL_LOG_LEVEL;
    }
}

void logOn(const Logger& in_logger, LogLevel in_level, const char* in_szText)
{
    if (in_level == TRACE_LOG_LEVEL)
        in_logger.log(in_level, in_szText, nullptr, -1);
    else
        VELMORA_LOG(in_logger, in_level, in_szText);
}

/// Releases the lock of ACE's log for a scope. ACE calls a backend under that lock, but an appender
/// may log through ACE while another thread's line of ACE waits for that appender. The lock is
/// taken back before the thread leaves the gate, so that a fork waits for threads that wait for the
/// lock.
class WithoutLockOfACE
{
  public:
    WithoutLockOfACE()
        : m_pLog(ACE_Log_Msg::instance()), m_bHeld(m_pLog != nullptr && m_pLog->release() != -1)
    {
        ProcessGate::enter();
    }
    ~WithoutLockOfACE()
    {
        if (m_bHeld)
            m_pLog->acquire();
        ProcessGate::leave();
    }
    WithoutLockOfACE(const WithoutLockOfACE&) = delete;
    WithoutLockOfACE& operator=(const WithoutLockOfACE&) = delete;

  private:
    ACE_Log_Msg* m_pLog;
    bool m_bHeld;
};

} // namespace

Log4cplusBackend::Log4cplusBackend() = default;

Log4cplusBackend::~Log4cplusBackend() { Log4cplusBackend::close(); }

int Log4cplusBackend::open(const char*) { return 0; }

int Log4cplusBackend::reset() { return close(); }

int Log4cplusBackend::close() { return 0; }

ssize_t Log4cplusBackend::log(ACE_Log_Record& in_record)
{
    const WithoutLockOfACE withoutLock;
    const LogLevel level = levelOf(static_cast<ACE_Log_Priority>(in_record.type()));
    const Logger* const pLogger = getLiveLogger();
    // ACE is not written for exceptions, and logs in destructors.
    withoutThrowing(pLogger, "exception while a line of ACE is logged",
                    [&]
                    {
                        // ACE may still log after the exit list has deleted the file's logger.
                        if (pLogger != nullptr)
                            logOn(*pLogger, level, in_record.msg_data());
                        else
                            logOn(Logger(fileScopeLoggerName()), level, in_record.msg_data());
                    });
    return 0;
}

const Logger& Log4cplusBackend::getLogger() { return *fileScopeLogger(); }

const Logger* Log4cplusBackend::getLiveLogger() { return liveFileScopeLogger(); }

} // namespace Velmora

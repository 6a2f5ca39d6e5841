// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <ace/Log_Msg_Backend.h>

namespace Velmora
{

class Logger;

/// Logs what ACE logs, including its function trace, on the logger "keswardin.ace". ACE names the
/// place in its own code inside the text; the file and line of the log line are in this class.
///
/// Thread-safety: ACE may log on any thread.
class VELMORA_API Log4cplusBackend : public ACE_Log_Msg_Backend
{
  public:
    Log4cplusBackend();
    Log4cplusBackend(const Log4cplusBackend&) = delete;
    Log4cplusBackend& operator=(const Log4cplusBackend&) = delete;
    ~Log4cplusBackend() override;

    /// These functions do nothing and return 0: there is nothing to open.
    int open(const char* in_szLoggerKey) override;
    int reset() override;
    int close() override;

    /// Logs a record at the level that corresponds to its priority: TRACE for LM_SHUTDOWN, LM_TRACE
    /// and LM_STARTUP, DEBUG for LM_DEBUG, INFO for LM_INFO, WARN for LM_NOTICE and LM_WARNING,
    /// ERROR for LM_ERROR, and FATAL for all others. Returns 0. ACE calls it under the lock of its
    /// log, which is released while the record is logged.
    ssize_t log(ACE_Log_Record& in_record) override;

    /// Returns the logger "keswardin.ace", whose level also controls ACE's function trace. Must not
    /// be used once the exit list has run.
    static const Logger& getLogger();

    /// Returns the same logger, or null once the exit list has deleted it.
    static const Logger* getLiveLogger();
};

} // namespace Velmora

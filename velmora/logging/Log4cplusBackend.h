#pragma once

#include "velmora/Export.h"

#include <ace/Log_Msg_Backend.h>

namespace Velmora
{

class Logger;

/// Takes what ACE logs, its function trace included, into the log of the process, on the logger
/// "keswardin.ace". ACE tells the place in its own code inside the text; the place of the line is
/// here.
///
/// Thread-safety: ACE may log on any thread.
class VELMORA_API Log4cplusBackend : public ACE_Log_Msg_Backend
{
  public:
    Log4cplusBackend();
    Log4cplusBackend(const Log4cplusBackend&) = delete;
    Log4cplusBackend& operator=(const Log4cplusBackend&) = delete;
    ~Log4cplusBackend() override;

    /// These do nothing and give 0: there is nothing to open.
    int open(const char* in_szLoggerKey) override;
    int reset() override;
    int close() override;

    /// Logs a record at the level that its priority stands for: TRACE for LM_SHUTDOWN, LM_TRACE and
    /// LM_STARTUP, DEBUG, INFO, WARN for LM_NOTICE and LM_WARNING, ERROR, and FATAL for all others.
    /// Gives 0. ACE calls it under the lock of its log, which it does without while it logs.
    ssize_t log(ACE_Log_Record& in_record) override;

    /// The logger "keswardin.ace", whose level also switches ACE's function trace. Must not be used
    /// once the exit list has run.
    static const Logger& getLogger();

    /// The same; null once the exit list has deleted it.
    static const Logger* getLiveLogger();
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/AceCleanupLogger.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/logging/WithoutThrowing.h"

#include <ace/Object_Manager.h>

#include <unordered_set>

namespace Velmora
{

namespace
{

/// Logs that a logger is made or deleted. Calls `forcedLog` of log4cplus itself, so that the line
/// cannot come back here.
void logLife(const char* in_szEvent, const log4cplus::tstring& in_strName)
{
    const Logger logger("keswardin.infra.Logger");
    if (logger.isEnabledFor(TRACE_LOG_LEVEL))
        logger.log4cplus::Logger::forcedLog(log4cplus::TRACE_LOG_LEVEL, in_szEvent + in_strName,
                                            __FILE__, __LINE__);
}

/// Logs that a logger is deleted, and throws nothing.
void logEnd(const Logger& in_logger, const char* in_szEvent)
{
    withoutThrowing(&in_logger, "exception while a logger ends",
                    [&] { logLife(in_szEvent, in_logger.getName()); });
}

/// The file-scope loggers that the exit list has not deleted. Never destroyed, because it is
/// queried after static destructors have run.
class LivingLoggers
{
  public:
    static LivingLoggers& getInstance()
    {
        static LivingLoggers* const s_pLivingLoggers = new LivingLoggers;
        return *s_pLivingLoggers;
    }

    void add(const void* in_pLogger)
    {
        const GatedGuard<GatedMutex> guard(m_mutex);
        m_loggers.insert(in_pLogger);
    }

    void remove(const void* in_pLogger)
    {
        const GatedGuard<GatedMutex> guard(m_mutex);
        m_loggers.erase(in_pLogger);
    }

    bool contains(const void* in_pLogger)
    {
        const GatedGuard<GatedMutex> guard(m_mutex);
        return m_loggers.count(in_pLogger) != 0;
    }

  private:
    /// Only operations of the set run while it is held.
    GatedMutex m_mutex;
    std::unordered_set<const void*> m_loggers VELMORA_GUARDED_BY(m_mutex);
};

} // namespace

std::atomic<bool> AceCleanupLogger::s_bHasDeleted{false};

AceCleanupLogger::AceCleanupLogger(const char* in_szName) : Logger(in_szName)
{
    logLife("AceCleanupLogger::AceCleanupLogger name = ", in_szName);
    // Last, after everything that may throw: a logger whose constructor throws must not be in the
    // set.
    LivingLoggers::getInstance().add(this);
    ACE_Object_Manager::at_exit(this, &AceCleanupLogger::cleanupFunc, nullptr, in_szName);
}

AceCleanupLogger::~AceCleanupLogger()
{
    logEnd(*this, "AceCleanupLogger::~AceCleanupLogger name = ");
    s_bHasDeleted.store(true, std::memory_order_relaxed);
    LivingLoggers::getInstance().remove(this);
}

void AceCleanupLogger::cleanupFunc(void* in_pObject, void*)
{
    delete static_cast<AceCleanupLogger*>(in_pObject);
}

bool AceCleanupLogger::isAmongLiving(const AceCleanupLogger* in_pLogger)
{
    return LivingLoggers::getInstance().contains(in_pLogger);
}

AceCleanupCachedLLLogger::AceCleanupCachedLLLogger(const char* in_szName)
    : CachedLLLogger(std::string(in_szName))
{
    logLife("AceCleanupCachedLLLogger::AceCleanupCachedLLLogger name = ", in_szName);
    ACE_Object_Manager::at_exit(this, &AceCleanupCachedLLLogger::cleanupFunc, nullptr, in_szName);
}

AceCleanupCachedLLLogger::~AceCleanupCachedLLLogger()
{
    logEnd(*this, "AceCleanupCachedLLLogger::~AceCleanupCachedLLLogger name = ");
}

void AceCleanupCachedLLLogger::cleanupFunc(void* in_pObject, void*)
{
    delete static_cast<AceCleanupCachedLLLogger*>(in_pObject);
}

} // namespace Velmora

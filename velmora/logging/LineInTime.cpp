// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LineInTime.h"

#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/Log4cplusAccess.h"

#include <log4cplus/helpers/loglog.h>

#include <chrono>
#include <exception>
#include <vector>

namespace Velmora
{

namespace
{

/// The time limit for all locks of a line together.
constexpr std::chrono::seconds s_limit(1);

/// Locks the lists of appenders that a line of a logger goes to. A line in progress holds them.
class ChainLocks
{
  public:
    explicit ChainLocks(const log4cplus::Logger& in_logger)
    {
        const auto end = Log4cplusAccess::TimedMutex::Clock::now() + s_limit;
        AppenderChain::forEach(Log4cplusAccess::HandleMembers::implOf(in_logger),
                               [&](const log4cplus::spi::LoggerImpl& in_link)
                               {
                                   const Log4cplusAccess::TimedMutex mutex(
                                       in_link.appender_list_mutex);
                                   // Reserved first, so that a locked mutex can be
                                   // recorded without memory.
                                   m_locked.reserve(m_locked.size() + 1);
                                   m_bAll = mutex.lock(end);
                                   if (m_bAll)
                                       m_locked.push_back(mutex);
                                   return m_bAll;
                               });
    }
    ~ChainLocks()
    {
        for (const Log4cplusAccess::TimedMutex& mutex : m_locked)
            mutex.unlock();
    }
    ChainLocks(const ChainLocks&) = delete;
    ChainLocks& operator=(const ChainLocks&) = delete;

    explicit operator bool() const { return m_bAll; }

  private:
    std::vector<Log4cplusAccess::TimedMutex> m_locked;
    bool m_bAll = true;
};

} // namespace

void logInTime(const Logger& in_logger, LogLevel in_logLevel, const std::string& in_strText,
               const char* in_szFile, int in_iLine) noexcept
try
{
    const ChainLocks locks(in_logger);
    if (locks)
        // The line locks the same mutexes again; they are recursive.
        in_logger.log(in_logLevel, in_strText, in_szFile, in_iLine);
    else
        log4cplus::helpers::getLogLog().error(in_strText);
}
catch (const std::exception&)
{
    // The line is lost.
}

} // namespace Velmora

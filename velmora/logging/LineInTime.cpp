// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LineInTime.h"

#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/WithoutThrowing.h"

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
                                   m_bAll = static_cast<bool>(
                                       m_locks.emplace_back(in_link.appender_list_mutex, end));
                                   return m_bAll;
                               });
    }
    explicit operator bool() const { return m_bAll; }

  private:
    std::vector<Log4cplusAccess::TimedLock> m_locks;
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
    logCaughtException(nullptr, in_strText.c_str());
}

} // namespace Velmora

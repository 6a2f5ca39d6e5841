#pragma once

#include "velmora/logging/LogLevel.h"

#include "tests/support/TemporaryDirectory.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <memory>
#include <string>

namespace Velmora::Test
{

/// A log that lies in the buffer of an appender until that is closed. A process that ends without
/// closing it leaves an empty file.
class BufferedFileLog
{
  public:
    /// Makes the appender, with a line for each event as in "logger|LEVEL|text".
    [[nodiscard]] log4cplus::SharedAppenderPtr makeAppender() const
    {
        log4cplus::SharedAppenderPtr pAppender(
            new log4cplus::FileAppender(m_directory.file(s_szName), std::ios_base::trunc, false));
        pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>("%c|%p|%m%n"));
        return pAppender;
    }

    /// Makes it the whole log of the process, from DEBUG on.
    void attachToRoot() const
    {
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
        log4cplus::Logger::getRoot().setLogLevel(DEBUG_LOG_LEVEL);
        log4cplus::Logger::getRoot().addAppender(makeAppender());
    }

    /// As above, without what the allocators tell when they die.
    void attachToRootForTheExit() const
    {
        attachToRoot();
        log4cplus::Logger::getInstance("keswardin.infra.MemAllocator").setLogLevel(WARN_LOG_LEVEL);
    }

    /// What the file holds.
    [[nodiscard]] std::string read() const { return m_directory.read(s_szName); }

  private:
    static constexpr const char* s_szName = "all.log";

    TemporaryDirectory m_directory;
};

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

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

/// A log that stays in the buffer of its appender until the appender is closed. A process that ends
/// without closing it leaves an empty file.
class BufferedFileLog
{
  public:
    /// Creates the appender. The format of a line is "logger|LEVEL|text".
    [[nodiscard]] log4cplus::SharedAppenderPtr makeAppender() const
    {
        log4cplus::SharedAppenderPtr pAppender(
            new log4cplus::FileAppender(m_directory.file(s_szName), std::ios_base::trunc, false));
        pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>("%c|%p|%m%n"));
        return pAppender;
    }

    /// Makes the appender the only one of the process, for lines at DEBUG and above.
    void attachToRoot() const
    {
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
        log4cplus::Logger::getRoot().setLogLevel(DEBUG_LOG_LEVEL);
        log4cplus::Logger::getRoot().addAppender(makeAppender());
    }

    /// Does the same, without the reports of the allocators at exit.
    void attachToRootForTheExit() const
    {
        attachToRoot();
        log4cplus::Logger::getInstance("keswardin.infra.MemAllocator").setLogLevel(WARN_LOG_LEVEL);
    }

    /// Returns the contents of the file.
    [[nodiscard]] std::string read() const { return m_directory.read(s_szName); }

  private:
    static constexpr const char* s_szName = "all.log";

    TemporaryDirectory m_directory;
};

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/ConfigurationText.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallDataRegistry.h"

#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <string>

namespace Velmora::Test
{

/// Returns the section of the marker appender that puts files of calls into a directory, with lines
/// "LEVEL logger: text".
inline std::string callSection(const std::string& in_strDirectory)
{
    const std::string strSection = "log4cplus.appender.CALL_LOG_APPENDER";
    return strSection + "=log4cplus::NullAppender\n" + strSection +
           ".Directory=" + in_strDirectory + "\n" + strSection +
           ".layout=log4cplus::PatternLayout\n" + strSection +
           ".layout.ConversionPattern=%p %c: %m%n\n";
}

/// Configures the files of calls with that section, followed by more lines of configuration.
inline bool configureCalls(const std::string& in_strDirectory, const std::string& in_strMore = "")
{
    return CallDataRegistry::getInstance()->configure(
        trieOf(callSection(in_strDirectory) + in_strMore));
}

/// Makes a logger and its descendants write to the files of calls.
inline void makeParticipant(const std::string& in_strLogger)
{
    const log4cplus::SharedAppenderPtr pMark(new log4cplus::NullAppender);
    pMark->setName(s_szCallLogAppender);
    log4cplus::Logger::getInstance(in_strLogger).addAppender(pMark);
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FlushAppenders.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/FileAppender.h"
#include "velmora/logging/Log4cplusAccess.h"

#include <log4cplus/logger.h>

#include <vector>

namespace Velmora
{

namespace
{

void flush(log4cplus::Appender& inout_appender)
{
    if (auto* const pOwn = dynamic_cast<FileAppender*>(&inout_appender))
        return pOwn->flush();
    auto* const pFile = dynamic_cast<log4cplus::FileAppenderBase*>(&inout_appender);
    if (pFile == nullptr)
        return;
    const ProcessGate::Pass pass;
    const AppenderChain::MutexOfLine mutex(pFile->access_mutex);
    Log4cplusAccess::FileAppenderMembers::streamOf(*pFile).flush();
}

} // namespace

void flushAppenders()
{
    std::vector<log4cplus::Logger> loggers = log4cplus::Logger::getCurrentLoggers();
    loggers.push_back(log4cplus::Logger::getRoot());
    for (log4cplus::Logger& logger : loggers)
        for (const log4cplus::SharedAppenderPtr& pAppender : logger.getAllAppenders())
            flush(*pAppender);
}

} // namespace Velmora

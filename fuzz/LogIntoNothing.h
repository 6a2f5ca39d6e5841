// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"

#include <log4cplus/nullappender.h>

namespace Velmora::Fuzz
{

/// Sets logging up so that lines from WARN on are built and discarded. Returns true, for the
/// initialization of a static.
inline bool logIntoNothing()
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    Logger().setLogLevel(WARN_LOG_LEVEL);
    return true;
}

} // namespace Velmora::Fuzz

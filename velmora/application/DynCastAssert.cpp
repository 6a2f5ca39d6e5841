// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/DynCastAssert.h"

#include "velmora/application/SourcePlace.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/system/OS.h"

#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DynCastAssert)

namespace Velmora
{

namespace
{

void logWithPlace(const std::string& in_strText, const char* in_szFile, int in_iLine,
                  const Logger& in_logger)
{
    in_logger.log(static_cast<int>(ERROR_LOG_LEVEL),
                  in_strText + textOfSourcePlace(in_szFile, in_iLine), in_szFile, in_iLine);
}

} // namespace

const Logger& DynCastAssertNoT::getLogger() { return *fileScopeLogger(); }

void DynCastAssertNoT::typeIdError(const char* in_szTypeIdName, const char* in_szExpression,
                                   const char* in_szFile, int in_iLine, const Logger& in_logger)
{
    logWithPlace(std::string(in_szExpression) + " is of type (" + OS::typeIdName(in_szTypeIdName) +
                     ")",
                 in_szFile, in_iLine, in_logger);
}

void DynCastAssertNoT::nullBaseError(const char* in_szExpression, const char* in_szFile,
                                     int in_iLine, const Logger& in_logger)
{
    logWithPlace(std::string(in_szExpression) + " == 0", in_szFile, in_iLine, in_logger);
}

} // namespace Velmora

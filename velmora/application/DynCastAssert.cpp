#include "velmora/application/DynCastAssert.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/system/OS.h"

#include <sstream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DynCastAssert)

namespace Velmora
{

namespace
{

void logWithPlace(std::ostringstream& in_text, const char* in_szFile, int in_iLine,
                  const Logger& in_logger)
{
    if (in_szFile != nullptr)
        in_text << " file=" << in_szFile;
    if (in_iLine >= 0)
        in_text << " line=" << in_iLine;
    in_logger.log(static_cast<int>(ERROR_LOG_LEVEL), in_text.str(), in_szFile, in_iLine);
}

} // namespace

const Logger& DynCastAssertNoT::getLogger() { return *fileScopeLogger(); }

void DynCastAssertNoT::typeIdError(const char* in_szTypeIdName, const char* in_szExpression,
                                   const char* in_szFile, int in_iLine, const Logger& in_logger)
{
    std::ostringstream text;
    text << in_szExpression << " is of type (" << OS::typeIdName(in_szTypeIdName) << ")";
    logWithPlace(text, in_szFile, in_iLine, in_logger);
}

void DynCastAssertNoT::nullBaseError(const char* in_szExpression, const char* in_szFile,
                                     int in_iLine, const Logger& in_logger)
{
    std::ostringstream text;
    text << in_szExpression << " == 0";
    logWithPlace(text, in_szFile, in_iLine, in_logger);
}

} // namespace Velmora

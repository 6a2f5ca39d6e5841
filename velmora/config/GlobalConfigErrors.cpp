// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigErrors.h"

#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/ConfigurationLine.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/system/InputFile.h"

#include <cstring>
#include <filesystem>
#include <system_error>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

bool GlobalConfigErrors::failed(const char* in_szWhat)
{
    logCaughtException(::liveFileScopeLogger(), in_szWhat);
    return false;
}

bool GlobalConfigErrors::failedFor(const char* in_szWhat, const char* in_szName)
{
    logCaughtExceptionAbout(::liveFileScopeLogger(), in_szWhat, in_szName);
    return false;
}

std::string GlobalConfigErrors::unknownParameters(const std::vector<std::string>& in_unresolved)
{
    std::string strText = "Unknown parameters:";
    for (const std::string& strLine : in_unresolved)
        strText += " [" + strLine + "]";
    return strText;
}

void GlobalConfigErrors::isUnresolvedVectorEmpty(const UnresolvedLines& in_unresolved,
                                                 const TagSubstitution& in_tags, bool& out_bOK)
{
    const std::vector<std::string>& lines = in_unresolved.lines();
    if (lines.empty())
        return;
    ReadingContext& context = in_tags.context();
    VELMORA_LOG_PROBLEM(context.problems(), ERROR_LOG_LEVEL,
                        "Unable to complete the configuration. " << unknownParameters(lines));
    for (std::size_t i = 0; i != lines.size(); ++i)
    {
        context.returnTo(in_unresolved.placeOf(i));
        VELMORA_LOG_ADVICE(
            context, ERROR_LOG_LEVEL, "",
            ConfigurationAdvice::forUnknownTags(in_tags.unknownNamesIn(lines[i]),
                                                ConfigurationLine::nameOf(lines[i])));
    }
    out_bOK = false;
}

std::string GlobalConfigErrors::reason(const std::string& in_strPath, const InputFile& in_file)
{
    if (in_file.error() == 0)
        return "";
    std::string strReason = std::strerror(in_file.error());
    const std::filesystem::path path(in_strPath);
    std::error_code error;
    // The working directory may not exist any more.
    const std::filesystem::path whole = std::filesystem::absolute(path, error);
    if (!path.is_absolute() && !error)
        strReason += " (" + whole.lexically_normal().string() + ')';
    return strReason;
}

void GlobalConfigErrors::logReason(const char* in_szWhat, const std::string& in_strPath,
                                   const InputFile& in_file, LoadProblems& inout_problems)
{
    if (in_file.error() != 0)
        VELMORA_LOG_PROBLEM(&inout_problems, ERROR_LOG_LEVEL,
                            "cannot " << in_szWhat << ' ' << in_strPath << ": "
                                      << reason(in_strPath, in_file));
}

} // namespace Velmora

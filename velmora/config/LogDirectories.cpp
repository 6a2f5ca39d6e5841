// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/LogDirectories.h"

#include "velmora/config/ParameterTrie.h"

#include <log4cplus/helpers/property.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace Velmora
{

namespace
{

using log4cplus::helpers::Properties;

constexpr std::string_view s_appender = "log4cplus.appender.";
constexpr std::string_view s_file = ".File";
constexpr const char* s_szCreateDirs = ".CreateDirs";
constexpr const char* s_szCallDirectory = "log4cplus.appender.CALL_LOG_APPENDER.Directory";

std::string nameOf(const std::filesystem::path& in_path)
{
    return in_path.empty() ? "." : in_path.string();
}

/// Returns why this process cannot make files in a directory, as an error number, or 0.
int errorOf(const std::string& in_strDirectory)
{
    struct stat status = {};
    if (stat(in_strDirectory.c_str(), &status) != 0)
        return errno;
    if (!S_ISDIR(status.st_mode))
        return ENOTDIR;
    // With the rights of the files that this process opens, not of the user who started it.
    return faccessat(AT_FDCWD, in_strDirectory.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

/// Returns what keeps files from being made in a directory, and what to do about it. Empty if
/// nothing does. A directory that is missing is made if there is no option for that.
std::string obstacleOf(const std::filesystem::path& in_directory, const std::string& in_strOption)
{
    const std::string strDirectory = nameOf(in_directory);
    const int iError = errorOf(strDirectory);
    if (iError == 0)
        return {};
    const bool bMissing = iError == ENOENT;
    if (bMissing && in_strOption.empty() && in_directory != in_directory.parent_path())
        return obstacleOf(in_directory.parent_path(), in_strOption);
    return "the directory " + strDirectory + " cannot be used: " + std::strerror(iError) +
           (bMissing ? "; make it, or let the program make it: " + in_strOption + " = true"
                     : "; let the user of the program write there, or choose another one");
}

bool isTrue(const Properties& in_properties, const std::string& in_strName)
{
    bool bValue = false;
    return in_properties.getBool(bValue, in_strName) && bValue;
}

} // namespace

std::vector<LogDirectories::Problem> LogDirectories::problemsOf(const ParameterTrie& in_logging)
{
    Properties properties;
    in_logging.convertTo(properties);
    std::vector<Problem> problems;
    for (const std::string& strName : properties.propertyNames())
    {
        const std::filesystem::path path = properties.getProperty(strName);
        const bool bOfCalls = strName == s_szCallDirectory;
        const bool bOfAppender = strName.starts_with(s_appender) && strName.ends_with(s_file);
        // log4cplus replaces what is left of tags.
        if ((!bOfCalls && !bOfAppender) || path.native().find("${") != std::string::npos)
            continue;
        const std::string strAppender = strName.substr(0, strName.rfind('.'));
        const bool bMade = bOfCalls || isTrue(properties, strAppender + s_szCreateDirs);
        const std::string strObstacle = obstacleOf(bOfCalls ? path : path.parent_path(),
                                                   bMade ? "" : strAppender + s_szCreateDirs);
        if (!strObstacle.empty())
            problems.push_back({strName, strObstacle, bOfCalls});
    }
    return problems;
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileAppenders.h"

#include "velmora/logging/FileAppender.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmora::FileAppenders
{

namespace
{

using log4cplus::helpers::Properties;

constexpr std::string_view s_strAppenders = "appender.";
/// The key of a nested appender, below that of the outer one.
constexpr std::string_view s_strInner = "Appender";

constexpr std::string_view s_strFile = "log4cplus::FileAppender";
constexpr std::string_view s_strRolling = "log4cplus::RollingFileAppender";
constexpr std::string_view s_strDailyRolling = "log4cplus::DailyRollingFileAppender";
constexpr std::string_view s_strTimeBasedRolling = "log4cplus::TimeBasedRollingFileAppender";

/// An appender in a configuration.
struct Appender
{
    std::string strName;
    /// The key of its type; the keys of its properties begin with it.
    std::string strKey;
    std::string strType;
    Properties properties;

    [[nodiscard]] bool isToFileOfLog4cplus() const
    {
        // It opens its file by itself, without a delay.
        if (strType == FileAppender::s_szTypeName)
            return false;
        constexpr std::array types{s_strFile, s_strRolling, s_strDailyRolling,
                                   s_strTimeBasedRolling};
        return properties.exists("File") ||
               std::find(types.begin(), types.end(), strType) != types.end();
    }
};

void addAppender(const Properties& in_configuration, const std::string& in_strName,
                 const std::string& in_strKey, std::vector<Appender>& out_appenders)
{
    out_appenders.push_back({in_strName, in_strKey, in_configuration.getProperty(in_strKey),
                             in_configuration.getPropertySubset(in_strKey + '.')});
    const std::string strInner = in_strKey + '.' + std::string(s_strInner);
    if (in_configuration.exists(strInner))
        addAppender(in_configuration, in_strName, strInner, out_appenders);
}

std::vector<Appender> appendersOf(const Properties& in_configuration,
                                  const std::string& in_strPrefix)
{
    const std::string strAppenders = in_strPrefix + std::string(s_strAppenders);
    std::vector<Appender> appenders;
    for (const std::string& strName :
         in_configuration.getPropertySubset(strAppenders).propertyNames())
        if (strName.find('.') == std::string::npos)
            addAppender(in_configuration, strName, strAppenders + strName, appenders);
    return appenders;
}

std::string directoryOf(const std::string& in_strPath)
{
    const std::size_t uiSlash = in_strPath.rfind('/');
    if (uiSlash == std::string::npos)
        return ".";
    return uiSlash == 0 ? "/" : in_strPath.substr(0, uiSlash);
}

/// Returns the absolute path if there is one: the working directory may have changed by the time
/// the operator reads the message.
std::string wholePath(const std::string& in_strDirectory)
{
    struct Free
    {
        void operator()(char* in_szText) const { std::free(in_szText); }
    };
    const std::unique_ptr<char, Free> szPath(realpath(in_strDirectory.c_str(), nullptr));
    return szPath != nullptr ? szPath.get() : in_strDirectory;
}

/// Returns the error that keeps a file from being renamed or replaced; 0 if it can be, or if it
/// does not exist.
int whyNotRenamed(const std::string& in_strPath)
{
    struct stat status = {};
    if (lstat(in_strPath.c_str(), &status) != 0)
        return 0;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    // rmdir() serves as a probe. The kernel first checks that the entry may be removed from its
    // directory, by the same rules as for a rename, and then that it is a directory. So this
    // removes no file.
    if (rmdir(in_strPath.c_str()) == 0 || errno == ENOTDIR || errno == ENOENT)
        return 0;
    return errno;
}

/// Returns the error that keeps a file from being made in a directory; 0 if it can be, or if the
/// directory does not exist.
int whyNotWritable(const std::string& in_strDirectory)
{
    if (faccessat(AT_FDCWD, in_strDirectory.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ||
        errno == ENOENT)
        return 0;
    return errno;
}

/// The reason why an appender cannot roll over.
struct Obstacle
{
    std::string strPath;
    std::string strDirectory;
    int iReason;
};

using PerhapsObstacle = std::optional<Obstacle>;

PerhapsObstacle obstacleAtFile(const std::string& in_strPath)
{
    const std::string strDirectory = directoryOf(in_strPath);
    int iReason = whyNotWritable(strDirectory);
    if (iReason == 0)
        iReason = whyNotRenamed(in_strPath);
    if (iReason == 0)
        return std::nullopt;
    return Obstacle{in_strPath, strDirectory, iReason};
}

/// Finds a backup that a `RollingFileAppender` cannot rename. The backups have the file's name with
/// a number, from 1 on. A rollover renames them too, up to the first number that does not exist.
PerhapsObstacle obstacleAtBackups(const Appender& in_appender, const std::string& in_strFile)
{
    int iBackups = 1;
    in_appender.properties.getInt(iBackups, "MaxBackupIndex");
    iBackups = std::max(iBackups, 1);
    struct stat status = {};
    for (int iBackup = 1; iBackup <= iBackups; ++iBackup)
    {
        const std::string strBackup = in_strFile + '.' + std::to_string(iBackup);
        if (lstat(strBackup.c_str(), &status) != 0)
            break;
        if (PerhapsObstacle obstacle = obstacleAtFile(strBackup))
            return obstacle;
    }
    return std::nullopt;
}

/// Finds what keeps a `TimeBasedRollingFileAppender` from making its files, which are named by a
/// pattern. All of them are below the directory before the last "/" in front of the first "%".
PerhapsObstacle obstacleAtPattern(const Appender& in_appender)
{
    const std::string strPattern = in_appender.properties.getProperty("FilenamePattern");
    const std::string strDirectory = directoryOf(strPattern.substr(0, strPattern.find('%')));
    const int iReason = whyNotWritable(strDirectory);
    if (strPattern.empty() || iReason == 0)
        return std::nullopt;
    return Obstacle{strPattern, strDirectory, iReason};
}

PerhapsObstacle obstacleOf(const Appender& in_appender)
{
    const std::string strFile = in_appender.properties.getProperty("File");
    const bool bRolling = in_appender.strType == s_strRolling;
    const bool bTimeBased = in_appender.strType == s_strTimeBasedRolling;
    if (!bRolling && !bTimeBased && in_appender.strType != s_strDailyRolling)
        return std::nullopt;
    PerhapsObstacle obstacle;
    if (!strFile.empty())
        obstacle = obstacleAtFile(strFile);
    if (!obstacle && bRolling && !strFile.empty())
        obstacle = obstacleAtBackups(in_appender, strFile);
    if (!obstacle && bTimeBased)
        obstacle = obstacleAtPattern(in_appender);
    return obstacle;
}

} // namespace

void addDefaults(Properties& inout_appender)
{
    if (!inout_appender.exists("ReopenDelay"))
        inout_appender.setProperty("ReopenDelay", "0");
}

void addDefaultsToAll(Properties& inout_configuration, const std::string& in_strPrefix)
{
    for (Appender& appender : appendersOf(inout_configuration, in_strPrefix))
    {
        if (!appender.isToFileOfLog4cplus())
            continue;
        addDefaults(appender.properties);
        for (const std::string& strName : appender.properties.propertyNames())
            inout_configuration.setProperty(appender.strKey + '.' + strName,
                                            appender.properties.getProperty(strName));
    }
}

std::vector<std::string> rolloverProblems(const Properties& in_configuration,
                                          const std::string& in_strPrefix)
{
    std::vector<std::string> problems;
    for (const Appender& appender : appendersOf(in_configuration, in_strPrefix))
        if (const PerhapsObstacle obstacle = obstacleOf(appender))
            problems.push_back(
                "appender " + appender.strName + " cannot roll over : " + obstacle->strPath +
                " cannot be renamed or made in directory " + wholePath(obstacle->strDirectory) +
                ": " + std::strerror(obstacle->iReason) +
                "; lines will be lost at each rollover. Give the directory and the "
                "files in it to the user of this process, or log to another one");
    return problems;
}

} // namespace Velmora::FileAppenders

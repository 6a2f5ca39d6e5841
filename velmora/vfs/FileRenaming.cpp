// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/FileRenaming.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/BoostRegex.h"
#include "velmora/system/OS.h"
#include "velmora/vfs/FileDeletion.h"
#include "velmora/vfs/FileFailure.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(File)

namespace Velmora
{

namespace
{

bool isThere(const std::string& in_strPath)
{
    struct stat status = {};
    return stat(in_strPath.c_str(), &status) == 0;
}

std::string withoutSeparatorAtEnd(const char* in_szPath)
{
    std::string strPath = in_szPath;
    const bool bHasSeparator = strPath.ends_with('/') || strPath.ends_with('\\');
    if (bHasSeparator && strPath != "/")
        strPath.pop_back();
    return strPath;
}

/// Returns the directory of a path; empty for the working directory.
std::string parentOf(const std::string& in_strPath)
{
    std::string strParent;
    OS::stripFileName(in_strPath.c_str(), strParent);
    if (strParent.empty() && !OS::isPathRelative(in_strPath.c_str()))
        strParent += '/';
    return strParent;
}

/// Returns the path by which a directory can be opened: "." for an empty one.
std::string nameOf(const std::string& in_strDirectory)
{
    return in_strDirectory.empty() ? "." : in_strDirectory;
}

/// Returns the text that precedes the names of a directory's items in their paths.
std::string prefixOf(const std::string& in_strDirectory)
{
    const bool bNeedsSlash = !in_strDirectory.empty() && in_strDirectory != "/";
    return bNeedsSlash ? in_strDirectory + "/" : in_strDirectory;
}

/// Returns whether a path is the root of a drive, as on other platforms.
bool isDriveRoot(const std::string& in_strPath)
{
    return BoostRegex::regex_match(in_strPath + "/", BoostRegex("^[a-zA-Z]:\\/$"));
}

/// Returns whether the working directory of the process exists and its path can be determined.
/// Without it, relative paths cannot be used.
bool hasWorkingDirectory()
{
    constexpr std::size_t uiMaxLength = 4096;
    std::array<char, uiMaxLength> buffer{};
    if (getcwd(buffer.data(), buffer.size()) != nullptr)
        return true;
    const int iError = errno;
    VELMORA_FILE_LOG_ERROR("Be sure you have set pwd!!!");
    FileFailure::logReason("name the working directory", iError);
    return false;
}

bool provideTarget(const std::string& in_strTarget)
{
    const std::string strParent = parentOf(in_strTarget);
    if (!isDriveRoot(strParent) && !isThere(nameOf(strParent)))
    {
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR("The base of the target directory doesn't exist.");
        FileFailure::logReason("look at " + nameOf(strParent), iError);
        return false;
    }
    if (!isThere(in_strTarget))
    {
        VELMORA_FILE_LOG_DEBUG("Creating target directory.");
        // The path of the working directory is empty here, so its `mkdir` fails. EEXIST means that
        // another process made the directory since.
        if (mkdir(in_strTarget.c_str(), 0755) != 0 && !in_strTarget.empty() && errno != EEXIST)
            FileFailure::logReason("make directory " + in_strTarget, errno);
    }
    return true;
}

} // namespace

bool FileRenaming::run(const char* in_szPath, std::size_t in_uiMaxKept, const char* in_szTargetDir)
{
    struct stat status = {};
    if (in_szPath == nullptr || stat(in_szPath, &status) != 0)
    {
        const int iError = in_szPath == nullptr ? ENOENT : errno;
        VELMORA_FILE_LOG_DEBUG("The file or directory you want to rename doesn't exist.");
        if (in_szPath != nullptr && !FileFailure::isMissing(iError))
            FileFailure::logUnseen(in_szPath, iError);
        return true;
    }
    const std::string strSource = withoutSeparatorAtEnd(in_szPath);
    if (OS::isPathRelative(strSource.c_str()) && !hasWorkingDirectory())
        return false;
    std::string strTarget = parentOf(strSource);
    if (in_szTargetDir != nullptr)
    {
        strTarget = withoutSeparatorAtEnd(in_szTargetDir);
        if (!provideTarget(strTarget))
            return false;
    }
    const FileRenaming renaming(strSource, S_ISDIR(status.st_mode), strTarget);
    if (in_uiMaxKept != 0 && !renaming.prune(in_uiMaxKept))
        return false;
    renaming.rename();
    return true;
}

FileRenaming::FileRenaming(const std::string& in_strSource, bool in_bIsDirectory,
                           const std::string& in_strTarget)
    : m_strSource(in_strSource), m_bIsDirectory(in_bIsDirectory), m_strTarget(in_strTarget)
{
    if (m_bIsDirectory)
        VELMORA_FILE_LOG_DEBUG("Gathering directory informations");
    else
        VELMORA_FILE_LOG_DEBUG("Gathering file informations");
    OS::stripPathAndExtension(m_strSource.c_str(), m_strBaseName);
    OS::stripPath(m_strSource.c_str(), m_strExtension);
    m_strExtension.erase(0, m_strBaseName.size());
}

bool FileRenaming::prune(std::size_t in_uiMaxKept) const
{
    ItemReader directory(nameOf(m_strTarget).c_str());
    if (!directory.isOpen())
    {
        FileFailure::logReason("open directory " + nameOf(m_strTarget), errno);
        return false;
    }
    const Copies copies = find(directory);
    if (copies.size() < in_uiMaxKept)
        return true;
    std::size_t uiNumTooMany = copies.size() - in_uiMaxKept + 1;
    for (auto i = copies.begin(); uiNumTooMany != 0; ++i, --uiNumTooMany)
        discard(i->second);
    return true;
}

void FileRenaming::rename() const
{
    VELMORA_FILE_LOG_DEBUG("Renaming file or directory.");
    const std::string strNewName = newName();
    if (std::rename(m_strSource.c_str(), strNewName.c_str()) != 0)
        FileFailure::logReason("rename " + m_strSource + " to " + strNewName, errno);
}

FileRenaming::Copies FileRenaming::find(ItemReader& inout_directory) const
{
    const std::string strExpression = m_strBaseName + ".\\d{4}(_\\d{1,}){5}" + m_strExtension + "$";
    const BoostRegex regex(strExpression.c_str());
    Copies copies;
    while (const char* const szItem = inout_directory.next())
    {
        // `regex_match` compares the whole name. A search would also find copies of files whose
        // names end in the same way, and delete them.
        if (!BoostRegex::regex_match(szItem, regex))
            continue;
        struct stat status = {};
        const std::string strPath = prefixOf(m_strTarget) + szItem;
        if (stat(strPath.c_str(), &status) == 0)
            copies.emplace(ACE_Time_Value(status.st_mtime), strPath);
        else
            FileFailure::logUnseen(strPath, errno);
    }
    if (inout_directory.error() != 0)
        FileFailure::logReason("read directory " + nameOf(m_strTarget), inout_directory.error());
    return copies;
}

void FileRenaming::discard(const std::string& in_strPath) const
{
    if (m_bIsDirectory)
        FileDeletion(true, false, true).run(in_strPath.c_str());
    else if (unlink(in_strPath.c_str()) != 0)
        FileFailure::logReason("delete " + in_strPath, errno);
}

std::string FileRenaming::newName() const
{
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    std::string strName = prefixOf(m_strTarget) + m_strBaseName;
    char cSeparator = '.';
    for (const int iNumber : {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                              local.tm_min, local.tm_sec})
    {
        strName += cSeparator + std::to_string(iNumber);
        cSeparator = '_';
    }
    return strName + m_strExtension;
}

} // namespace Velmora

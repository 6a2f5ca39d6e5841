// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/BoostRegex.h"
#include "velmora/system/OS.h"

#include <ace/Time_Value.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <string_view>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(File)

namespace Velmora
{

namespace
{

constexpr const char* s_szDelete = "File::deleteFileDir";

/// Returns whether the error of a failed `stat` means that the path does not exist.
bool isNothingThere(int in_iError) { return in_iError == ENOENT || in_iError == ENOTDIR; }

/// Logs the reason of a failure, after the line that reports the failure itself.
void logReason(const std::string& in_strWhat, int in_iError)
{
    VELMORA_FILE_LOG_ERROR("cannot " << in_strWhat << ": " << std::strerror(in_iError));
}

void logUnseen(const std::string& in_strPath, int in_iError)
{
    if (!isNothingThere(in_iError))
        VELMORA_FILE_LOG_ERROR("cannot look at " << in_strPath << ": " << std::strerror(in_iError)
                                                 << "; it is left as it is");
}

/// Reads the items of a directory.
///
/// Failure: `isOpen` returns false, with the reason in `errno`. If the rest of the items cannot be
/// read, they end early and `error` returns the reason.
class ItemReader
{
  public:
    explicit ItemReader(const char* in_szPath) : m_pDirectory(opendir(in_szPath)) {}

    /// Opens a directory by its name in a parent directory. Fails with ESTALE if it is no longer
    /// the one that `in_seen` describes.
    ItemReader(int in_iParent, const char* in_szName, const struct stat& in_seen)
    {
        const int iDescriptor =
            openat(in_iParent, in_szName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (iDescriptor == -1)
            return;
        struct stat opened = {};
        if (fstat(iDescriptor, &opened) == 0)
        {
            if (opened.st_dev == in_seen.st_dev && opened.st_ino == in_seen.st_ino)
                m_pDirectory = fdopendir(iDescriptor);
            else
                errno = ESTALE;
        }
        if (isOpen())
            return;
        const int iError = errno;
        close(iDescriptor);
        errno = iError;
    }

    ~ItemReader()
    {
        if (isOpen())
            closedir(m_pDirectory);
    }
    ItemReader(const ItemReader&) = delete;
    ItemReader& operator=(const ItemReader&) = delete;

    [[nodiscard]] bool isOpen() const { return m_pDirectory != nullptr; }
    [[nodiscard]] int descriptor() const { return dirfd(m_pDirectory); }

    /// Returns the name of the next item except "." and "..", or null at the end. The name is valid
    /// until the next call.
    [[nodiscard]] const char* next()
    {
        errno = 0;
        while (const dirent* const pItem = readdir(m_pDirectory))
            if (const std::string_view name = pItem->d_name; name != "." && name != "..")
                return pItem->d_name;
        m_iError = errno;
        return nullptr;
    }

    /// Returns why there was no next item; 0 at the end.
    [[nodiscard]] int error() const { return m_iError; }

  private:
    DIR* m_pDirectory = nullptr;
    int m_iError = 0;
};

/// Returns a path without the slashes at its end. With one, the path of a symbolic link would name
/// the link's target.
std::string withoutSlashesAtEnd(const char* in_szPath)
{
    std::string strPath = in_szPath;
    while (strPath.size() > 1 && strPath.back() == '/')
        strPath.pop_back();
    return strPath;
}

/// Deletes the item at a path, with its contents if it is a directory. Each item is addressed by
/// its name in the descriptor of its directory, never by its path: another process may at any time
/// replace a directory on the path by a symbolic link.
class Removal
{
  public:
    Removal(bool in_bForce, bool in_bVerbose, bool in_bRecursive)
        : m_bForce(in_bForce), m_bVerbose(in_bVerbose), m_bRecursive(in_bRecursive)
    {
    }

    bool run(const char* in_szPath)
    {
        m_strPath = in_szPath;
        return remove(AT_FDCWD, in_szPath, false);
    }

  private:
    /// Deletes one item: the one that has this name in this directory, and the path `m_strPath`.
    bool remove(int in_iDirectory, const char* in_szName, bool in_bModeWasSet)
    {
        VELMORA_FILE_TRACE_SCOPE(File::deleteFileDir);
        if (!isTooLong() && unlinkat(in_iDirectory, in_szName, 0) == 0)
            return tellRemoved();
        const int iUnlinkError = errno;
        VELMORA_FILE_LOG_DEBUG(s_szDelete << " : unlink failed on " << m_strPath);
        const std::string strName = withoutSlashesAtEnd(in_szName);
        struct stat status = {};
        if (isTooLong() || !look(in_iDirectory, in_szName, strName, status))
        {
            const int iError = isTooLong() ? ENAMETOOLONG : errno;
            VELMORA_FILE_LOG_WARN(s_szDelete << " : failed to stat " << m_strPath << ". Skipping.");
            logUnseen(m_strPath, iError);
            return true;
        }
        if ((status.st_mode & S_IWUSR) == 0)
            return setMode(in_iDirectory, strName.c_str(), in_bModeWasSet) &&
                   remove(in_iDirectory, in_szName, true);
        if (S_ISDIR(status.st_mode))
            return removeDirectory(in_iDirectory, strName.c_str(), status);
        VELMORA_FILE_LOG_ERROR(s_szDelete << " : " << m_strPath << " unknown error");
        logReason("delete " + m_strPath, iUnlinkError);
        return false;
    }

    /// Returns whether the path is longer than the system accepts. Calls by name would still
    /// succeed, but this limit also bounds the depth of the recursion.
    [[nodiscard]] bool isTooLong() const { return m_strPath.size() >= PATH_MAX; }

    /// Examines an item without following a link. The given name must exist, which that of a file
    /// with a '/' at its end does not. The status is then that of the name without the slashes,
    /// which is the link itself if there is one.
    static bool look(int in_iDirectory, const char* in_szGiven, const std::string& in_strName,
                     struct stat& out_status)
    {
        return fstatat(in_iDirectory, in_szGiven, &out_status, AT_SYMLINK_NOFOLLOW) == 0 &&
               (in_strName == in_szGiven ||
                fstatat(in_iDirectory, in_strName.c_str(), &out_status, AT_SYMLINK_NOFOLLOW) == 0);
    }

    bool setMode(int in_iDirectory, const char* in_szName, bool in_bModeWasSet)
    {
        if (!m_bForce)
        {
            VELMORA_FILE_LOG_ERROR(s_szDelete << " : no write permission on " << m_strPath);
            return false;
        }
        VELMORA_FILE_LOG_DEBUG(s_szDelete << " : no write permission on " << m_strPath);
        // Tried once only: some file systems report success for a mode that they did not set.
        if (!in_bModeWasSet &&
            fchmodat(in_iDirectory, in_szName, S_IWUSR, AT_SYMLINK_NOFOLLOW) == 0)
            return true;
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR(s_szDelete << " : failed to acquire write permission on "
                                          << m_strPath);
        if (!in_bModeWasSet)
            logReason("change the mode of " + m_strPath, iError);
        return false;
    }

    bool removeDirectory(int in_iDirectory, const char* in_szName, const struct stat& in_status)
    {
        VELMORA_FILE_LOG_DEBUG(s_szDelete << " : " << m_strPath << " is a directory");
        if (!removeItems(in_iDirectory, in_szName, in_status))
            return false;
        if (unlinkat(in_iDirectory, in_szName, AT_REMOVEDIR) == 0)
            return tellRemoved();
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR(s_szDelete << " : failed to rmdir " << m_strPath);
        logReason("delete " + m_strPath, iError);
        return false;
    }

    bool removeItems(int in_iDirectory, const char* in_szName, const struct stat& in_status)
    {
        ItemReader directory(in_iDirectory, in_szName, in_status);
        if (!directory.isOpen())
        {
            const int iError = errno;
            VELMORA_FILE_LOG_ERROR(s_szDelete << " : failed to open directory " << m_strPath);
            logReason("open directory " + m_strPath, iError);
            return false;
        }
        const std::size_t uiLength = m_strPath.size();
        bool bRemoved = true;
        while (const char* const szItem = bRemoved && m_bRecursive ? directory.next() : nullptr)
        {
            m_strPath.append("/").append(szItem);
            bRemoved = remove(directory.descriptor(), szItem, false);
            m_strPath.resize(uiLength);
        }
        // A failure here is only logged: the items that were not read make the `rmdir` that follows
        // fail.
        if (directory.error() != 0)
            logReason("read directory " + m_strPath, directory.error());
        return bRemoved;
    }

    bool tellRemoved() const
    {
        if (m_bVerbose)
            VELMORA_FILE_LOG_INFO(m_strPath);
        return true;
    }

    std::string m_strPath;
    const bool m_bForce;
    const bool m_bVerbose;
    const bool m_bRecursive;
};

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
    logReason("name the working directory", iError);
    return false;
}

bool provideTarget(const std::string& in_strTarget)
{
    const std::string strParent = parentOf(in_strTarget);
    if (!isDriveRoot(strParent) && !isThere(nameOf(strParent)))
    {
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR("The base of the target directory doesn't exist.");
        logReason("look at " + nameOf(strParent), iError);
        return false;
    }
    if (!isThere(in_strTarget))
    {
        VELMORA_FILE_LOG_DEBUG("Creating target directory.");
        // The path of the working directory is empty here, so its `mkdir` fails. EEXIST means that
        // another process made the directory since.
        if (mkdir(in_strTarget.c_str(), 0755) != 0 && !in_strTarget.empty() && errno != EEXIST)
            logReason("make directory " + in_strTarget, errno);
    }
    return true;
}

/// Renames a file or a directory to an old copy of itself.
class Renaming
{
  public:
    Renaming(const std::string& in_strSource, bool in_bIsDirectory, const std::string& in_strTarget)
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

    /// Deletes the oldest copies until there is room for one more. Returns false if the directory
    /// of the copies cannot be read.
    [[nodiscard]] bool prune(std::size_t in_uiMaxKept) const
    {
        ItemReader directory(nameOf(m_strTarget).c_str());
        if (!directory.isOpen())
        {
            logReason("open directory " + nameOf(m_strTarget), errno);
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

    void rename() const
    {
        VELMORA_FILE_LOG_DEBUG("Renaming file or directory.");
        const std::string strNewName = newName();
        if (std::rename(m_strSource.c_str(), strNewName.c_str()) != 0)
            logReason("rename " + m_strSource + " to " + strNewName, errno);
    }

  private:
    /// The paths of the copies by modification time, oldest first.
    using Copies = std::map<ACE_Time_Value, std::string>;

    [[nodiscard]] Copies find(ItemReader& inout_directory) const
    {
        const std::string strExpression =
            m_strBaseName + ".\\d{4}(_\\d{1,}){5}" + m_strExtension + "$";
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
                logUnseen(strPath, errno);
        }
        if (inout_directory.error() != 0)
            logReason("read directory " + nameOf(m_strTarget), inout_directory.error());
        return copies;
    }

    void discard(const std::string& in_strPath) const
    {
        if (m_bIsDirectory)
            File::deleteFileDir(in_strPath.c_str(), true, false, true);
        else if (unlink(in_strPath.c_str()) != 0)
            logReason("delete " + in_strPath, errno);
    }

    [[nodiscard]] std::string newName() const
    {
        const std::time_t now = std::time(nullptr);
        std::tm local = {};
        localtime_r(&now, &local);
        std::string strName = prefixOf(m_strTarget) + m_strBaseName;
        char cSeparator = '.';
        for (const int iNumber : {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                  local.tm_hour, local.tm_min, local.tm_sec})
        {
            strName += cSeparator + std::to_string(iNumber);
            cSeparator = '_';
        }
        return strName + m_strExtension;
    }

    const std::string m_strSource;
    const bool m_bIsDirectory;
    /// The directory of the old copies; empty for the working directory.
    const std::string m_strTarget;
    std::string m_strBaseName;
    /// With its dot; empty if there is none.
    std::string m_strExtension;
};

} // namespace

int File::renameWithTimestamp(const char* in_szPath, unsigned int in_uiMaxKept,
                              const char* in_szTargetDir)
{
    VELMORA_FILE_TRACE_SCOPE(File::renameWithTimestamp);
    struct stat status = {};
    if (in_szPath == nullptr || stat(in_szPath, &status) != 0)
    {
        const int iError = in_szPath == nullptr ? ENOENT : errno;
        VELMORA_FILE_LOG_DEBUG("The file or directory you want to rename doesn't exist.");
        if (!isNothingThere(iError))
            logUnseen(in_szPath, iError);
        return 0;
    }
    const std::string strSource = withoutSeparatorAtEnd(in_szPath);
    if (OS::isPathRelative(strSource.c_str()) && !hasWorkingDirectory())
        return 1;
    std::string strTarget = parentOf(strSource);
    if (in_szTargetDir != nullptr)
    {
        strTarget = withoutSeparatorAtEnd(in_szTargetDir);
        if (!provideTarget(strTarget))
            return 1;
    }
    const Renaming renaming(strSource, S_ISDIR(status.st_mode), strTarget);
    if (in_uiMaxKept != 0 && !renaming.prune(in_uiMaxKept))
        return 1;
    renaming.rename();
    return 0;
}

bool File::deleteFileDir(const char* in_szPath, bool in_bForce, bool in_bVerbose,
                         bool in_bRecursive)
{
    return Removal(in_bForce, in_bVerbose, in_bRecursive).run(in_szPath);
}

} // namespace Velmora

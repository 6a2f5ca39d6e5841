// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/FileDeletion.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/vfs/FileFailure.h"
#include "velmora/vfs/ItemReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(File)

namespace Velmora
{

namespace
{

constexpr const char* s_szDelete = "File::deleteFileDir";

/// Returns a path without the slashes at its end. With one, the path of a symbolic link would name
/// the link's target.
std::string withoutSlashesAtEnd(const char* in_szPath)
{
    std::string strPath = in_szPath;
    while (strPath.size() > 1 && strPath.back() == '/')
        strPath.pop_back();
    return strPath;
}

/// Examines an item without following a link. The given name must exist, which that of a file with
/// a '/' at its end does not. The status is then that of the name without the slashes, which is the
/// link itself if there is one.
bool look(int in_iDirectory, const char* in_szGiven, const std::string& in_strName,
          struct stat& out_status)
{
    return fstatat(in_iDirectory, in_szGiven, &out_status, AT_SYMLINK_NOFOLLOW) == 0 &&
           (in_strName == in_szGiven ||
            fstatat(in_iDirectory, in_strName.c_str(), &out_status, AT_SYMLINK_NOFOLLOW) == 0);
}

} // namespace

FileDeletion::FileDeletion(bool in_bForce, bool in_bVerbose, bool in_bRecursive)
    : m_bForce(in_bForce), m_bVerbose(in_bVerbose), m_bRecursive(in_bRecursive)
{
}

bool FileDeletion::run(const char* in_szPath)
{
    m_strPath = in_szPath;
    return remove(AT_FDCWD, in_szPath, false);
}

/// Deletes one item: the one that has this name in this directory, and the path `m_strPath`.
bool FileDeletion::remove(int in_iDirectory, const char* in_szName, bool in_bModeWasSet)
{
    VELMORA_FILE_TRACE_SCOPE(File::deleteFileDir);
    if (!isTooLong() && unlinkat(in_iDirectory, in_szName, 0) == 0)
    {
        logDeleted();
        return true;
    }
    const int iUnlinkError = errno;
    VELMORA_FILE_LOG_DEBUG(s_szDelete << " : unlink failed on " << m_strPath);
    const std::string strName = withoutSlashesAtEnd(in_szName);
    struct stat status = {};
    if (isTooLong() || !look(in_iDirectory, in_szName, strName, status))
    {
        const int iError = isTooLong() ? ENAMETOOLONG : errno;
        VELMORA_FILE_LOG_WARN(s_szDelete << " : failed to stat " << m_strPath << ". Skipping.");
        FileFailure::logUnseen(m_strPath, iError);
        return true;
    }
    if ((status.st_mode & S_IWUSR) == 0)
        return setMode(in_iDirectory, strName.c_str(), in_bModeWasSet) &&
               remove(in_iDirectory, in_szName, true);
    if (S_ISDIR(status.st_mode))
        return removeDirectory(in_iDirectory, strName.c_str(), status);
    VELMORA_FILE_LOG_ERROR(s_szDelete << " : " << m_strPath << " unknown error");
    FileFailure::logReason("delete " + m_strPath, iUnlinkError);
    return false;
}

/// Returns whether the path is longer than the system accepts. Calls by name would still succeed,
/// but this limit also bounds the depth of the recursion.
bool FileDeletion::isTooLong() const { return m_strPath.size() >= PATH_MAX; }

bool FileDeletion::setMode(int in_iDirectory, const char* in_szName, bool in_bModeWasSet)
{
    if (!m_bForce)
    {
        VELMORA_FILE_LOG_ERROR(s_szDelete << " : no write permission on " << m_strPath);
        return false;
    }
    VELMORA_FILE_LOG_DEBUG(s_szDelete << " : no write permission on " << m_strPath);
    // Tried once only: some file systems report success for a mode that they did not set.
    if (!in_bModeWasSet && fchmodat(in_iDirectory, in_szName, S_IWUSR, AT_SYMLINK_NOFOLLOW) == 0)
        return true;
    const int iError = errno;
    VELMORA_FILE_LOG_ERROR(s_szDelete << " : failed to acquire write permission on " << m_strPath);
    if (!in_bModeWasSet)
        FileFailure::logReason("change the mode of " + m_strPath, iError);
    return false;
}

bool FileDeletion::removeDirectory(int in_iDirectory, const char* in_szName,
                                   const struct stat& in_status)
{
    VELMORA_FILE_LOG_DEBUG(s_szDelete << " : " << m_strPath << " is a directory");
    if (!removeItems(in_iDirectory, in_szName, in_status))
        return false;
    if (unlinkat(in_iDirectory, in_szName, AT_REMOVEDIR) == 0)
    {
        logDeleted();
        return true;
    }
    const int iError = errno;
    VELMORA_FILE_LOG_ERROR(s_szDelete << " : failed to rmdir " << m_strPath);
    FileFailure::logReason("delete " + m_strPath, iError);
    return false;
}

bool FileDeletion::removeItems(int in_iDirectory, const char* in_szName,
                               const struct stat& in_status)
{
    ItemReader directory(in_iDirectory, in_szName, in_status);
    if (!directory.isOpen())
    {
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR(s_szDelete << " : failed to open directory " << m_strPath);
        FileFailure::logReason("open directory " + m_strPath, iError);
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
        FileFailure::logReason("read directory " + m_strPath, directory.error());
    return bRemoved;
}

void FileDeletion::logDeleted() const
{
    if (m_bVerbose)
        VELMORA_FILE_LOG_INFO(m_strPath);
}

} // namespace Velmora

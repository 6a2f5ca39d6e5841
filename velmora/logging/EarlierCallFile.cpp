// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/EarlierCallFile.h"

#include "velmora/logging/TrustedOpen.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Velmora
{

namespace
{

/// Renames a file unless the new name exists, on a file system that cannot do so in one step: an
/// empty file of our own takes the name first, and is replaced. Returns 0, or the error.
int renameByReplacing(int in_iFrom, const std::string& in_strFrom, int in_iTo,
                      const std::string& in_strTo)
{
    const OwnedDescriptor taken(::openat(in_iTo, in_strTo.c_str(),
                                         O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                         S_IRUSR | S_IWUSR));
    if (!taken.isOpen())
        return errno;
    if (::renameat(in_iFrom, in_strFrom.c_str(), in_iTo, in_strTo.c_str()) == 0)
        return 0;
    const int iError = errno;
    ::unlinkat(in_iTo, in_strTo.c_str(), 0);
    return iError;
}

/// Renames a file unless the new name exists. Returns 0, or the error.
int renameWithoutReplacing(int in_iFrom, const std::string& in_strFrom, int in_iTo,
                           const std::string& in_strTo)
{
    if (::renameat2(in_iFrom, in_strFrom.c_str(), in_iTo, in_strTo.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    // What a kernel and a file system return that do not know the flag.
    if (errno == ENOSYS || errno == EINVAL)
        return renameByReplacing(in_iFrom, in_strFrom, in_iTo, in_strTo);
    return errno;
}

std::string pathOf(const std::string& in_strDirectory, const CallFileName::Name& in_name)
{
    std::string strPath = in_strDirectory + '/';
    if (!in_name.strDirectory.empty())
        strPath.append(in_name.strDirectory).append(1, '/');
    return strPath.append(in_name.strFile);
}

} // namespace

EarlierCallFile::EarlierCallFile(std::string in_strDirectory, CallFileName in_names,
                                 std::string in_strCallId)
    : m_strDirectory(std::move(in_strDirectory)), m_names(std::move(in_names)),
      m_strCallId(std::move(in_strCallId))
{
}

bool EarlierCallFile::keep()
{
    const CallFileName::Name name = m_names.partsOf(m_strCallId);
    struct stat status = {};
    if (::lstat(pathOf(m_strDirectory, name).c_str(), &status) != 0)
        return errno == ENOENT || fail(errno);
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        return true;
    return keepChangedAt(name, status.st_mtime);
}

bool EarlierCallFile::keepChangedAt(const CallFileName::Name& in_name, std::time_t in_changed)
{
    const OwnedDescriptor from = openDirectory(in_name.strDirectory);
    if (!from.isOpen())
        return false;
    for (unsigned int ui = 0; ui <= CallFileName::s_uiMostKept; ++ui)
    {
        const CallFileName::Name kept = m_names.keptPartsOf(m_strCallId, in_changed, ui);
        // A long id is cut in another place if its name has a time.
        const bool bElsewhere = kept.strDirectory != in_name.strDirectory;
        const OwnedDescriptor to =
            bElsewhere ? openDirectory(kept.strDirectory) : OwnedDescriptor();
        if (bElsewhere && !to.isOpen())
            return false;
        const int iError = renameWithoutReplacing(
            from.number(), in_name.strFile, bElsewhere ? to.number() : from.number(), kept.strFile);
        if (iError == 0)
            m_strPath = pathOf(m_strDirectory, kept);
        // ENOENT: another process has renamed the file by now.
        if (iError == 0 || iError == ENOENT)
            return true;
        if (iError != EEXIST)
            return fail(iError);
    }
    return fail(EEXIST);
}

OwnedDescriptor EarlierCallFile::openDirectory(const std::string& in_strBelow)
{
    // A link is followed only in front of a slash.
    TrustedOpen opened = openTrusted(m_strDirectory + '/' + in_strBelow + '/',
                                     O_PATH | O_DIRECTORY | O_CLOEXEC, 0, true);
    if (!opened.strLink.empty())
        m_strProblem = opened.strLink + " is a symbolic link of the user with the number " +
                       std::to_string(opened.uiOwner);
    else if (!opened.descriptor.isOpen())
        fail(opened.iError);
    return std::move(opened.descriptor);
}

bool EarlierCallFile::fail(int in_iError)
{
    m_strProblem = std::strerror(in_iError);
    return false;
}

} // namespace Velmora

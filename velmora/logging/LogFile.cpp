// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogFile.h"

#include "velmora/logging/TrustedOpen.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace Velmora
{

namespace
{

/// How often `open` makes a file that is gone when it is opened, or the other way round.
constexpr int s_iAttempts = 10;

const char* remedyFor(int in_iError)
{
    switch (in_iError)
    {
    case EACCES:
    case EPERM:
        return ". Give the file and its directory to the user of this process";
    case ENOENT:
        return ". Make the directory, or set CreateDirs=true";
    case EISDIR:
        return ". Name a file in it";
    case EMFILE:
    case ENFILE:
        return ". Raise the limit of open files";
    case EROFS:
        return ". Mount the file system for writing, or log to another one";
    default:
        return "";
    }
}

std::string problemOfLink(const std::string& in_strPath, const TrustedOpen& in_result)
{
    return "cannot open " + in_strPath + ": " + in_result.strLink +
           " is a symbolic link of the user with the number " + std::to_string(in_result.uiOwner) +
           ". Only links of root and of the user of this process are followed; remove the link or "
           "give it to one of them";
}

} // namespace

LogFile::LogFile(Location in_location) : m_location(std::move(in_location)) {}

LogFile::Opened LogFile::open(bool in_bTruncates) const
{
    if (m_location.strPath.empty())
        return {{}, ENOENT, "cannot open a file without a name. Set \"File\" to its path"};
    Opened opened = openOrMake(in_bTruncates);
    if (opened.iError != 0 && opened.strProblem.empty())
        opened.strProblem = "cannot open " + m_location.strPath + ": " +
                            std::strerror(opened.iError) + remedyFor(opened.iError);
    return opened;
}

LogFile::Opened LogFile::openOrMake(bool in_bTruncates) const
{
    const int iFlags = O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC;
    TrustedOpen result;
    for (int i = 0; i != s_iAttempts; ++i)
    {
        result = openTrusted(m_location.strPath, iFlags | (in_bTruncates ? O_TRUNC : 0), 0);
        if (result.iError != ENOENT)
            break;
        result = openTrusted(m_location.strPath, iFlags | O_CREAT | O_EXCL, m_location.uiMode,
                             m_location.bMakesDirectories);
        // Not up to the umask of the process. A file system without modes is no failure.
        if (result.descriptor.isOpen())
            static_cast<void>(::fchmod(result.descriptor.number(), m_location.uiMode));
        if (result.iError != EEXIST)
            break;
    }
    return {std::move(result.descriptor), result.iError,
            result.strLink.empty() ? "" : problemOfLink(m_location.strPath, result)};
}

OwnedDescriptor LogFile::use(OwnedDescriptor in_descriptor) noexcept
{
    struct stat status = {};
    static_cast<void>(::fstat(in_descriptor.number(), &status));
    m_uiDevice = status.st_dev;
    m_uiInode = status.st_ino;
    m_bRegular = S_ISREG(status.st_mode);
    m_uiSize = static_cast<std::uint64_t>(status.st_size);
    m_changed = status.st_mtime;
    return std::exchange(m_descriptor, std::move(in_descriptor));
}

std::size_t LogFile::write(std::string_view in_bytes) noexcept
{
    std::size_t uiWritten = 0;
    while (uiWritten != in_bytes.size())
    {
        const ssize_t iResult = ::write(m_descriptor.number(), in_bytes.data() + uiWritten,
                                        in_bytes.size() - uiWritten);
        if (iResult > 0) [[likely]]
            uiWritten += static_cast<std::size_t>(iResult);
        else if (iResult == 0 || errno != EINTR)
            break;
    }
    m_uiSize += uiWritten;
    return uiWritten;
}

LogFile::Place LogFile::look() noexcept
{
    struct stat own = {};
    if (::fstat(m_descriptor.number(), &own) != 0 || own.st_dev != m_uiDevice ||
        own.st_ino != m_uiInode)
    {
        m_descriptor.release();
        return Place::lost;
    }
    m_uiSize = static_cast<std::uint64_t>(own.st_size);
    struct stat named = {};
    const bool bSame = ::stat(m_location.strPath.c_str(), &named) == 0 &&
                       named.st_dev == m_uiDevice && named.st_ino == m_uiInode;
    return bSame ? Place::same : Place::moved;
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Backups.h"

#include "velmora/logging/OwnedDescriptor.h"

#include <zlib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <utility>
#include <vector>

namespace Velmora
{

namespace
{

constexpr const char* s_szCompressed = ".gz";

/// Does not count a path that does not exist as a failure.
bool isDoneOrMissing(int in_iResult) { return in_iResult == 0 || errno == ENOENT; }

bool existsAt(const std::string& in_strPath)
{
    struct stat status = {};
    return ::lstat(in_strPath.c_str(), &status) == 0;
}

/// Writes a file in the format of gzip.
class GzipFile
{
  public:
    explicit GzipFile(OwnedDescriptor in_descriptor)
        : m_pFile(::gzdopen(in_descriptor.number(), "wb"))
    {
        if (m_pFile != nullptr)
            in_descriptor.release();
        else
            errno = ENOMEM;
    }
    ~GzipFile()
    {
        if (m_pFile != nullptr)
            ::gzclose_w(m_pFile);
    }
    GzipFile(const GzipFile&) = delete;
    GzipFile& operator=(const GzipFile&) = delete;

    [[nodiscard]] bool isOpen() const { return m_pFile != nullptr; }
    [[nodiscard]] bool write(const char* in_pBytes, std::size_t in_uiLength)
    {
        return ::gzwrite(m_pFile, in_pBytes, static_cast<unsigned int>(in_uiLength)) != 0;
    }
    /// Writes the end of the format, and closes the file.
    [[nodiscard]] bool close() { return ::gzclose_w(std::exchange(m_pFile, nullptr)) == Z_OK; }

  private:
    gzFile m_pFile;
};

bool copyCompressed(const OwnedDescriptor& in_from, OwnedDescriptor in_to)
{
    GzipFile file(std::move(in_to));
    std::vector<char> bytes(65536);
    while (file.isOpen())
    {
        const ssize_t iLength = ::read(in_from.number(), bytes.data(), bytes.size());
        if (iLength == 0)
            return file.close();
        if (iLength < 0 && errno == EINTR)
            continue;
        if (iLength < 0 || !file.write(bytes.data(), static_cast<std::size_t>(iLength)))
            break;
    }
    return false;
}

} // namespace

bool Backups::take(const std::string& in_strFile)
{
    const unsigned int uiFree = firstFree();
    if (uiFree > m_uiLast &&
        !(remove(nameOf(m_uiLast)) && remove(nameOf(m_uiLast) + s_szCompressed)))
        return false;
    for (unsigned int uiTo = std::min(uiFree, m_uiLast); uiTo > m_uiFirst; --uiTo)
        if (!shift(uiTo))
            return false;
    return rename(in_strFile, getNewest());
}

std::string Backups::nameOf(unsigned int in_uiNumber) const
{
    return in_uiNumber == 0 ? m_strBase : m_strBase + '.' + std::to_string(in_uiNumber);
}

bool Backups::exists(unsigned int in_uiNumber) const
{
    const std::string strName = nameOf(in_uiNumber);
    return existsAt(strName) || existsAt(strName + s_szCompressed);
}

unsigned int Backups::firstFree() const
{
    unsigned int uiNumber = m_uiFirst;
    while (uiNumber <= m_uiLast && exists(uiNumber))
        ++uiNumber;
    return uiNumber;
}

bool Backups::remove(const std::string& in_strPath)
{
    if (isDoneOrMissing(::unlink(in_strPath.c_str())))
        return true;
    m_strProblem = "cannot remove " + in_strPath;
    return false;
}

bool Backups::rename(const std::string& in_strFrom, const std::string& in_strTo)
{
    if (::rename(in_strFrom.c_str(), in_strTo.c_str()) == 0)
        return true;
    m_strProblem = "cannot rename " + in_strFrom + " to " + in_strTo;
    return false;
}

/// Gives the backup below a number that number.
bool Backups::shift(unsigned int in_uiNumber)
{
    for (const char* const szSuffix : {"", s_szCompressed})
    {
        const std::string strFrom = nameOf(in_uiNumber - 1) + szSuffix;
        if (existsAt(strFrom) && !rename(strFrom, nameOf(in_uiNumber) + szSuffix))
            return false;
    }
    return true;
}

bool compressFile(const std::string& in_strPath)
{
    const std::string strPart = in_strPath + s_szCompressed + ".part";
    const OwnedDescriptor from(::open(in_strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!from.isOpen() || ::fstat(from.number(), &status) != 0)
        return false;
    // A part of an earlier attempt that was cut off.
    if (!isDoneOrMissing(::unlink(strPart.c_str())))
        return false;
    OwnedDescriptor to(::open(strPart.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!to.isOpen())
        return false;
    const std::array times{status.st_atim, status.st_mtim};
    const bool bDone = ::fchmod(to.number(), status.st_mode & 0777U) == 0 &&
                       copyCompressed(from, std::move(to)) &&
                       ::utimensat(AT_FDCWD, strPart.c_str(), times.data(), 0) == 0 &&
                       ::rename(strPart.c_str(), (in_strPath + s_szCompressed).c_str()) == 0;
    const int iError = errno;
    ::unlink((bDone ? in_strPath : strPart).c_str());
    errno = iError;
    return bDone;
}

} // namespace Velmora

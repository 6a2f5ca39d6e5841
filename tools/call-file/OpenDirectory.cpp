// SPDX-License-Identifier: BSD-2-Clause

#include "OpenDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace CallFileTool
{

namespace
{

constexpr int s_iFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

} // namespace

OpenDirectory::OpenDirectory(int in_iDescriptor, std::string in_strPath)
    : m_iDescriptor(in_iDescriptor), m_strPath(std::move(in_strPath))
{
}

OpenDirectory::OpenDirectory(OpenDirectory&& inout_other) noexcept
    : m_iDescriptor(std::exchange(inout_other.m_iDescriptor, -1)),
      m_strPath(std::move(inout_other.m_strPath))
{
}

OpenDirectory::~OpenDirectory()
{
    if (m_iDescriptor >= 0)
        ::close(m_iDescriptor);
}

OpenDirectory OpenDirectory::at(const std::string& in_strPath)
{
    return {::open(in_strPath.c_str(), s_iFlags), in_strPath};
}

std::string OpenDirectory::pathOf(const std::string& in_strName) const
{
    return m_strPath.ends_with('/') ? m_strPath + in_strName : m_strPath + '/' + in_strName;
}

OpenDirectory OpenDirectory::open(const std::string& in_strName) const
{
    return {::openat(m_iDescriptor, in_strName.c_str(), s_iFlags | O_NOFOLLOW), pathOf(in_strName)};
}

void OpenDirectory::withNested(const std::string& in_strNames,
                               const std::function<void(const OpenDirectory&)>& in_function) const
{
    if (in_strNames.empty())
        return in_function(*this);
    const std::size_t uiSlash = in_strNames.find('/');
    const OpenDirectory first = open(in_strNames.substr(0, uiSlash));
    if (first.isOpen())
        first.withNested(uiSlash == std::string::npos ? "" : in_strNames.substr(uiSlash + 1),
                         in_function);
}

std::optional<struct stat> OpenDirectory::statusOf(const std::string& in_strName) const
{
    struct stat status = {};
    if (::fstatat(m_iDescriptor, in_strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return status;
}

std::vector<std::string> OpenDirectory::names() const
{
    std::vector<std::string> result;
    // A descriptor of its own: the stream closes it, and reads from the beginning.
    const int iCopy = ::openat(m_iDescriptor, ".", s_iFlags);
    DIR* const pStream = iCopy < 0 ? nullptr : ::fdopendir(iCopy);
    if (pStream == nullptr)
    {
        const int iError = errno;
        if (iCopy >= 0)
            ::close(iCopy);
        errno = iError;
        return result;
    }
    errno = 0;
    while (const dirent* const pItem = ::readdir(pStream))
    {
        if (const std::string_view name = pItem->d_name; name != "." && name != "..")
            result.emplace_back(name);
        errno = 0;
    }
    const int iError = errno;
    ::closedir(pStream);
    errno = iError;
    return result;
}

} // namespace CallFileTool

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/ItemReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace Velmora
{

ItemReader::ItemReader(const char* in_szPath) : m_pDirectory(opendir(in_szPath)) {}

ItemReader::ItemReader(int in_iParent, const char* in_szName, const struct stat& in_seen)
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

ItemReader::~ItemReader()
{
    if (isOpen())
        closedir(m_pDirectory);
}

const char* ItemReader::next()
{
    errno = 0;
    while (const dirent* const pItem = readdir(m_pDirectory))
        if (const std::string_view name = pItem->d_name; name != "." && name != "..")
            return pItem->d_name;
    m_iError = errno;
    return nullptr;
}

} // namespace Velmora

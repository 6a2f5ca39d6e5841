// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBufImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

#include <fcntl.h>

#include <cstdio>
#include <optional>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(VfsFileBuf)

namespace Velmora
{

static_assert(VfsFileBufImpl::app == int{std::ios_base::app});
static_assert(VfsFileBufImpl::ate == int{std::ios_base::ate});
static_assert(VfsFileBufImpl::binary == int{std::ios_base::binary});
static_assert(VfsFileBufImpl::in == int{std::ios_base::in});
static_assert(VfsFileBufImpl::out == int{std::ios_base::out});
static_assert(VfsFileBufImpl::trunc == int{std::ios_base::trunc});

namespace
{

constexpr long s_iDefaultPermission = 0666;

/// Returns the flags of `open` for a mode; none for an invalid mode.
std::optional<int> openFlags(int in_iMode)
{
    constexpr int iIn = VfsFileBufImpl::in;
    constexpr int iOut = VfsFileBufImpl::out;
    constexpr int iTrunc = VfsFileBufImpl::trunc;
    constexpr int iApp = VfsFileBufImpl::app;
    switch (in_iMode & ~(VfsFileBufImpl::ate | VfsFileBufImpl::binary))
    {
    case iIn:
        return O_RDONLY;
    case iOut:
    case iOut | iTrunc:
        return O_WRONLY | O_CREAT | O_TRUNC;
    case iOut | iApp:
        return O_WRONLY | O_CREAT | O_APPEND;
    case iIn | iOut:
        return O_RDWR;
    case iIn | iOut | iTrunc:
        return O_RDWR | O_CREAT | O_TRUNC;
    default:
        return std::nullopt;
    }
}

} // namespace

VfsFileBufImpl::VfsFileBufImpl(const TSHandle<VirtualFileSystem>& in_hFileSystem)
    : m_hFileSystem(in_hFileSystem)
{
}

VfsFileBufImpl::~VfsFileBufImpl() = default;

bool VfsFileBufImpl::_M_open(const char* in_szName, int in_iMode, long in_iPermission)
{
    if (m_bIsOpen)
        return false;
    const std::optional<int> flags = openFlags(in_iMode);
    if (!flags)
        return false;

    const long iPermission = *flags == O_RDONLY ? 0 : in_iPermission;
    // Released before the new file is opened, so that at most one is open.
    m_pFile = nullptr;
    ManagedHandle<VirtualFileSystem::File, TSReferenceCount> hFile =
        m_hFileSystem->open(in_szName, *flags, static_cast<unsigned int>(iPermission));
    if (hFile.isNull())
        return false;
    if ((in_iMode & ate) != 0 && hFile->lseek(0, SEEK_END) == -1)
        return false;

    m_pFile = std::move(hFile);
    m_bIsOpen = true;
    m_iFileDescriptor = -1;
    m_bShouldClose = m_bIsOpen;
    m_iOpenMode = in_iMode;
    m_bRegularFile = true;
    return true;
}

bool VfsFileBufImpl::_M_open(const char* in_szName, int in_iMode)
{
    return _M_open(in_szName, in_iMode, s_iDefaultPermission);
}

bool VfsFileBufImpl::_M_open(int, int) { return false; }

bool VfsFileBufImpl::_M_close()
{
    if (!m_bIsOpen)
        return false;
    VELMORA_FILE_ASSERT(!m_pFile.isNull());
    if (m_pFile.isNull())
        return false;

    // Reset before the file is closed, as that may throw.
    m_iOpenMode = 0;
    m_bIsOpen = false;
    return !std::exchange(m_bShouldClose, false) || m_pFile->close() == 0;
}

long VfsFileBufImpl::_M_read(char* out_pBuffer, long in_iCount)
{
    if (m_pFile.isNull())
        return -1;
    return m_pFile->read(out_pBuffer, static_cast<unsigned long>(in_iCount));
}

bool VfsFileBufImpl::_M_write(const char* in_pBuffer, long in_iCount)
{
    if (m_pFile.isNull())
        return false;
    return m_pFile->write(in_pBuffer, static_cast<unsigned long>(in_iCount)) == in_iCount;
}

std::streamoff VfsFileBufImpl::_M_seek(std::streamoff in_iOffset, int in_iDirection)
{
    if (m_pFile.isNull())
        return -1;
    switch (in_iDirection)
    {
    case beg:
        return in_iOffset < 0 ? -1 : m_pFile->lseek(in_iOffset, SEEK_SET);
    case cur:
        return m_pFile->lseek(in_iOffset, SEEK_CUR);
    case end:
        return in_iOffset < -_M_file_size() ? -1 : m_pFile->lseek(in_iOffset, SEEK_END);
    default:
        return -1;
    }
}

std::streamoff VfsFileBufImpl::_M_file_size()
{
    if (m_pFile.isNull())
        return 0;
    const std::streamoff iPosition = m_pFile->lseek(0, SEEK_CUR);
    if (iPosition == -1)
        return -1;
    const std::streamoff iSize = m_pFile->lseek(0, SEEK_END);
    return m_pFile->lseek(iPosition, SEEK_SET) == -1 ? -1 : iSize;
}

} // namespace Velmora

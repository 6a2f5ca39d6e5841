// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DiskFileSystem.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/OS.h"

#include <ace/OS_Errno.h>
#include <ace/OS_NS_fcntl.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DiskFileSystem)

namespace Velmora
{

namespace
{

/// The flags for opening a path of unknown type for reading: do not wait for the other end of a
/// FIFO or for a device, do not make a terminal the controlling one of the process, and do not pass
/// the descriptor on to commands that the process starts.
constexpr int s_iWithoutWait = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

/// Sets `errno` at the end of a scope: to the value that was assigned, else to the value it had at
/// the beginning. So releasing objects and logging within the scope do not change it.
using KeptErrno = ACE_Errno_Guard;

bool isItselfOrParent(std::string_view in_name) { return in_name == "." || in_name == ".."; }

} // namespace

// DiskFileSystem

DiskFileSystem::DiskFileSystem()
    : ObjectWithLogger(std::string(fileScopeLoggerName())),
      m_pAnchor(std::make_shared<Anchor>(this))
{
    VELMORA_TRACE_SCOPE(DiskFileSystem ctor);
}

DiskFileSystem::~DiskFileSystem()
{
    VELMORA_TRACE_SCOPE(DiskFileSystem dtor);
    VELMORA_ASSERT_TEXT(m_pAnchor.use_count() == 1, "m_uiNbOfEntriesOpen == 0");
    // Entries that are left over see null from here on and fail, instead of using a destroyed
    // object.
    m_pAnchor->pFileSystem = nullptr;
}

VirtualFileSystem::FileHandle DiskFileSystem::open(const char* in_szPath, int in_iFlags)
{
    KeptErrno error(errno);
    VELMORA_TRACE_SCOPE(DiskFileSystem::open);
    FileHandle hFile(new File(*this));
    if (hFile->open(in_szPath, in_iFlags) >= 0)
        return hFile;
    error = errno;
    return nullptr;
}

VirtualFileSystem::FileHandle DiskFileSystem::open(const char* in_szPath, int in_iFlags,
                                                   unsigned int in_uiMode)
{
    KeptErrno error(errno);
    VELMORA_TRACE_SCOPE(DiskFileSystem::open);
    FileHandle hFile(new File(*this));
    if (hFile->open(in_szPath, in_iFlags, in_uiMode) >= 0)
        return hFile;
    error = errno;
    return nullptr;
}

VirtualFileSystem::DirectoryHandle DiskFileSystem::opendir(const char* in_szPath)
{
    KeptErrno error(errno);
    VELMORA_TRACE_SCOPE(DiskFileSystem::opendir);
    DirectoryHandle hDirectory(new Directory(*this));
    if (hDirectory->open(in_szPath) >= 0)
        return hDirectory;
    error = errno;
    return nullptr;
}

bool DiskFileSystem::exists(const char* in_szPath)
{
    KeptErrno error(errno);
    VELMORA_TRACE_SCOPE(DiskFileSystem::exists);
    if (!opendir(in_szPath).isNull() || !open(in_szPath, s_iWithoutWait).isNull())
        return true;
    error = errno;
    return false;
}

bool DiskFileSystem::setWorkingDirectory(const char* in_szPath)
{
    KeptErrno error(errno);
    VELMORA_TRACE_SCOPE(DiskFileSystem::setWorkingDirectory);
    std::string strPath = in_szPath == nullptr ? "" : in_szPath;
    if (opendir(in_szPath).isNull())
    {
        error = errno;
        VELMORA_LOG_ERROR("Cannot set path "
                          << strPath << " as current working directory as path is not valid");
        return false;
    }
    if (!strPath.empty() && !strPath.ends_with('/'))
        strPath += '/';
    m_strWorkingDirectory.swap(strPath);
    return true;
}

const char* DiskFileSystem::getRealPath(const char* in_szPath) const
{
    if (!OS::isPathRelative(in_szPath))
        return in_szPath;
    m_strRealPath = m_strWorkingDirectory + in_szPath;
    return m_strRealPath.c_str();
}

// DiskFileSystem::Entry

DiskFileSystem::Entry::Entry(const DiskFileSystem& in_fileSystem)
    : m_pAnchor(in_fileSystem.m_pAnchor)
{
}

DiskFileSystem::Entry::~Entry() = default;

const char* DiskFileSystem::Entry::getPath() const { return m_strPath.c_str(); }

bool DiskFileSystem::Entry::canOpen(const char* in_szPath) const
{
    if (in_szPath != nullptr && getFileSystem() != nullptr)
        return true;
    errno = in_szPath == nullptr ? EFAULT : ENODEV;
    return false;
}

const char* DiskFileSystem::Entry::realPath(const std::string& in_strPath) const
{
    return getFileSystem()->getRealPath(in_strPath.c_str());
}

// DiskFileSystem::File

DiskFileSystem::File::File(const DiskFileSystem& in_fileSystem) : Entry(in_fileSystem) {}

DiskFileSystem::File::~File() { DiskFileSystem::File::close(); }

bool DiskFileSystem::File::isFile() const { return true; }
bool DiskFileSystem::File::isDirectory() const { return false; }

int DiskFileSystem::File::open(const char* in_szPath, int in_iFlags)
{
    if ((in_iFlags & O_CREAT) == 0)
        return open(in_szPath, in_iFlags, 0);
    VELMORA_FILE_LOG_ERROR("You must provide a mode if you are creating a new file");
    errno = EINVAL;
    return -1;
}

int DiskFileSystem::File::open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode)
{
    if (!canOpen(in_szPath))
        return -1;
    std::string strPath = in_szPath;
    const int iDescriptor = ACE_OS::open(realPath(strPath), in_iFlags, in_uiMode);
    if (iDescriptor == -1)
        return -1;
    m_iDescriptor = iDescriptor;
    setPath(std::move(strPath));
    return 0;
}

int DiskFileSystem::File::openWithoutWait(const char* in_szPath)
{
    if (open(in_szPath, s_iWithoutWait) < 0)
        return -1;
    // Clears O_NONBLOCK, so that the file is read like any other.
    fcntl(m_iDescriptor, F_SETFL, 0);
    return 0;
}

int DiskFileSystem::File::close()
{
    if (m_iDescriptor == -1)
        return -1;
    // The descriptor is reset even if `close` fails: Linux has released it, and another thread may
    // have it again.
    return ::close(std::exchange(m_iDescriptor, -1));
}

long DiskFileSystem::File::write(const void* in_pData, unsigned long in_uiCount)
{
    return ::write(m_iDescriptor, in_pData, in_uiCount);
}

long DiskFileSystem::File::read(void* out_pData, unsigned long in_uiCount)
{
    return ::read(m_iDescriptor, out_pData, in_uiCount);
}

long DiskFileSystem::File::lseek(long in_iOffset, int in_iWhence)
{
    return ::lseek(m_iDescriptor, in_iOffset, in_iWhence);
}

// DiskFileSystem::Directory

DiskFileSystem::Directory::Directory(const DiskFileSystem& in_fileSystem) : Entry(in_fileSystem) {}

DiskFileSystem::Directory::~Directory() { DiskFileSystem::Directory::close(); }

bool DiskFileSystem::Directory::isFile() const { return false; }
bool DiskFileSystem::Directory::isDirectory() const { return true; }

int DiskFileSystem::Directory::open(const char* in_szPath)
{
    close();
    if (!canOpen(in_szPath))
        return -1;
    std::string strPath = in_szPath;
    m_pStream = ::opendir(realPath(strPath));
    if (m_pStream == nullptr)
        return -1;
    setPath(std::move(strPath));
    return 0;
}

int DiskFileSystem::Directory::close()
{
    if (m_pStream != nullptr)
        closedir(std::exchange(m_pStream, nullptr));
    return 0;
}

const dirent* DiskFileSystem::Directory::nextItem()
{
    const dirent* pItem = nullptr;
    do
        pItem = m_pStream == nullptr ? nullptr : readdir(m_pStream);
    while (pItem != nullptr && isItselfOrParent(pItem->d_name));
    return pItem;
}

VirtualFileSystem::EntryHandle
DiskFileSystem::Directory::openAsDirectory(const char* in_szPath) const
{
    EntryHandle hEntry(new Directory(*getFileSystem()));
    // `Entry` is a virtual base class, from which only `dynamic_cast` leads to the derived class.
    auto* const pDirDerived = dynamic_cast<Directory*>(hEntry.get());
    VELMORA_FILE_ASSERT_TEXT(pDirDerived != nullptr, "!pDirDerived.isNull()");
    if (pDirDerived == nullptr || pDirDerived->open(in_szPath) < 0)
        return nullptr;
    return hEntry;
}

VirtualFileSystem::EntryHandle DiskFileSystem::Directory::openAsFile(const char* in_szPath) const
{
    EntryHandle hEntry(new File(*getFileSystem()));
    auto* const pFileDerived = dynamic_cast<File*>(hEntry.get());
    VELMORA_FILE_ASSERT_TEXT(pFileDerived != nullptr, "!pFileDerived.isNull()");
    if (pFileDerived == nullptr || pFileDerived->openWithoutWait(in_szPath) < 0)
        return nullptr;
    return hEntry;
}

VirtualFileSystem::EntryHandle DiskFileSystem::Directory::read()
{
    KeptErrno error(errno);
    const dirent* const pItem = nextItem();
    if (pItem == nullptr || getFileSystem() == nullptr)
    {
        // `readdir` sets `errno` after a failure only and leaves it unchanged at the end.
        error = pItem == nullptr ? errno : ENODEV;
        return nullptr;
    }
    std::string strPath = getPath();
    if (!strPath.ends_with('/'))
        strPath += '/';
    strPath += pItem->d_name;
    EntryHandle hEntry = openAsDirectory(strPath.c_str());
    // A directory that `opendir` cannot open, for example for lack of descriptors, must not be
    // opened as a file instead: `open` would succeed.
    if (hEntry.isNull() && errno == ENOTDIR)
        hEntry = openAsFile(strPath.c_str());
    if (hEntry.isNull())
    {
        error = errno;
        VELMORA_FILE_LOG_ERROR("Current entry " << strPath << " is neither a file nor a directory. "
                                                << "NOT SUPPORTED YET");
    }
    return hEntry;
}

void DiskFileSystem::Directory::rewind() { seek(0); }

void DiskFileSystem::Directory::seek(long in_iPosition)
{
    if (m_pStream != nullptr)
        seekdir(m_pStream, in_iPosition);
}

} // namespace Velmora

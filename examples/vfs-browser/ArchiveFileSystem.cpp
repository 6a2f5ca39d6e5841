// SPDX-License-Identifier: BSD-2-Clause

#include "ArchiveFileSystem.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <variant>

namespace
{

int fail(int in_iError)
{
    errno = in_iError;
    return -1;
}

std::shared_ptr<const ArchiveContents> contentsOf(const std::string& in_strName,
                                                  ByteSource& inout_source, std::size_t in_uiLimit)
{
    auto pContents = std::make_shared<ArchiveContents>();
    readArchive(in_strName, inout_source, in_uiLimit, *pContents);
    return pContents;
}

std::shared_ptr<const ArchiveContents> contentsOf(const std::string& in_strPath,
                                                  std::size_t in_uiLimit)
{
    FileSource source(in_strPath);
    return contentsOf(in_strPath, source, in_uiLimit);
}

} // namespace

// ArchiveFileSystem

ArchiveFileSystem::ArchiveFileSystem(const std::string& in_strPath, std::size_t in_uiLimit)
    : m_pContents(contentsOf(in_strPath, in_uiLimit))
{
}

ArchiveFileSystem::ArchiveFileSystem(const std::string& in_strName, ByteSource& inout_source,
                                     std::size_t in_uiLimit)
    : m_pContents(contentsOf(in_strName, inout_source, in_uiLimit))
{
}

ArchiveFileSystem::~ArchiveFileSystem() = default;

Velmora::VirtualFileSystem::FileHandle ArchiveFileSystem::open(const char* in_szPath, int in_iFlags)
{
    FileHandle hFile(new File(m_pContents));
    return hFile->open(in_szPath, in_iFlags) == 0 ? hFile : nullptr;
}

Velmora::VirtualFileSystem::FileHandle ArchiveFileSystem::open(const char* in_szPath, int in_iFlags,
                                                               unsigned int)
{
    return open(in_szPath, in_iFlags);
}

Velmora::VirtualFileSystem::DirectoryHandle ArchiveFileSystem::opendir(const char* in_szPath)
{
    DirectoryHandle hDirectory(new Directory(m_pContents));
    return hDirectory->open(in_szPath) == 0 ? hDirectory : nullptr;
}

bool ArchiveFileSystem::exists(const char* in_szPath)
{
    return !opendir(in_szPath).isNull() || !open(in_szPath, O_RDONLY).isNull();
}

// ArchiveFileSystem::Entry

ArchiveFileSystem::Entry::Entry(std::shared_ptr<const ArchiveContents> in_pContents)
    : m_pContents(std::move(in_pContents))
{
}

ArchiveFileSystem::Entry::~Entry() = default;

const char* ArchiveFileSystem::Entry::getPath() const { return m_strPath.c_str(); }

// ArchiveFileSystem::File

ArchiveFileSystem::File::File(const std::shared_ptr<const ArchiveContents>& in_pContents)
    : Entry(in_pContents)
{
}

ArchiveFileSystem::File::~File() = default;

bool ArchiveFileSystem::File::isFile() const { return true; }
bool ArchiveFileSystem::File::isDirectory() const { return false; }

int ArchiveFileSystem::File::open(const char* in_szPath, int in_iFlags)
{
    if (in_szPath == nullptr)
        return fail(EFAULT);
    if ((in_iFlags & O_ACCMODE) != O_RDONLY || (in_iFlags & (O_CREAT | O_TRUNC)) != 0)
        return fail(EROFS);
    const bool bFollows = (in_iFlags & O_NOFOLLOW) == 0;
    const ArchiveTree::Found found = tree().find(
        in_szPath, bFollows ? ArchiveTree::LastLink::FOLLOWED : ArchiveTree::LastLink::FOUND);
    if (found.pNode == nullptr)
        return fail(found.iError);
    if (std::holds_alternative<ArchiveTree::Link>(found.pNode->kind))
        return fail(ELOOP);
    const auto* const pContent = std::get_if<ArchiveTree::Content>(&found.pNode->kind);
    if (pContent == nullptr)
        return fail(EISDIR);
    if ((in_iFlags & O_DIRECTORY) != 0)
        return fail(ENOTDIR);
    setPath(in_szPath);
    m_pContent = *pContent;
    m_uiPosition = 0;
    return 0;
}

int ArchiveFileSystem::File::open(const char* in_szPath, int in_iFlags, unsigned int)
{
    return open(in_szPath, in_iFlags);
}

int ArchiveFileSystem::File::close()
{
    if (m_pContent == nullptr)
        return fail(EBADF);
    m_pContent = nullptr;
    return 0;
}

long ArchiveFileSystem::File::write(const void*, unsigned long) { return fail(EBADF); }

long ArchiveFileSystem::File::read(void* out_pData, unsigned long in_uiCount)
{
    if (m_pContent == nullptr)
        return fail(EBADF);
    if (m_uiPosition >= m_pContent->size() || in_uiCount == 0)
        return 0;
    if (out_pData == nullptr)
        return fail(EFAULT);
    const std::size_t uiRead = std::min(in_uiCount, m_pContent->size() - m_uiPosition);
    std::memcpy(out_pData, m_pContent->data() + m_uiPosition, uiRead);
    m_uiPosition += uiRead;
    return static_cast<long>(uiRead);
}

long ArchiveFileSystem::File::lseek(long in_iOffset, int in_iWhence)
{
    if (m_pContent == nullptr)
        return fail(EBADF);
    const long iSize = static_cast<long>(m_pContent->size());
    long iFrom = 0;
    switch (in_iWhence)
    {
    case SEEK_SET:
        break;
    case SEEK_CUR:
        iFrom = static_cast<long>(m_uiPosition);
        break;
    case SEEK_END:
        iFrom = iSize;
        break;
    case SEEK_DATA:
    case SEEK_HOLE:
        if (in_iOffset < 0 || in_iOffset >= iSize)
            return fail(ENXIO);
        in_iOffset = in_iWhence == SEEK_HOLE ? iSize : in_iOffset;
        break;
    default:
        return fail(EINVAL);
    }
    // `iFrom` is never negative, so `LONG_MAX - iFrom` does not overflow.
    if (in_iOffset > LONG_MAX - iFrom)
        return fail(EOVERFLOW);
    if (in_iOffset + iFrom < 0)
        return fail(EINVAL);
    m_uiPosition = static_cast<std::size_t>(in_iOffset + iFrom);
    return in_iOffset + iFrom;
}

// ArchiveFileSystem::Directory

ArchiveFileSystem::Directory::Directory(const std::shared_ptr<const ArchiveContents>& in_pContents)
    : Entry(in_pContents)
{
}

ArchiveFileSystem::Directory::~Directory() = default;

bool ArchiveFileSystem::Directory::isFile() const { return false; }
bool ArchiveFileSystem::Directory::isDirectory() const { return true; }

int ArchiveFileSystem::Directory::open(const char* in_szPath)
{
    close();
    if (in_szPath == nullptr)
        return fail(EFAULT);
    const ArchiveTree::Found found = tree().find(in_szPath);
    if (found.pNode == nullptr)
        return fail(found.iError);
    if (!std::holds_alternative<ArchiveTree::Directory>(found.pNode->kind))
        return fail(ENOTDIR);
    setPath(in_szPath);
    m_pNode = found.pNode;
    rewind();
    return 0;
}

int ArchiveFileSystem::Directory::close()
{
    m_pNode = nullptr;
    return 0;
}

Velmora::VirtualFileSystem::EntryHandle ArchiveFileSystem::Directory::read()
{
    if (m_pNode == nullptr)
    {
        errno = EBADF;
        return nullptr;
    }
    // Skipped names set `errno`, but the end of the directory must not.
    const int iErrno = errno;
    const auto& children = std::get<ArchiveTree::Directory>(m_pNode->kind).children;
    EntryHandle hEntry;
    while (hEntry.isNull() && m_next != children.end())
        hEntry = openEntry((m_next++)->first);
    errno = iErrno;
    return hEntry;
}

/// Opens the entry of this name. Returns null if it does not exist.
Velmora::VirtualFileSystem::EntryHandle
ArchiveFileSystem::Directory::openEntry(const std::string& in_strName) const
{
    std::string strPath = getPath();
    if (!strPath.ends_with('/'))
        strPath += '/';
    strPath += in_strName;
    auto pDirectory = std::make_unique<Directory>(contents());
    if (pDirectory->open(strPath.c_str()) == 0)
        return EntryHandle(pDirectory.release());
    auto pFile = std::make_unique<File>(contents());
    return pFile->open(strPath.c_str(), O_RDONLY) == 0 ? EntryHandle(pFile.release()) : nullptr;
}

void ArchiveFileSystem::Directory::rewind() { seek(0); }

void ArchiveFileSystem::Directory::seek(long in_iPosition)
{
    if (m_pNode == nullptr)
        return;
    const auto& children = std::get<ArchiveTree::Directory>(m_pNode->kind).children;
    const bool bInside =
        in_iPosition >= 0 && static_cast<std::size_t>(in_iPosition) < children.size();
    m_next = bInside ? std::next(children.begin(), in_iPosition) : children.end();
}

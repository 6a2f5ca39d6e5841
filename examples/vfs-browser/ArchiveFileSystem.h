// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "ArchiveReader.h"

#include "velmora/memory/InAccount.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The files and directories of an archive: a tar archive, plain or compressed, or a Debian
/// package. For what is read of an archive, and for the limits, see `readArchive`.
///
///     ArchiveFileSystem fileSystem("hello_2.10-3_amd64.deb");
///     const auto hFile = fileSystem.open("/usr/share/doc/hello/NEWS", O_RDONLY);
///
/// The constructor reads the whole archive, contents included. The archive is not needed
/// afterwards.
///
/// Paths begin at the root of the archive, with or without a '/', and are resolved as the operating
/// system does, with symbolic links and ".." (`ArchiveTree`). A symbolic link that leads out of the
/// archive, or nowhere, does not exist. After a failure, `errno` is that of a file system which is
/// mounted read-only: EROFS for flags that write or make a file, EISDIR for a directory that is
/// opened as a file, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, and EFAULT for a null path. Of the other
/// flags, O_DIRECTORY and O_NOFOLLOW take effect.
///
/// Ownership: entries share the contents and may outlive their file system.
/// Thread-safety: any number of threads may use one file system, and open and release entries. An
/// entry may be used by one thread at a time.
class ArchiveFileSystem : public Velmora::VirtualFileSystem,
                          public Velmora::InAccount<"ArchiveFileSystem">
{
  public:
    class Entry;
    class File;
    class Directory;

    static constexpr std::size_t s_uiDefaultLimit = std::size_t{512} * 1024 * 1024;

    /// Reads the archive in a file. Failure: throws `BadArchive`.
    explicit ArchiveFileSystem(const std::string& in_strPath,
                               std::size_t in_uiLimit = s_uiDefaultLimit);

    /// Reads an archive from another source, with a name for messages. Failure: throws
    /// `BadArchive`.
    ArchiveFileSystem(const std::string& in_strName, ByteSource& inout_source,
                      std::size_t in_uiLimit = s_uiDefaultLimit);

    ~ArchiveFileSystem() override;

    /// Returns which members were left out and why, as messages for an operator.
    [[nodiscard]] const std::vector<std::string>& getRemarks() const
    {
        return m_pContents->remarks;
    }

    [[nodiscard]] FileHandle open(const char* in_szPath, int in_iFlags) override;
    [[nodiscard]] FileHandle open(const char* in_szPath, int in_iFlags,
                                  unsigned int in_uiMode) override;
    [[nodiscard]] DirectoryHandle opendir(const char* in_szPath) override;
    [[nodiscard]] bool exists(const char* in_szPath) override;

  private:
    std::shared_ptr<const ArchiveContents> m_pContents;
};

/// The common base of a file and a directory in an archive.
class ArchiveFileSystem::Entry : public virtual Velmora::VirtualFileSystem::Entry
{
  public:
    ~Entry() override;
    [[nodiscard]] const char* getPath() const override;

  protected:
    explicit Entry(std::shared_ptr<const ArchiveContents> in_pContents);

    [[nodiscard]] const ArchiveTree& tree() const { return m_pContents->tree; }
    [[nodiscard]] const std::shared_ptr<const ArchiveContents>& contents() const
    {
        return m_pContents;
    }
    void setPath(const char* in_szPath) { m_strPath = in_szPath; }

  private:
    std::shared_ptr<const ArchiveContents> m_pContents;
    std::string m_strPath;
};

/// A file in an archive.
class ArchiveFileSystem::File : public Velmora::VirtualFileSystem::File,
                                public virtual ArchiveFileSystem::Entry,
                                public Velmora::InAccount<"ArchiveFileSystem::File">
{
  public:
    explicit File(const std::shared_ptr<const ArchiveContents>& in_pContents);
    ~File() override;

    [[nodiscard]] bool isFile() const override;
    [[nodiscard]] bool isDirectory() const override;

    /// Closes the open file if it succeeds. A failure leaves the object as it is.
    int open(const char* in_szPath, int in_iFlags) override;
    int open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) override;
    int close() override;

    /// Fails with EBADF: no file is open for writing.
    long write(const void* in_pData, unsigned long in_uiCount) override;
    long read(void* out_pData, unsigned long in_uiCount) override;

    /// Supports SEEK_DATA and SEEK_HOLE too: the whole file is data, followed by its only hole.
    long lseek(long in_iOffset, int in_iWhence) override;

  private:
    /// Null when closed.
    ArchiveTree::Content m_pContent;
    std::size_t m_uiPosition = 0;
};

/// A directory in an archive.
class ArchiveFileSystem::Directory : public Velmora::VirtualFileSystem::Directory,
                                     public virtual ArchiveFileSystem::Entry,
                                     public Velmora::InAccount<"ArchiveFileSystem::Directory">
{
  public:
    explicit Directory(const std::shared_ptr<const ArchiveContents>& in_pContents);
    ~Directory() override;

    [[nodiscard]] bool isFile() const override;
    [[nodiscard]] bool isDirectory() const override;

    /// Closes the open directory first. A failure leaves the object closed, with its former path.
    int open(const char* in_szPath) override;
    int close() override;

    /// Returns the next entry, sorted by the bytes of the names. The entry's path is this
    /// directory's path, a '/' unless that ends in one, and its name. A name that cannot be opened,
    /// such as a dangling or circular link, is skipped, so null is always the end.
    EntryHandle read() override;

    void rewind() override;

    /// Goes to the entry with this number, counted from 0 in that order with the skipped names
    /// included. Any other number is the end.
    void seek(long in_iPosition) override;

  private:
    [[nodiscard]] EntryHandle openEntry(const std::string& in_strName) const;

    /// Null when closed. Belongs to the tree.
    const ArchiveTree::Node* m_pNode = nullptr;
    ArchiveTree::Children::const_iterator m_next;
};

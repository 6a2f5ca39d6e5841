#pragma once

#include "ArchiveReader.h"

#include "velmora/memory/InAccount.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The files and directories of an archive: of a tar archive, plain or compressed, or of a Debian
/// package. See `readArchive` for what it reads of one, and for the bounds.
///
///     ArchiveFileSystem fileSystem("hello_2.10-3_amd64.deb");
///     const auto hFile = fileSystem.open("/usr/share/doc/hello/NEWS", O_RDONLY);
///
/// The archive is read once, by the constructor, contents included; it is not needed afterwards.
///
/// Paths begin at the root of the archive, with or without a '/', and are looked up as the
/// operating system does, symbolic links and ".." included (`ArchiveTree`). A symbolic link that
/// leads out of the archive, or nowhere, is not there. `errno` after a failure is that of a file
/// system which is mounted to be read: EROFS for flags that ask to write or to make a file, EISDIR
/// for a directory that is opened as a file, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, and EFAULT for a
/// null path. Of other flags, O_DIRECTORY and O_NOFOLLOW have their effect.
///
/// Ownership: entries share the contents and may outlive their file system.
/// Thread-safety: any number of threads may use one file system, and open and drop entries. An
/// entry belongs to one thread at a time.
class ArchiveFileSystem : public Velmora::VirtualFileSystem,
                          public Velmora::InAccount<"ArchiveFileSystem">
{
  public:
    class Entry;
    class File;
    class Directory;

    static constexpr std::size_t s_uiDefaultLimit = std::size_t{512} * 1024 * 1024;

    /// The archive in a file. Failure: throws `BadArchive`.
    explicit ArchiveFileSystem(const std::string& in_strPath,
                               std::size_t in_uiLimit = s_uiDefaultLimit);

    /// An archive from elsewhere, with a name for messages. Failure: throws `BadArchive`.
    ArchiveFileSystem(const std::string& in_strName, ByteSource& inout_source,
                      std::size_t in_uiLimit = s_uiDefaultLimit);

    ~ArchiveFileSystem() override;

    /// What was left out and why, for an operator.
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

/// What a file and a directory of an archive have in common.
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

/// A file of an archive.
class ArchiveFileSystem::File : public Velmora::VirtualFileSystem::File,
                                public virtual ArchiveFileSystem::Entry,
                                public Velmora::InAccount<"ArchiveFileSystem::File">
{
  public:
    explicit File(const std::shared_ptr<const ArchiveContents>& in_pContents);
    ~File() override;

    [[nodiscard]] bool isFile() const override;
    [[nodiscard]] bool isDirectory() const override;

    /// Closes what is open. A failure leaves the object as it is.
    int open(const char* in_szPath, int in_iFlags) override;
    int open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) override;
    int close() override;

    /// Fails with EBADF: no file is open to be written.
    long write(const void* in_pData, unsigned long in_uiCount) override;
    long read(void* out_pData, unsigned long in_uiCount) override;

    /// Knows SEEK_DATA and SEEK_HOLE too: a file is all data, and behind it is the one hole.
    long lseek(long in_iOffset, int in_iWhence) override;

  private:
    /// Null when closed.
    ArchiveTree::Content m_pContent;
    std::size_t m_uiPosition = 0;
};

/// A directory of an archive.
class ArchiveFileSystem::Directory : public Velmora::VirtualFileSystem::Directory,
                                     public virtual ArchiveFileSystem::Entry,
                                     public Velmora::InAccount<"ArchiveFileSystem::Directory">
{
  public:
    explicit Directory(const std::shared_ptr<const ArchiveContents>& in_pContents);
    ~Directory() override;

    [[nodiscard]] bool isFile() const override;
    [[nodiscard]] bool isDirectory() const override;

    /// Closes what is open first. A failure leaves it closed, with its former path.
    int open(const char* in_szPath) override;
    int close() override;

    /// The next entry in the order of the names' bytes, opened by the path of this directory, a '/'
    /// if that does not end in one, and its name. A name that cannot be opened so, as a link that
    /// leads nowhere or round in a circle, is not there: the next one is given. So null is the end.
    EntryHandle read() override;

    void rewind() override;

    /// Goes to the entry with this number in that order, counted from 0, names that are not there
    /// included; any other number is the end.
    void seek(long in_iPosition) override;

  private:
    [[nodiscard]] EntryHandle openEntry(const std::string& in_strName) const;

    /// Null when closed. It belongs to the tree.
    const ArchiveTree::Node* m_pNode = nullptr;
    ArchiveTree::Children::const_iterator m_next;
};

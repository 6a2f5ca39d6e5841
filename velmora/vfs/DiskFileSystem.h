// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/memory/InAccount.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <atomic>
#include <dirent.h>

#include <memory>
#include <string>

namespace Velmora
{

/// The operating system's files and directories, with a working directory of its own. It neither
/// uses nor changes the working directory of the process.
///
///     DiskFileSystem fileSystem;
///     if (!fileSystem.setWorkingDirectory("/var/lib/gateway"))
///         return false;
///     VirtualFileSystem::FileHandle hFile = fileSystem.open("prompts/busy.wav", O_RDONLY);
///
/// A relative path is appended to the text of the working directory; "." and ".." are left to the
/// operating system. An absolute path is used as it is, so the working directory does not confine
/// access. Without a working directory, relative paths are relative to that of the process.
///
/// Paths, flags and results are those of `open`, `opendir`, `read`, `write`, `lseek` and `close`,
/// and so is `errno` after a failure. In addition, `errno` is EFAULT for a null path, EINVAL if a
/// mode is missing, and ENODEV for an entry whose file system has been destroyed.
///
/// Logs to "keswardin.infra.DiskFileSystem". A failure to open is logged only if a mode is missing,
/// for a working directory, and for the entries of a directory that is read.
///
/// Ownership: destroy all entries before their file system. Otherwise its destructor fails the
/// assertion "m_uiNbOfEntriesOpen == 0". An entry that is left over can still be read, written,
/// closed and deleted; operations that need the file system, such as reading the next entry of a
/// directory, fail.
/// Thread-safety: takes no lock. Any number of threads may use one file system, and open and
/// release entries, by absolute paths. Relative paths share one buffer: only one thread at a time
/// may open by a relative path, read a directory that was opened by one, call `getRealPath` with
/// one, or set the working directory. An entry may be used by one thread at a time.
class VELMORA_API DiskFileSystem : public VirtualFileSystem,
                                   public ObjectWithLogger<CachedLLLogger>,
                                   public InAccount<"DiskFileSystem">
{
  public:
    class Entry;
    class File;
    class Directory;

    DiskFileSystem();
    DiskFileSystem(const DiskFileSystem&) = delete;
    DiskFileSystem& operator=(const DiskFileSystem&) = delete;
    ~DiskFileSystem() override;

    [[nodiscard]] FileHandle open(const char* in_szPath, int in_iFlags) override;
    [[nodiscard]] FileHandle open(const char* in_szPath, int in_iFlags,
                                  unsigned int in_uiMode) override;
    [[nodiscard]] DirectoryHandle opendir(const char* in_szPath) override;

    /// Returns whether the path can be opened, as a directory or as a file to read from. It opens
    /// the path and closes it, so a file without read permission does not exist for it. Does not
    /// wait for the other end of a FIFO or for a device.
    [[nodiscard]] bool exists(const char* in_szPath) override;

    /// Sets the text that is put in front of relative paths: the path with a '/' appended unless it
    /// ends in one. A relative path is resolved against the former working directory and is stored
    /// as it was given: after "/tmp/a", "b" is opened as "/tmp/a/b", but from then on stands for
    /// "b/" in the working directory of the process. After "/tmp/a", an empty path opens "/tmp/a/"
    /// and removes the working directory.
    ///
    /// Failure: returns false and logs an error if the path cannot be opened as a directory. The
    /// former working directory stays.
    bool setWorkingDirectory(const char* in_szPath);

    /// Returns the path that is passed to the operating system. An absolute or null path is
    /// returned itself, a relative one with the working directory in front of it, in a buffer that
    /// is valid until the next relative path.
    const char* getRealPath(const char* in_szPath) const;

  private:
    /// Leads from the entries to their file system; holds null once that is destroyed. The file
    /// system and each entry share it, so its use count gives the number of entries, on any thread.
    struct Anchor
    {
        explicit Anchor(const DiskFileSystem* in_pFileSystem) : pFileSystem(in_pFileSystem) {}
        std::atomic<const DiskFileSystem*> pFileSystem;
    };

    std::string m_strWorkingDirectory;
    std::shared_ptr<Anchor> m_pAnchor;
    mutable std::string m_strRealPath;
};

/// The common base of a file and a directory on the disk.
class VELMORA_API DiskFileSystem::Entry : public virtual VirtualFileSystem::Entry,
                                          public InAccount<"\"DiskFileSystem::Entry\"">
{
  public:
    ~Entry() override;

    [[nodiscard]] const char* getPath() const override;

  protected:
    explicit Entry(const DiskFileSystem& in_fileSystem);

    /// Returns the file system; null once it is destroyed.
    [[nodiscard]] const DiskFileSystem* getFileSystem() const { return m_pAnchor->pFileSystem; }

    /// Returns false and sets `errno` if the path is null or the file system is destroyed.
    [[nodiscard]] bool canOpen(const char* in_szPath) const;

    /// Returns the path that is passed to the operating system, see `getRealPath`.
    [[nodiscard]] const char* realPath(const std::string& in_strPath) const;

    void setPath(std::string in_strPath) { m_strPath.swap(in_strPath); }

  private:
    std::shared_ptr<const Anchor> m_pAnchor;
    std::string m_strPath;
};

/// A file on the disk. The destructor closes it.
class VELMORA_API DiskFileSystem::File : public VirtualFileSystem::File,
                                         public virtual DiskFileSystem::Entry,
                                         public InAccount<"\"DiskFileSystem::File\"">
{
  public:
    using InAccount<"\"DiskFileSystem::File\"">::operator new;
    using InAccount<"\"DiskFileSystem::File\"">::operator delete;

    explicit File(const DiskFileSystem& in_fileSystem);
    ~File() override;

    [[nodiscard]] bool isFile() const override;
    [[nodiscard]] bool isDirectory() const override;

    /// Fails and logs an error for flags that make a file (`O_CREAT`), since the mode is missing.
    int open(const char* in_szPath, int in_iFlags) override;

    /// Does not close the file that is open: call `close` first, or its descriptor leaks. A failure
    /// leaves the object as it is.
    int open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) override;

    int close() override;
    long write(const void* in_pData, unsigned long in_uiCount) override;
    long read(void* out_pData, unsigned long in_uiCount) override;
    long lseek(long in_iOffset, int in_iWhence) override;

  private:
    friend class DiskFileSystem::Directory;

    /// Opens the path for reading, without waiting for the other end of a FIFO or for a device.
    int openWithoutWait(const char* in_szPath);

    int m_iDescriptor = -1;
};

/// A directory on the disk. The destructor closes it.
class VELMORA_API DiskFileSystem::Directory : public VirtualFileSystem::Directory,
                                              public virtual DiskFileSystem::Entry,
                                              public InAccount<"\"DiskFileSystem::Directory\"">
{
  public:
    using InAccount<"\"DiskFileSystem::Directory\"">::operator new;
    using InAccount<"\"DiskFileSystem::Directory\"">::operator delete;

    explicit Directory(const DiskFileSystem& in_fileSystem);
    ~Directory() override;

    [[nodiscard]] bool isFile() const override;
    [[nodiscard]] bool isDirectory() const override;

    /// Closes the open directory first. A failure leaves the object closed, with its former path.
    int open(const char* in_szPath) override;

    int close() override;

    /// Returns the next entry except "." and "..", in the operating system's order. The entry's
    /// path is this directory's path, a '/' unless that ends in one, and the entry's name. It is
    /// therefore relative if this directory's path is, and the entries of a directory that was
    /// opened by an empty path are opened in the root. An entry that is not a directory is opened
    /// as a file for reading, without waiting for the other end of a FIFO or for a device.
    ///
    /// Failure: returns null and logs an error if the entry can be opened as neither, as a dangling
    /// symbolic link or a file without read permission. `errno` then has the reason, also if the
    /// directory itself cannot be read. At the end of the directory `errno` is unchanged.
    EntryHandle read() override;

    void rewind() override;

    /// Goes to a position that `telldir` returned; 0 is the first entry.
    void seek(long in_iPosition) override;

  private:
    const dirent* nextItem();
    [[nodiscard]] EntryHandle openAsDirectory(const char* in_szPath) const;
    [[nodiscard]] EntryHandle openAsFile(const char* in_szPath) const;

    DIR* m_pStream = nullptr;
};

} // namespace Velmora

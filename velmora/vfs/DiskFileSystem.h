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

/// The files and directories of the operating system, with a working directory of its own: the
/// process's is neither used nor changed.
///
///     DiskFileSystem fileSystem;
///     if (!fileSystem.setWorkingDirectory("/var/lib/gateway"))
///         return false;
///     VirtualFileSystem::FileHandle hFile = fileSystem.open("prompts/busy.wav", O_RDONLY);
///
/// A relative path is what follows the text of the working directory, "." and ".." are left to the
/// operating system. An absolute path stays as it is: the working directory is no fence. Without a
/// working directory, relative paths are those of the process.
///
/// Paths, flags and results are those of `open`, `opendir`, `read`, `write`, `lseek` and `close`,
/// and so is `errno` after a failure. In addition `errno` is EFAULT for a null path, EINVAL where a
/// mode is missing, and ENODEV in an entry whose file system has gone.
///
/// Logs on "keswardin.infra.DiskFileSystem". What cannot be opened is not logged, but for entries
/// of a directory that is read.
///
/// Ownership: an entry that is still there when the file system goes fails the assertion
/// "m_uiNbOfEntriesOpen == 0". It can then still be read, written, closed and deleted; what needs
/// the file system, as the next entry of a directory does, fails.
/// Thread-safety: no lock is taken. Any number of threads may use a file system, and open and drop
/// entries, by absolute paths. All that is done with relative ones shares one buffer: one thread at
/// a time may open by a relative path, read a directory that was opened by one, call `getRealPath`
/// with one, or set the working directory. An entry belongs to one thread at a time.
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

    /// Opens the path to find out, as a directory and then as a file to read from, and closes it: a
    /// file that may not be read is not there. Does not wait for a FIFO's other end or for a
    /// device.
    [[nodiscard]] bool exists(const char* in_szPath) override;

    /// Makes this path, with a '/' behind it, the text in front of relative paths. The path is kept
    /// as it was given: "b" after "/tmp/a" is looked for as "/tmp/a/b", and from then on leads to
    /// "b/" in the process's own working directory. An empty path that is looked for with success,
    /// as after "/tmp/a", leaves none.
    ///
    /// Failure: false and an error in the log if it cannot be opened as a directory; the former one
    /// stays.
    bool setWorkingDirectory(const char* in_szPath);

    /// The path as the operating system gets it: an absolute or null one itself, else the working
    /// directory and it, in a buffer that is valid until the next relative path.
    const char* getRealPath(const char* in_szPath) const;

  private:
    /// The way from entries to their file system, which outlives it: null once it has gone. Shared
    /// by the file system and each entry, so that its uses count the entries, on any threads.
    struct Anchor
    {
        explicit Anchor(const DiskFileSystem* in_pFileSystem) : pFileSystem(in_pFileSystem) {}
        std::atomic<const DiskFileSystem*> pFileSystem;
    };

    std::string m_strWorkingDirectory;
    std::shared_ptr<Anchor> m_pAnchor;
    mutable std::string m_strRealPath;
};

/// What a file and a directory on the disk have in common.
class VELMORA_API DiskFileSystem::Entry : public virtual VirtualFileSystem::Entry,
                                          public InAccount<"\"DiskFileSystem::Entry\"">
{
  public:
    ~Entry() override;

    [[nodiscard]] const char* getPath() const override;

  protected:
    explicit Entry(const DiskFileSystem& in_fileSystem);

    /// Null once it has gone.
    [[nodiscard]] const DiskFileSystem* getFileSystem() const { return m_pAnchor->pFileSystem; }

    /// False, with the reason in `errno`, for a null path and once the file system has gone.
    [[nodiscard]] bool canOpen(const char* in_szPath) const;

    /// That path as the operating system gets it.
    [[nodiscard]] const char* realPath(const std::string& in_strPath) const;

    void setPath(std::string in_strPath) { m_strPath.swap(in_strPath); }

  private:
    std::shared_ptr<const Anchor> m_pAnchor;
    std::string m_strPath;
};

/// A file on the disk. Its destructor closes it.
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

    /// Fails, with an error in the log, for flags that make a file (`O_CREAT`).
    int open(const char* in_szPath, int in_iFlags) override;

    /// Does not close what is open: call `close` first, or its descriptor stays open until the
    /// process ends. A failure leaves the object as it is.
    int open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) override;

    int close() override;
    long write(const void* in_pData, unsigned long in_uiCount) override;
    long read(void* out_pData, unsigned long in_uiCount) override;
    long lseek(long in_iOffset, int in_iWhence) override;

  private:
    friend class DiskFileSystem::Directory;

    /// Opens it to be read, without waiting for a FIFO's other end or for a device.
    int openWithoutWait(const char* in_szPath);

    int m_iDescriptor = -1;
};

/// A directory on the disk. Its destructor closes it.
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

    /// Closes what is open first. A failure leaves it closed, with its former path.
    int open(const char* in_szPath) override;

    int close() override;

    /// The next entry but for "." and "..", in the operating system's order, opened by the path of
    /// this directory, a '/' if that does not end in one, and its name. So the path is relative if
    /// this one's is; and entries of a directory that was opened by an empty path are looked for in
    /// the root. What is no directory is opened as a file to be read, without waiting for a FIFO's
    /// other end or for a device.
    ///
    /// Failure: null, and an error in the log, for an entry that cannot be opened as either: a
    /// symbolic link that leads nowhere, a file that may not be read. `errno` then says why, as it
    /// does when the directory cannot be read; at the end it stays as it was.
    EntryHandle read() override;

    void rewind() override;

    /// Goes to a position of `telldir`.
    void seek(long in_iPosition) override;

  private:
    const dirent* nextItem();
    [[nodiscard]] EntryHandle openAsDirectory(const char* in_szPath) const;
    [[nodiscard]] EntryHandle openAsFile(const char* in_szPath) const;

    DIR* m_pStream = nullptr;
};

} // namespace Velmora

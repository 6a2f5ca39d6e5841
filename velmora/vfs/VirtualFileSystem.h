#pragma once

#include "velmora/Export.h"
#include "velmora/application/ManagedHandle.h"
#include "velmora/application/Object.h"
#include "velmora/application/ReferenceCount.h"

namespace Velmora
{

/// Files and directories, wherever they lie: code that reads and writes through this interface does
/// not know. `DiskFileSystem` has those of the operating system.
///
///     VirtualFileSystem::FileHandle hFile = fileSystem.open("greeting.wav", O_RDONLY);
///     if (hFile.isNull())
///         return false; // errno says why
///     const long iNumRead = hFile->read(buffer.data(), buffer.size());
///
/// An entry, which is a file or a directory, is only found out by opening it: what can be opened as
/// neither does not exist. Nothing is renamed, deleted or made but files by `open`. What a relative
/// path is relative to is the implementation's business.
///
/// Ownership: the handles own the entries. All of them must go before their file system.
/// Thread-safety: handles of one entry may be copied and released on any threads, each handle by
/// one at a time; an entry belongs to one thread at a time. Of a file system, see the
/// implementation. Threads that share one hold it by a `TSHandle<VirtualFileSystem>`.
/// Failure: a null handle, false or -1; `errno` says why where the operating system does.
class VELMORA_API VirtualFileSystem : public virtual Object
{
  public:
    class Entry;
    class File;
    class Directory;

    /// The last handle of an entry closes and deletes it, under the mutex of the count.
    using EntryHandle = ManagedHandle<Entry, TSReferenceCount>;
    using FileHandle = ManagedHandle<File, TSReferenceCount>;
    using DirectoryHandle = ManagedHandle<Directory, TSReferenceCount>;

    VirtualFileSystem() = default;
    VirtualFileSystem(const VirtualFileSystem&) = delete;
    VirtualFileSystem& operator=(const VirtualFileSystem&) = delete;
    ~VirtualFileSystem() override;

    /// Opens a file, with the flags of the operating system's `open`. A flag that makes a file
    /// (`O_CREAT`) needs the other form.
    [[nodiscard]] virtual FileHandle open(const char* in_szPath, int in_iFlags) = 0;

    /// The same with the permissions of a file that is made.
    [[nodiscard]] virtual FileHandle open(const char* in_szPath, int in_iFlags,
                                          unsigned int in_uiMode) = 0;

    [[nodiscard]] virtual DirectoryHandle opendir(const char* in_szPath) = 0;

    /// Whether there is something at the path that can be opened, as a directory or as a file to
    /// read from.
    [[nodiscard]] virtual bool exists(const char* in_szPath) = 0;
};

/// What a file and a directory have in common.
class VELMORA_API VirtualFileSystem::Entry : public virtual Object
{
  public:
    Entry() = default;
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    ~Entry() override;

    /// The path by which it was opened, as it was given; valid until it is opened again.
    [[nodiscard]] virtual const char* getPath() const = 0;
    [[nodiscard]] virtual bool isFile() const = 0;
    [[nodiscard]] virtual bool isDirectory() const = 0;
};

/// A file.
class VELMORA_API VirtualFileSystem::File : public virtual VirtualFileSystem::Entry
{
  public:
    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() override;

    /// Opens another file with this object. Gives 0 or -1.
    virtual int open(const char* in_szPath, int in_iFlags) = 0;
    virtual int open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) = 0;

    /// Gives 0, or -1 if it was not open or the system reports a failure. It is closed in any case.
    virtual int close() = 0;

    /// Gives the number of bytes written, which may be less than `in_uiCount`, or -1.
    virtual long write(const void* in_pData, unsigned long in_uiCount) = 0;

    /// Gives the number of bytes read, which may be less than `in_uiCount`, 0 at the end of the
    /// file, or -1.
    virtual long read(void* out_pData, unsigned long in_uiCount) = 0;

    /// Gives the new position from the beginning, or -1. `in_iWhence` is SEEK_SET, SEEK_CUR or
    /// SEEK_END.
    virtual long lseek(long in_iOffset, int in_iWhence) = 0;
};

/// A directory, and a place in the sequence of its entries.
class VELMORA_API VirtualFileSystem::Directory : public virtual VirtualFileSystem::Entry
{
  public:
    Directory() = default;
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() override;

    /// Opens another directory with this object. Gives 0 or -1.
    virtual int open(const char* in_szPath) = 0;

    /// Gives 0, also when it was not open.
    virtual int close() = 0;

    /// The next entry, opened; a file is opened to be read. Null at the end, and for an entry that
    /// could not be opened: a loop that ends at null ends there, too.
    virtual EntryHandle read() = 0;

    /// Goes back to the first entry.
    virtual void rewind() = 0;

    /// Goes to a position of the implementation's; 0 is the first entry.
    virtual void seek(long in_iPosition) = 0;
};

} // namespace Velmora

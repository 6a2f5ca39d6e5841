// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/ManagedHandle.h"
#include "velmora/application/Object.h"
#include "velmora/application/ReferenceCount.h"

namespace Velmora
{

/// An interface to files and directories that hides where they are stored. `DiskFileSystem`
/// implements it for those of the operating system.
///
///     VirtualFileSystem::FileHandle hFile = fileSystem.open("greeting.wav", O_RDONLY);
///     if (hFile.isNull())
///         return false; // errno says why
///     const long iNumRead = hFile->read(buffer.data(), buffer.size());
///
/// An entry is a file or a directory. The only way to find out which is to open it; a path that can
/// be opened as neither does not exist. The interface makes files, by `open`, but it does not make
/// directories and does not rename or delete. The base of relative paths depends on the
/// implementation.
///
/// Ownership: the handles own the entries. Release all of them before the file system is destroyed.
/// Thread-safety: handles to one entry may be copied and released on any threads, each handle by
/// one thread at a time. An entry may be used by one thread at a time. For the file system itself
/// see the implementation. Threads that share a file system hold it by a
/// `TSHandle<VirtualFileSystem>`.
/// Failure: returns a null handle, false or -1; `errno` has the reason if the operating system sets
/// it.
class VELMORA_API VirtualFileSystem : public virtual Object
{
  public:
    class Entry;
    class File;
    class Directory;

    /// The last handle to an entry closes and deletes it, while it holds the mutex of the count.
    using EntryHandle = ManagedHandle<Entry, TSReferenceCount>;
    using FileHandle = ManagedHandle<File, TSReferenceCount>;
    using DirectoryHandle = ManagedHandle<Directory, TSReferenceCount>;

    VirtualFileSystem() = default;
    VirtualFileSystem(const VirtualFileSystem&) = delete;
    VirtualFileSystem& operator=(const VirtualFileSystem&) = delete;
    ~VirtualFileSystem() override;

    /// Opens a file with the flags of the operating system's `open`. A flag that makes a file
    /// (`O_CREAT`) needs the overload with a mode.
    [[nodiscard]] virtual FileHandle open(const char* in_szPath, int in_iFlags) = 0;

    /// Opens a file as above. A new file gets the permissions.
    [[nodiscard]] virtual FileHandle open(const char* in_szPath, int in_iFlags,
                                          unsigned int in_uiMode) = 0;

    /// Opens a directory.
    [[nodiscard]] virtual DirectoryHandle opendir(const char* in_szPath) = 0;

    /// Returns whether the path can be opened, as a directory or as a file to read from.
    [[nodiscard]] virtual bool exists(const char* in_szPath) = 0;
};

/// The common base of a file and a directory.
class VELMORA_API VirtualFileSystem::Entry : public virtual Object
{
  public:
    Entry() = default;
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    ~Entry() override;

    /// Returns the path by which the entry was opened, as it was given. The text is valid until the
    /// entry is opened again.
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

    /// Opens another file with this object. Returns 0, or -1 on failure.
    virtual int open(const char* in_szPath, int in_iFlags) = 0;
    virtual int open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) = 0;

    /// Closes the file. Returns 0, or -1 if it was not open or the system reports a failure. The
    /// file is closed in any case.
    virtual int close() = 0;

    /// Returns the number of bytes written, which may be less than `in_uiCount`, or -1 on failure.
    virtual long write(const void* in_pData, unsigned long in_uiCount) = 0;

    /// Returns the number of bytes read, which may be less than `in_uiCount`; 0 at the end of the
    /// file; -1 on failure.
    virtual long read(void* out_pData, unsigned long in_uiCount) = 0;

    /// Returns the new position from the beginning, or -1 on failure. `in_iWhence` is SEEK_SET,
    /// SEEK_CUR or SEEK_END.
    virtual long lseek(long in_iOffset, int in_iWhence) = 0;
};

/// A directory with a position in the sequence of its entries.
class VELMORA_API VirtualFileSystem::Directory : public virtual VirtualFileSystem::Entry
{
  public:
    Directory() = default;
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() override;

    /// Opens another directory with this object. Returns 0, or -1 on failure.
    virtual int open(const char* in_szPath) = 0;

    /// Closes the directory. Returns 0, even if it was not open.
    virtual int close() = 0;

    /// Returns the next entry, opened; a file is opened for reading. Returns null at the end, and
    /// also for an entry that cannot be opened, so a loop that ends at null may end early.
    virtual EntryHandle read() = 0;

    /// Goes back to the first entry.
    virtual void rewind() = 0;

    /// Goes to a position, whose meaning depends on the implementation; 0 is the first entry.
    virtual void seek(long in_iPosition) = 0;
};

} // namespace Velmora

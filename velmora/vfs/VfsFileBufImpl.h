// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <ios>

namespace Velmora
{

/// The file access of a `VfsFileBuf`: opens a file of a virtual file system by the mode of a
/// standard stream, and reads and writes it through a `VirtualFileSystem::File`. It does not
/// buffer.
///
/// Ownership: shares the file system, which lives at least as long as this object; owns the file. A
/// closed file is kept until the next one is opened.
/// Thread-safety: may be used by one thread at a time. The file system may be shared as far as its
/// implementation allows.
/// Failure: returns false, -1 or 0 as stated at each operation. Exceptions of the file system pass
/// through.
class VELMORA_API VfsFileBufImpl
{
  public:
    /// The bits of an open mode, with the values of `std::ios_base::openmode`.
    enum OpenMode
    {
        app = 1,
        ate = 2,
        binary = 4,
        in = 8,
        out = 16,
        trunc = 32
    };

    /// The origin of a seek. The values differ from those of `std::ios_base::seekdir`.
    enum SeekDirection
    {
        beg = 1,
        cur = 2,
        end = 4
    };

    /// The size of a buffer in bytes, which is that of a page.
    static constexpr long _M_page_size = 4096;

    /// Binds the object to a file system. No file is open.
    explicit VfsFileBufImpl(const TSHandle<VirtualFileSystem>& in_hFileSystem);
    ~VfsFileBufImpl();
    VfsFileBufImpl(const VfsFileBufImpl&) = delete;
    VfsFileBufImpl& operator=(const VfsFileBufImpl&) = delete;

    /// Opens a file. A new file gets the permission, less the bits of the process's umask. Apart
    /// from `ate` and `binary`, the valid modes are `in`, `out`, `out|trunc`, `out|app`, `in|out`
    /// and `in|out|trunc`. `ate` seeks to the end of the file.
    ///
    /// Failure: returns false if a file is open already, for any other mode, and if the file system
    /// or the seek fails.
    [[nodiscard]] bool _M_open(const char* in_szName, int in_iMode, long in_iPermission);

    /// Opens a file as above, with the permission 0666.
    [[nodiscard]] bool _M_open(const char* in_szName, int in_iMode);

    /// Returns false: a descriptor of the operating system cannot be adopted.
    [[nodiscard]] bool _M_open(int in_iDescriptor, int in_iMode);

    /// Closes the file and resets the mode. Returns false if no file is open, or if closing it
    /// fails; it is not open then either.
    bool _M_close();

    /// Reads once. Returns the number of bytes, which may be less than `in_iCount`; 0 at the end of
    /// the file; -1 on failure.
    [[nodiscard]] long _M_read(char* out_pBuffer, long in_iCount);

    /// Writes once. Returns whether all bytes were written; a partial write is a failure.
    [[nodiscard]] bool _M_write(const char* in_pBuffer, long in_iCount);

    /// Returns the new position in bytes. Returns -1, with the position unchanged, if the file
    /// cannot seek, for a position before the beginning and for an unknown direction.
    std::streamoff _M_seek(std::streamoff in_iOffset, int in_iDirection);

    /// Returns the size in bytes, which it finds by seeking to the end and back. Returns 0 if there
    /// is no file, and -1 if a seek fails. A file whose position is unknown is not moved.
    [[nodiscard]] std::streamoff _M_file_size();

    /// Returns whether the mode has `binary`.
    [[nodiscard]] bool _M_in_binary_mode() const { return (m_iOpenMode & binary) != 0; }

    /// Returns the number of bytes between two places in a buffer. Line ends are not translated.
    [[nodiscard]] static std::streamoff _M_get_offset(const char* in_pFirst, const char* in_pLast)
    {
        return in_pLast - in_pFirst;
    }

    /// Returns null: files are not mapped into memory.
    [[nodiscard]] static void* _M_mmap(std::streamoff, std::streamoff) { return nullptr; }
    static void _M_unmap(void*, std::streamoff) {}

    [[nodiscard]] bool is_open() const { return m_bIsOpen; }
    /// Returns the mode of the open file; 0 if none is open.
    [[nodiscard]] int mode() const { return m_iOpenMode; }

    /// Returns -1: the interface does not expose a descriptor.
    [[nodiscard]] int fd() const { return m_iFileDescriptor; }

    /// Returns true once a file has been opened, whatever its type, for example a FIFO: the
    /// interface cannot query a file's status.
    [[nodiscard]] bool isRegularFile() const { return m_bRegularFile; }

    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_hFileSystem;
    }

    /// Returns the file that was opened last, which may be closed. Returns null if there is none,
    /// and after an `_M_open` that failed in the file system.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_pFile.get(); }

  protected:
    // The order matters: the file is destroyed before its file system.
    TSHandle<VirtualFileSystem> m_hFileSystem;
    ManagedHandle<VirtualFileSystem::File, TSReferenceCount> m_pFile;
    int m_iFileDescriptor = -1;
    int m_iOpenMode = 0;
    bool m_bIsOpen = false;
    bool m_bShouldClose = false;
    bool m_bRegularFile = false;
};

} // namespace Velmora

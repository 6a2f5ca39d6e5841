#pragma once

#include "velmora/Export.h"
#include "velmora/application/Handle.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <ios>

namespace Velmora
{

/// The bottom of a `VfsFileBuf`: a file of a virtual file system that is opened by the mode of a
/// standard stream, and each byte of which goes through a `VirtualFileSystem::File`. It keeps no
/// bytes.
///
/// Ownership: shares the file system, which lives as long as it does; owns the file. A file that is
/// closed stays there until the next one is opened.
/// Thread-safety: belongs to one thread at a time. The file system may be shared, as far as it
/// allows it.
/// Failure: false, -1 or 0 as each operation says. What a file system throws passes through.
class VELMORA_API VfsFileBufImpl
{
  public:
    /// Bits of an open mode, which are those of `std::ios_base::openmode`.
    enum OpenMode
    {
        app = 1,
        ate = 2,
        binary = 4,
        in = 8,
        out = 16,
        trunc = 32
    };

    /// From where a seek counts; the numbers are not those of `std::ios_base::seekdir`.
    enum SeekDirection
    {
        beg = 1,
        cur = 2,
        end = 4
    };

    /// Buffers are as large as a page, in bytes.
    static constexpr long _M_page_size = 4096;

    /// Binds it to a file system, with no file open.
    explicit VfsFileBufImpl(const TSHandle<VirtualFileSystem>& in_hFileSystem);
    ~VfsFileBufImpl();
    VfsFileBufImpl(const VfsFileBufImpl&) = delete;
    VfsFileBufImpl& operator=(const VfsFileBufImpl&) = delete;

    /// Opens a file; a new one gets the permission, less what the process's mask takes. Of the mode
    /// without `ate` and `binary`, these are known: `in`, `out`, `out|trunc`, `out|app`, `in|out`,
    /// `in|out|trunc`. With `ate` it goes to the end of the file.
    /// Failure: false when it is open already, for any other mode, and when the file system or the
    /// seek refuses.
    [[nodiscard]] bool _M_open(const char* in_szName, int in_iMode, long in_iPermission);

    /// The same with the permission 0666.
    [[nodiscard]] bool _M_open(const char* in_szName, int in_iMode);

    /// Gives false: a descriptor of the operating system cannot be taken over.
    [[nodiscard]] bool _M_open(int in_iDescriptor, int in_iMode);

    /// Closes the file and forgets the mode. Gives false when it is not open, or when closing the
    /// file fails, after which it is not open either.
    bool _M_close();

    /// Reads once. Gives the number of bytes, which may be less than `in_iCount`, 0 at the end of
    /// the file, or -1.
    [[nodiscard]] long _M_read(char* out_pBuffer, long in_iCount);

    /// Writes once. Gives whether all bytes were written; a file that takes fewer has failed.
    [[nodiscard]] bool _M_write(const char* in_pBuffer, long in_iCount);

    /// Gives the new position in bytes, or -1, with the position as it was: for a file that
    /// refuses, a position before the beginning, or an unknown direction.
    std::streamoff _M_seek(std::streamoff in_iOffset, int in_iDirection);

    /// The size in bytes, found by seeking there and back; useless when the file cannot seek, 0
    /// when there is none.
    [[nodiscard]] std::streamoff _M_file_size();

    /// Whether the mode has `binary`.
    [[nodiscard]] bool _M_in_binary_mode() const { return (m_iOpenMode & binary) != 0; }

    /// The number of bytes from one place in a buffer to another; there is no translation of lines.
    [[nodiscard]] static std::streamoff _M_get_offset(const char* in_pFirst, const char* in_pLast)
    {
        return in_pLast - in_pFirst;
    }

    /// Gives null: a file is never mapped into memory.
    [[nodiscard]] static void* _M_mmap(std::streamoff, std::streamoff) { return nullptr; }
    static void _M_unmap(void*, std::streamoff) {}

    [[nodiscard]] bool is_open() const { return m_bIsOpen; }
    [[nodiscard]] int mode() const { return m_iOpenMode; }

    /// Gives -1: no descriptor is seen through this interface.
    [[nodiscard]] int fd() const { return m_iFileDescriptor; }
    [[nodiscard]] bool isRegularFile() const { return m_bRegularFile; }
    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_hFileSystem;
    }

    /// The file that was opened last, which may be closed; null if there is none.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_pFile.get(); }

  protected:
    // In this order: the file goes before its file system.
    TSHandle<VirtualFileSystem> m_hFileSystem;
    ManagedHandle<VirtualFileSystem::File, TSReferenceCount> m_pFile;
    int m_iFileDescriptor = -1;
    int m_iOpenMode = 0;
    bool m_bIsOpen = false;
    bool m_bShouldClose = false;
    bool m_bRegularFile = false;
};

} // namespace Velmora

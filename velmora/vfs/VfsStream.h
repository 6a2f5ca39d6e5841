// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/VfsFileBuf.h"

#include <istream>
#include <ostream>
#include <string>

namespace Velmora
{

/// An input stream over a file of a virtual file system, as `std::basic_ifstream` is one over a
/// file of the operating system. It is instantiated in the library for `char` only.
///
///     basic_vfsistream<char> stream(hFileSystem, "prompts.txt", std::ios_base::in);
///     for (std::string strLine; std::getline(stream, strLine);)
///         ...
///
/// Modes are the bits of a `std::ios_base::openmode`; `in` is added. For the valid modes and for
/// other differences from a standard stream see `VfsFileBuf`.
///
/// Ownership: shares the file system and owns its buffer and its file.
/// Thread-safety: may be used by one thread at a time, like a standard stream.
/// Failure: sets failbit if the file cannot be opened or closed, otherwise as standard streams.
/// Exceptions of the file system set badbit.
template <class CharT, class Traits = std::char_traits<CharT>>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): that of a standard stream is virtual.
class VELMORA_API basic_vfsistream : public std::basic_istream<CharT, Traits>
{
  public:
    /// Opens no file.
    explicit basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Opens a file as `open` does.
    basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode);

    /// Opens a file as `open` does. A new file gets the permission.
    basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode, long in_iPermission);

    /// Sets failbit: a descriptor of the operating system cannot be adopted.
    basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem, int in_iDescriptor,
                     int in_iMode);

    ~basic_vfsistream() override;

    [[nodiscard]] VfsFileBuf<CharT, Traits>* rdbuf() const { return &m_buffer; }
    [[nodiscard]] bool is_open() const { return m_buffer.is_open(); }
    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_buffer.getVirtualFileSystem();
    }

    /// Returns the file that was opened last, also after `close`. Returns null if there is none,
    /// and after an `open` that failed in the file system.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_buffer.getFile(); }

    /// Opens a file. Clears the stream's state on success.
    void open(const char* in_szName, int in_iMode);
    /// Closes the file. Sets failbit on failure.
    void close();

  private:
    // Mutable, since `rdbuf` returns a non-const buffer from a const stream, as standard streams
    // do.
    mutable VfsFileBuf<CharT, Traits> m_buffer;
};

/// An output stream over a file of a virtual file system, as `std::basic_ofstream` is one over a
/// file of the operating system. It is instantiated in the library for `char` only.
///
///     basic_vfsostream<char> stream(hFileSystem, "report.txt", std::ios_base::out);
///     stream << strReport;
///     stream.close();
///     if (!stream)
///         ...
///
/// `out` is added to the mode. For the rest see `basic_vfsistream`. The destructor writes the
/// pending characters but cannot report a failure, so call `close` first and check the state.
template <class CharT, class Traits = std::char_traits<CharT>>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): that of a standard stream is virtual.
class VELMORA_API basic_vfsostream : public std::basic_ostream<CharT, Traits>
{
  public:
    /// Opens no file.
    explicit basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Opens a file as `open` does.
    basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode);

    /// Opens a file as `open` does. A new file gets the permission.
    basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode, long in_iPermission);

    /// Sets failbit: a descriptor of the operating system cannot be adopted.
    basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem, int in_iDescriptor,
                     int in_iMode);

    ~basic_vfsostream() override;

    [[nodiscard]] VfsFileBuf<CharT, Traits>* rdbuf() const { return &m_buffer; }
    [[nodiscard]] bool is_open() const { return m_buffer.is_open(); }
    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_buffer.getVirtualFileSystem();
    }

    /// Returns the file that was opened last, also after `close`. Returns null if there is none,
    /// and after an `open` that failed in the file system.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_buffer.getFile(); }

    /// Opens a file. Clears the stream's state on success.
    void open(const char* in_szName, int in_iMode);
    /// Writes the pending characters and closes the file. Sets failbit on failure.
    void close();

  private:
    mutable VfsFileBuf<CharT, Traits> m_buffer;
};

extern template class basic_vfsistream<char>;
extern template class basic_vfsostream<char>;

} // namespace Velmora

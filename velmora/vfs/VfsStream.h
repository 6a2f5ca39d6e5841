#pragma once

#include "velmora/vfs/VfsFileBuf.h"

#include <istream>
#include <ostream>
#include <string>

namespace Velmora
{

/// An input stream over a file of a virtual file system, as `std::basic_ifstream` is one over a
/// file of the operating system. It is instantiated for `char` in the library, and for nothing
/// else.
///
///     basic_vfsistream<char> stream(hFileSystem, "prompts.txt", std::ios_base::in);
///     for (std::string strLine; std::getline(stream, strLine);)
///         ...
///
/// Modes are the bits of a `std::ios_base::openmode`, to which `in` is added. For what they may be,
/// and for what else differs from a standard stream, see `VfsFileBuf`.
///
/// Ownership: shares the file system and owns its buffer and its file.
/// Thread-safety: belongs to one thread at a time, like a standard stream.
/// Failure: a file that cannot be opened or closed sets failbit. Otherwise as standard streams;
/// what the file system throws sets badbit.
template <class CharT, class Traits = std::char_traits<CharT>>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): that of a standard stream is virtual.
class VELMORA_API basic_vfsistream : public std::basic_istream<CharT, Traits>
{
  public:
    /// Has no file open.
    explicit basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Opens a file, as `open` does.
    basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode);

    /// Opens a file, which gets the permission if it is made.
    basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode, long in_iPermission);

    /// Sets failbit: a descriptor of the operating system cannot be taken over.
    basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem, int in_iDescriptor,
                     int in_iMode);

    ~basic_vfsistream() override;

    [[nodiscard]] VfsFileBuf<CharT, Traits>* rdbuf() const { return &m_buffer; }
    [[nodiscard]] bool is_open() const { return m_buffer.is_open(); }
    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_buffer.getVirtualFileSystem();
    }

    /// The file, which is still there after `close`; null if the last one could not be opened.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_buffer.getFile(); }

    /// Opens a file and clears the state.
    void open(const char* in_szName, int in_iMode);
    void close();

  private:
    // As standard streams, it gives the buffer to all who may read the stream.
    mutable VfsFileBuf<CharT, Traits> m_buffer;
};

/// An output stream over a file of a virtual file system, as `std::basic_ofstream` is one over a
/// file of the operating system. It is instantiated for `char` in the library, and for nothing
/// else.
///
///     basic_vfsostream<char> stream(hFileSystem, "report.txt", std::ios_base::out);
///     stream << strReport;
///     stream.close();
///     if (!stream)
///         ...
///
/// To the mode `out` is added. All else is as with `basic_vfsistream`. What is pending when the
/// stream goes is written then; a failure of that is not seen, so a program closes it before.
template <class CharT, class Traits = std::char_traits<CharT>>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): that of a standard stream is virtual.
class VELMORA_API basic_vfsostream : public std::basic_ostream<CharT, Traits>
{
  public:
    /// Has no file open.
    explicit basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Opens a file, as `open` does.
    basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode);

    /// Opens a file, which gets the permission if it is made.
    basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem, const char* in_szName,
                     int in_iMode, long in_iPermission);

    /// Sets failbit: a descriptor of the operating system cannot be taken over.
    basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem, int in_iDescriptor,
                     int in_iMode);

    ~basic_vfsostream() override;

    [[nodiscard]] VfsFileBuf<CharT, Traits>* rdbuf() const { return &m_buffer; }
    [[nodiscard]] bool is_open() const { return m_buffer.is_open(); }
    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_buffer.getVirtualFileSystem();
    }

    /// The file, which is still there after `close`; null if the last one could not be opened.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_buffer.getFile(); }

    /// Opens a file and clears the state.
    void open(const char* in_szName, int in_iMode);
    void close();

  private:
    mutable VfsFileBuf<CharT, Traits> m_buffer;
};

extern template class basic_vfsistream<char>;
extern template class basic_vfsostream<char>;

} // namespace Velmora

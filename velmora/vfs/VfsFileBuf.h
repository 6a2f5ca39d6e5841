// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/VfsFileBufImpl.h"

#include <array>
#include <cstddef>
#include <locale>
#include <memory>
#include <streambuf>
#include <string>

namespace Velmora
{

/// A stream buffer over a file of a virtual file system. It behaves like `std::basic_filebuf`, with
/// locales and character conversion, putback, and switches between reading and writing. It is
/// instantiated in the library for `char` only.
///
///     VfsFileBuf<char> buffer(hFileSystem);
///     if (buffer.open("greeting.wav", std::ios_base::in | std::ios_base::binary) == nullptr)
///         return false;
///
/// Differences from a standard file buffer:
/// - The open modes are those listed at `VfsFileBufImpl::_M_open`; `in` with `app` is not among
///   them. A file that is opened with `app` is at its beginning until the first byte is written.
/// - Without `binary`, seeks go only to the beginning, to the end and to the current position.
/// - A write that is interrupted or that the file accepts only in part is a failure. It is not
///   retried: the pending characters are lost.
/// - A failed operation puts the buffer into error mode: it neither reads nor writes until a seek
///   or a close. `sync` returns -1.
/// - A read that fails returns end of file, as do bytes that cannot be converted. The position is
///   then that of the first such byte.
/// - Up to 8 characters in a row can be put back that differ from those of the file.
/// - Asking for the position writes the pending characters.
///
/// The buffer holds 4,096 characters, unless `pubsetbuf` sets another one before the object's first
/// read or write. `pubsetbuf(nullptr, 0)` makes it unbuffered: it reads and writes character by
/// character. Reads and writes of at least the buffer's size bypass the buffer if they need no
/// conversion.
///
/// Ownership: shares the file system and owns the file. A buffer that was passed to `pubsetbuf`
/// belongs to the caller and must outlive this object.
/// Thread-safety: may be used by one thread at a time, like a standard stream.
/// Failure: returns null, end of file or -1, and enters error mode. Exceptions of the file system
/// and of facets pass through, as does `std::bad_alloc` for a buffer; a stream turns them into
/// badbit. The destructor does not throw. Only a failed assertion in `VfsFileBufImpl::_M_close` is
/// logged.
template <class CharT, class Traits = std::char_traits<CharT>>
class VELMORA_API VfsFileBuf : public std::basic_streambuf<CharT, Traits>
{
  public:
    using char_type = CharT;
    using traits_type = Traits;
    using int_type = typename Traits::int_type;
    using pos_type = typename Traits::pos_type;
    using off_type = typename Traits::off_type;

    /// Binds the buffer to a file system. No file is open.
    explicit VfsFileBuf(const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Closes the file.
    ~VfsFileBuf() override;

    VfsFileBuf(const VfsFileBuf&) = delete;
    VfsFileBuf& operator=(const VfsFileBuf&) = delete;

    /// Opens a file by the bits of a `std::ios_base::openmode`. A new file gets the permission, by
    /// default 0666, less the bits of the process's umask. Returns this.
    ///
    /// Failure: returns null. If a file is open already, it stays open.
    VfsFileBuf* open(const char* in_szName, int in_iMode);
    VfsFileBuf* open(const char* in_szName, int in_iMode, long in_iPermission);

    /// Returns null: a descriptor of the operating system cannot be adopted.
    VfsFileBuf* open(int in_iDescriptor, int in_iMode);

    /// Writes the pending characters and closes the file, even if the write fails. Returns this.
    ///
    /// Failure: returns null if no file is open, or if the write or the close fails. Exceptions of
    /// the file system pass through after the file is closed.
    VfsFileBuf* close();

    [[nodiscard]] bool is_open() const { return m_impl.is_open(); }

    /// Returns -1, even while a file is open.
    [[nodiscard]] int fd() const { return m_impl.fd(); }

    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_impl.getVirtualFileSystem();
    }

    /// Returns the file that was opened last, also after `close`. Returns null if there is none,
    /// and after an `open` that failed in the file system.
    [[nodiscard]] VirtualFileSystem::File* getFile() const { return m_impl.getFile(); }

  protected:
    std::basic_streambuf<CharT, Traits>* setbuf(CharT* in_pBuffer,
                                                std::streamsize in_iSize) override;
    pos_type seekoff(off_type in_iOffset, std::ios_base::seekdir in_direction,
                     std::ios_base::openmode in_which = std::ios_base::in |
                                                        std::ios_base::out) override;
    pos_type seekpos(pos_type in_position,
                     std::ios_base::openmode in_which = std::ios_base::in |
                                                        std::ios_base::out) override;
    int sync() override;
    void imbue(const std::locale& in_locale) override;
    std::streamsize showmanyc() override;
    std::streamsize xsgetn(CharT* out_pTo, std::streamsize in_iCount) override;
    int_type underflow() override;
    int_type pbackfail(int_type in_character = Traits::eof()) override;
    std::streamsize xsputn(const CharT* in_pFrom, std::streamsize in_iCount) override;
    int_type overflow(int_type in_character = Traits::eof()) override;

  private:
    using State = typename Traits::state_type;
    using Codecvt = std::codecvt<CharT, char, State>;
    class Attempt;

    VfsFileBuf* opened(bool in_bOpened);
    void setCodecvt(const Codecvt& in_codecvt);
    void needBuffers();
    void needExternalBuffer(std::size_t in_uiSize);
    void forgetState();
    void setErrorMode();

    bool enterInputMode();
    void leaveInputMode();
    bool enterOutputMode();
    bool leaveOutputMode(bool in_bUnshift);
    void enterPutbackMode();
    void leavePutbackMode();

    bool fill();
    bool fillConverted();
    std::codecvt_base::result convertStretch();
    std::codecvt_base::result convertIn(State& inout_state, const char* in_pFrom,
                                        const char* in_pEnd, const char*& out_pNext, CharT* out_pTo,
                                        CharT* in_pToEnd, CharT*& out_pToNext) const;
    std::streamsize readDirectly(CharT* out_pTo, std::streamsize in_iCount);
    bool seekBackOverBytes();

    bool flush(const CharT* in_pEnd, bool in_bMayKeepRest);
    const CharT* writeConverted(const CharT* in_pEnd, bool& out_bWritten);
    bool unshift();
    void setPutArea(std::ptrdiff_t in_iPending);

    std::streamoff unreadBytes(State& out_state) const;
    std::ptrdiff_t bytesOf(std::ptrdiff_t in_iCharacters, State& out_state) const;
    std::string unreadText() const;
    bool hasPlaceForPutback();
    int_type stepBack();
    pos_type goTo(std::streamoff in_iOffset, int in_iDirection, const State& in_state);

    static constexpr std::size_t s_uiPutbackSize = 8;

    VfsFileBufImpl m_impl;

    // Properties of the locale's encoding.
    bool m_bConstantWidth = false;
    bool m_bAlwaysNoConversion = false;

    // At most one of input, output and error mode is set; putback mode is a substate of input mode.
    bool m_bInputMode = false;
    bool m_bOutputMode = false;
    bool m_bErrorMode = false;
    bool m_bPutbackMode = false;

    // Holds the get area or the put area. The put area leaves room at the end for the character
    // that overflows it.
    CharT* m_pIntBuffer = nullptr;
    CharT* m_pIntBufferEnd = nullptr;
    std::unique_ptr<CharT[]> m_pOwnIntBuffer;

    // Bytes of the file, used only with conversion. The bytes up to `m_pExtNext` were converted
    // into the get area; those from there to `m_pExtEnd` are converted next.
    std::unique_ptr<char[]> m_pExtBuffer;
    std::size_t m_uiExtBufferSize = 0;
    const char* m_pExtNext = nullptr;
    char* m_pExtEnd = nullptr;

    // The conversion state at `m_pExtNext`, or after the last byte written; and the state at the
    // beginning of the external buffer.
    State m_state{};
    State m_savedState{};

    // The get area that is set aside in putback mode, while `m_putback` serves as the get area.
    CharT* m_pSavedEback = nullptr;
    CharT* m_pSavedGptr = nullptr;
    CharT* m_pSavedEgptr = nullptr;
    std::array<CharT, s_uiPutbackSize> m_putback{};

    // Owned by the locale, which keeps it alive.
    const Codecvt* m_pCodecvt = nullptr;
    int m_iWidth = 1;
    int m_iMaxWidth = 1;
};

extern template class VfsFileBuf<char>;

} // namespace Velmora

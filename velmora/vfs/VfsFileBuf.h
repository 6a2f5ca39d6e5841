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

/// A stream buffer over a file of a virtual file system. It does what `std::basic_filebuf` does:
/// with locales and their conversion of characters, with characters that are put back, and when a
/// program turns from reading to writing. It is instantiated for `char` in the library, and for
/// nothing else.
///
///     VfsFileBuf<char> buffer(hFileSystem);
///     if (buffer.open("greeting.wav", std::ios_base::in | std::ios_base::binary) == nullptr)
///         return false;
///
/// What differs from a standard file buffer:
/// - Open modes are those that `VfsFileBufImpl::_M_open` names; `in` with `app` is none of them. A
///   file that is opened with `app` is at its beginning until the first byte is written.
/// - Without `binary`, only the beginning, the end and the own position can be sought.
/// - A file that takes fewer bytes than it is given has failed, as has one that is interrupted.
///   Nothing is written again: what a failed operation had to write is lost.
/// - A failed operation puts the buffer into error mode: it neither reads nor writes until a seek
///   or a close. `sync` gives -1.
/// - A read that fails gives the end of the file, and so do bytes that cannot be converted. The
///   place is then that of the first such byte.
/// - Up to 8 characters that differ from those of the file can be put back in a row.
/// - Asking for the position writes what is pending.
///
/// Buffers hold 4,096 characters, unless `pubsetbuf` gives another one before the first read or
/// write of the object's life; `pubsetbuf(nullptr, 0)` makes it go character by character. Pieces
/// that are at least as large go straight to the file, or from there, if they need no conversion.
///
/// Ownership: shares the file system and owns the file. A buffer of `pubsetbuf` is the caller's and
/// must outlive this.
/// Thread-safety: belongs to one thread at a time, like a standard stream.
/// Failure: null, end of file or -1, and error mode. What the file system or a facet throws passes
/// through, as does `std::bad_alloc` for a buffer; a stream makes badbit of it. The destructor
/// throws nothing. Nothing is logged but a broken condition of `VfsFileBufImpl::_M_close`.
template <class CharT, class Traits = std::char_traits<CharT>>
class VELMORA_API VfsFileBuf : public std::basic_streambuf<CharT, Traits>
{
  public:
    using char_type = CharT;
    using traits_type = Traits;
    using int_type = typename Traits::int_type;
    using pos_type = typename Traits::pos_type;
    using off_type = typename Traits::off_type;

    /// Binds it to a file system, with no file open.
    explicit VfsFileBuf(const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Closes the file.
    ~VfsFileBuf() override;

    VfsFileBuf(const VfsFileBuf&) = delete;
    VfsFileBuf& operator=(const VfsFileBuf&) = delete;

    /// Opens a file by the bits of a `std::ios_base::openmode`; a new one gets the permission 0666,
    /// or the given one, less what the process's mask takes. Gives this.
    /// Failure: null; a file that is open already stays so.
    VfsFileBuf* open(const char* in_szName, int in_iMode);
    VfsFileBuf* open(const char* in_szName, int in_iMode, long in_iPermission);

    /// Gives null: a descriptor of the operating system cannot be taken over.
    VfsFileBuf* open(int in_iDescriptor, int in_iMode);

    /// Writes what is pending and closes the file, in any case. Gives this.
    /// Failure: null when it is not open, or one of the two failed. What the file system throws
    /// passes through once the file is closed.
    VfsFileBuf* close();

    [[nodiscard]] bool is_open() const { return m_impl.is_open(); }

    /// Gives -1, also when it is open.
    [[nodiscard]] int fd() const { return m_impl.fd(); }

    [[nodiscard]] const TSHandle<VirtualFileSystem>& getVirtualFileSystem() const
    {
        return m_impl.getVirtualFileSystem();
    }

    /// The file, which is still there after `close`; null if the last `open` failed.
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

    // What the encoding of the locale is like.
    bool m_bConstantWidth = false;
    bool m_bAlwaysNoConversion = false;

    // At most one of input, output and error mode is set; putback mode is a part of input mode.
    bool m_bInputMode = false;
    bool m_bOutputMode = false;
    bool m_bErrorMode = false;
    bool m_bPutbackMode = false;

    // The characters of the get area or of the put area. The put area leaves a place at the end for
    // the character that makes it overflow.
    CharT* m_pIntBuffer = nullptr;
    CharT* m_pIntBufferEnd = nullptr;
    std::unique_ptr<CharT[]> m_pOwnIntBuffer;

    // Bytes of the file; used for conversion only. Those up to `m_pExtNext` became the get area,
    // those from there up to `m_pExtEnd` are to be converted next.
    std::unique_ptr<char[]> m_pExtBuffer;
    std::size_t m_uiExtBufferSize = 0;
    const char* m_pExtNext = nullptr;
    char* m_pExtEnd = nullptr;

    // The state at `m_pExtNext`, or after the last byte that was written; and the state at the
    // beginning of the external buffer.
    State m_state{};
    State m_savedState{};

    // The get area while one of characters that were put back stands in its place.
    CharT* m_pSavedEback = nullptr;
    CharT* m_pSavedGptr = nullptr;
    CharT* m_pSavedEgptr = nullptr;
    std::array<CharT, s_uiPutbackSize> m_putback{};

    // Of the locale, which keeps it alive.
    const Codecvt* m_pCodecvt = nullptr;
    int m_iWidth = 1;
    int m_iMaxWidth = 1;
};

extern template class VfsFileBuf<char>;

} // namespace Velmora

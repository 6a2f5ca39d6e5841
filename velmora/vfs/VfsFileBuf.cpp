// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsFileBuf.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <limits>

namespace Velmora
{

/// Guards an operation: puts the buffer into error mode at the end of its scope, unless `done` was
/// called. This covers failures and exceptions of the file and of a facet alike.
template <class CharT, class Traits>
class VfsFileBuf<CharT, Traits>::Attempt
{
  public:
    explicit Attempt(VfsFileBuf& inout_buffer) : m_buffer(inout_buffer) {}
    ~Attempt()
    {
        if (!m_bDone)
            m_buffer.setErrorMode();
    }
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    bool done()
    {
        m_bDone = true;
        return true;
    }

  private:
    VfsFileBuf& m_buffer;
    bool m_bDone = false;
};

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>::VfsFileBuf(const TSHandle<VirtualFileSystem>& in_hFileSystem)
    : m_impl(in_hFileSystem)
{
    setCodecvt(std::use_facet<Codecvt>(this->getloc()));
}

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>::~VfsFileBuf()
{
    try
    {
        close();
    }
    catch (...) // NOLINT(bugprone-empty-catch): a destructor has no way to report it.
    {
    }
}

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::open(const char* in_szName, int in_iMode)
{
    return opened(m_impl._M_open(in_szName, in_iMode));
}

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::open(const char* in_szName, int in_iMode,
                                                           long in_iPermission)
{
    return opened(m_impl._M_open(in_szName, in_iMode, in_iPermission));
}

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::open(int in_iDescriptor, int in_iMode)
{
    return opened(m_impl._M_open(in_iDescriptor, in_iMode));
}

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::opened(bool in_bOpened)
{
    if (!in_bOpened)
        return nullptr;
    forgetState();
    return this;
}

template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::close()
{
    if (!is_open())
        return nullptr;
    bool bFlushed = false;
    // The file is closed even if writing throws. Of two exceptions, the first one is thrown.
    std::exception_ptr pException;
    try
    {
        bFlushed = !m_bOutputMode || leaveOutputMode(true);
    }
    catch (...)
    {
        pException = std::current_exception();
    }
    forgetState();

    bool bClosed = false;
    try
    {
        bClosed = m_impl._M_close();
    }
    catch (...)
    {
        if (!pException)
            throw;
    }
    if (pException)
        std::rethrow_exception(pException);
    return bFlushed && bClosed ? this : nullptr;
}

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::forgetState()
{
    leaveInputMode();
    this->setp(nullptr, nullptr);
    m_bOutputMode = false;
    m_bErrorMode = false;
    m_state = State();
    m_savedState = State();
}

/// Drops the pending characters: some of them may have reached the file and would be written twice.
template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::setErrorMode()
{
    leaveInputMode();
    this->setp(nullptr, nullptr);
    m_bOutputMode = false;
    m_bErrorMode = true;
}

// Buffers and conversion

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::setCodecvt(const Codecvt& in_codecvt)
{
    const int iEncoding = in_codecvt.encoding();
    const int iMaxWidth = in_codecvt.max_length();
    m_bAlwaysNoConversion = in_codecvt.always_noconv();
    m_bConstantWidth = iEncoding > 0;
    m_iWidth = std::max(iEncoding, 1);
    m_iMaxWidth = iMaxWidth;
    m_pCodecvt = &in_codecvt;
}

template <class CharT, class Traits>
std::basic_streambuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::setbuf(CharT* in_pBuffer,
                                                                       std::streamsize in_iSize)
{
    // After the first read or write there is a buffer, and it is not replaced.
    if (m_pIntBuffer != nullptr)
        return this;
    if (in_pBuffer == nullptr && in_iSize == 0)
    {
        m_pOwnIntBuffer = std::make_unique<CharT[]>(1);
        m_pIntBuffer = m_pOwnIntBuffer.get();
        m_pIntBufferEnd = m_pIntBuffer + 1;
    }
    else if (in_pBuffer != nullptr && in_iSize > 0)
    {
        // `gbump` and `pbump` take an int.
        m_pIntBuffer = in_pBuffer;
        m_pIntBufferEnd = in_pBuffer + std::min<std::streamsize>(in_iSize, INT_MAX);
    }
    return this;
}

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::needBuffers()
{
    if (m_pIntBuffer == nullptr)
    {
        constexpr long iPage = VfsFileBufImpl::_M_page_size;
        // At least 4,096 characters, in whole pages.
        constexpr std::size_t uiSize = (iPage + 4095) / iPage * iPage;
        m_pOwnIntBuffer = std::make_unique_for_overwrite<CharT[]>(uiSize);
        m_pIntBuffer = m_pOwnIntBuffer.get();
        m_pIntBufferEnd = m_pIntBuffer + uiSize;
    }
    if (!m_bAlwaysNoConversion)
        needExternalBuffer(0);
}

/// Ensures that the external buffer is large enough to convert the internal one, and holds at least
/// the given number of bytes. If it grows, its contents are lost.
template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::needExternalBuffer(std::size_t in_uiSize)
{
    const auto uiCharacters = static_cast<std::size_t>(m_pIntBufferEnd - m_pIntBuffer);
    const std::size_t uiSize =
        std::max({in_uiSize, uiCharacters * static_cast<std::size_t>(m_iWidth),
                  static_cast<std::size_t>(std::max(m_iMaxWidth, 1))});
    if (m_uiExtBufferSize >= uiSize)
        return;
    m_pExtBuffer = std::make_unique_for_overwrite<char[]>(uiSize);
    m_uiExtBufferSize = uiSize;
    m_pExtNext = m_pExtEnd = m_pExtBuffer.get();
}

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::imbue(const std::locale& in_locale)
{
    const Codecvt& codecvt = std::use_facet<Codecvt>(in_locale);
    // The same facet keeps its conversion state.
    if (&codecvt == m_pCodecvt)
        return;

    if (m_bOutputMode)
        leaveOutputMode(true);
    if (!m_bInputMode)
    {
        setCodecvt(codecvt);
        m_state = State();
        return;
    }
    // The bytes of unread characters are converted again, by the new facet.
    Attempt attempt(*this);
    const std::string strUnread = unreadText();
    setCodecvt(codecvt);
    leaveInputMode();
    m_state = m_savedState = State();
    needExternalBuffer(strUnread.size());
    m_pExtEnd += strUnread.copy(m_pExtBuffer.get(), strUnread.size());
    this->setg(m_pIntBuffer, m_pIntBuffer, m_pIntBuffer);
    m_bInputMode = true;
    attempt.done();
}

/// Converts by the facet, and copies if the facet reports that no conversion is needed.
template <class CharT, class Traits>
std::codecvt_base::result
VfsFileBuf<CharT, Traits>::convertIn(State& inout_state, const char* in_pFrom, const char* in_pEnd,
                                     const char*& out_pNext, CharT* out_pTo, CharT* in_pToEnd,
                                     CharT*& out_pToNext) const
{
    const std::codecvt_base::result result =
        m_pCodecvt->in(inout_state, in_pFrom, in_pEnd, out_pNext, out_pTo, in_pToEnd, out_pToNext);
    if (result != std::codecvt_base::noconv)
        return result;
    const std::ptrdiff_t iCount = std::min(in_pEnd - in_pFrom, in_pToEnd - out_pTo);
    out_pNext = in_pFrom + iCount;
    out_pToNext = std::copy(in_pFrom, out_pNext, out_pTo);
    return out_pNext == in_pEnd ? std::codecvt_base::ok : std::codecvt_base::partial;
}

// Input

template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::enterInputMode()
{
    if (m_bInputMode)
        return true;
    if (!is_open() || m_bErrorMode || (m_impl.mode() & VfsFileBufImpl::in) == 0)
        return false;
    if (m_bOutputMode && !leaveOutputMode(false))
        return false;
    needBuffers();
    m_savedState = m_state;
    this->setg(m_pIntBuffer, m_pIntBuffer, m_pIntBuffer);
    m_bInputMode = true;
    return true;
}

/// Drops the characters that were read from the file but not used. The file's position is then
/// after them.
template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::leaveInputMode()
{
    this->setg(nullptr, nullptr, nullptr);
    m_pExtNext = m_pExtEnd = m_pExtBuffer.get();
    m_bInputMode = false;
    m_bPutbackMode = false;
}

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::enterPutbackMode()
{
    m_pSavedEback = this->eback();
    m_pSavedGptr = this->gptr();
    m_pSavedEgptr = this->egptr();
    CharT* const pEnd = m_putback.data() + m_putback.size();
    this->setg(pEnd, pEnd, pEnd);
    m_bPutbackMode = true;
}

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::leavePutbackMode()
{
    this->setg(m_pSavedEback, m_pSavedGptr, m_pSavedEgptr);
    m_bPutbackMode = false;
}

template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::int_type VfsFileBuf<CharT, Traits>::underflow()
{
    if (!enterInputMode())
        return Traits::eof();
    if (m_bPutbackMode && this->gptr() == this->egptr())
        leavePutbackMode();
    if (this->gptr() == this->egptr() && !fill())
        return Traits::eof();
    return Traits::to_int_type(*this->gptr());
}

/// Reads the next characters into the get area. Returns false after a failure, and at the end of
/// the file, with the get area unchanged.
template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::fill()
{
    if (!m_bAlwaysNoConversion)
        return fillConverted();

    Attempt attempt(*this);
    long iNumRead = std::min<long>(m_pExtEnd - m_pExtNext, m_pIntBufferEnd - m_pIntBuffer);
    if (iNumRead != 0)
    {
        // Bytes that were read before the locale changed.
        std::copy_n(m_pExtNext, iNumRead, m_pIntBuffer);
        m_pExtNext += iNumRead;
    }
    else
        iNumRead =
            m_impl._M_read(reinterpret_cast<char*>(m_pIntBuffer), m_pIntBufferEnd - m_pIntBuffer);
    if (iNumRead < 0)
        return false;
    attempt.done();
    if (iNumRead == 0)
        return false;
    this->setg(m_pIntBuffer, m_pIntBuffer, m_pIntBuffer + iNumRead);
    return true;
}

template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::fillConverted()
{
    Attempt attempt(*this);
    char* const pBuffer = m_pExtBuffer.get();

    // Bytes that are buffered are converted first, without waiting for more; the file is read only
    // if they make no complete character.
    for (bool bReads = m_pExtNext == m_pExtEnd;; bReads = true)
    {
        const auto uiLeft = static_cast<std::size_t>(m_pExtEnd - m_pExtNext);
        if (uiLeft != 0)
            std::memmove(pBuffer, m_pExtNext, uiLeft);
        long iNumRead = 0;
        if (bReads && uiLeft != m_uiExtBufferSize)
            iNumRead =
                m_impl._M_read(pBuffer + uiLeft, static_cast<long>(m_uiExtBufferSize - uiLeft));
        if (bReads && uiLeft == 0 && iNumRead == 0)
        {
            attempt.done();
            return false;
        }
        m_pExtNext = pBuffer;
        m_pExtEnd = pBuffer + uiLeft + std::max(iNumRead, 0L);
        m_savedState = m_state;
        this->setg(m_pIntBuffer, m_pIntBuffer, m_pIntBuffer);
        // An incomplete character at the end of the file is a failure, too.
        if (bReads && iNumRead <= 0)
            return seekBackOverBytes();

        const std::codecvt_base::result result = convertStretch();
        if (this->gptr() != this->egptr())
            return attempt.done();
        if (result == std::codecvt_base::error)
            return seekBackOverBytes();
    }
}

/// Converts the buffered bytes into the get area.
template <class CharT, class Traits>
std::codecvt_base::result VfsFileBuf<CharT, Traits>::convertStretch()
{
    const char* pNext = m_pExtNext;
    CharT* pTo = m_pIntBuffer;
    const std::codecvt_base::result result =
        convertIn(m_state, m_pExtNext, m_pExtEnd, pNext, m_pIntBuffer, m_pIntBufferEnd, pTo);
    m_pExtNext = pNext;
    this->setg(m_pIntBuffer, m_pIntBuffer, pTo);
    return result;
}

/// Moves the file to the first byte that cannot be converted. Returns false, as that is a failure.
template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::seekBackOverBytes()
{
    if (m_pExtNext != m_pExtEnd)
        m_impl._M_seek(m_pExtNext - m_pExtEnd, VfsFileBufImpl::cur);
    return false;
}

template <class CharT, class Traits>
std::streamsize VfsFileBuf<CharT, Traits>::showmanyc()
{
    if (!is_open() || m_bOutputMode)
        return -1;
    if (m_bPutbackMode)
        return this->egptr() - this->gptr();
    if (!m_bConstantWidth)
        return 0;
    const std::streamoff iPosition = m_impl._M_seek(0, VfsFileBufImpl::cur);
    return iPosition < 0 ? 0 : std::max<std::streamoff>(m_impl._M_file_size() - iPosition, 0);
}

template <class CharT, class Traits>
std::streamsize VfsFileBuf<CharT, Traits>::xsgetn(CharT* out_pTo, std::streamsize in_iCount)
{
    std::streamsize iDone = 0;
    while (iDone < in_iCount)
    {
        const std::streamsize iCount =
            std::min<std::streamsize>(in_iCount - iDone, this->egptr() - this->gptr());
        if (iCount != 0)
        {
            Traits::copy(out_pTo + iDone, this->gptr(), static_cast<std::size_t>(iCount));
            this->gbump(static_cast<int>(iCount));
            iDone += iCount;
            continue;
        }
        if (!enterInputMode())
            break;
        const std::ptrdiff_t iBufferSize = m_pIntBufferEnd - m_pIntBuffer;
        // Only if nothing that comes first is buffered: characters that were put back, or bytes
        // that were read before the locale changed. With a buffer of one character the stream is
        // unbuffered and goes character by character.
        const bool bDirectly = m_bAlwaysNoConversion && !m_bPutbackMode &&
                               m_pExtNext == m_pExtEnd && iBufferSize > 1 &&
                               in_iCount - iDone >= iBufferSize;
        if (bDirectly)
        {
            const std::streamsize iNumRead = readDirectly(out_pTo + iDone, in_iCount - iDone);
            if (iNumRead == 0)
                break;
            iDone += iNumRead;
        }
        else if (Traits::eq_int_type(underflow(), Traits::eof()))
            break;
    }
    return iDone;
}

/// Reads once, bypassing the buffer. Returns 0 at the end of the file and after a failure.
template <class CharT, class Traits>
std::streamsize VfsFileBuf<CharT, Traits>::readDirectly(CharT* out_pTo, std::streamsize in_iCount)
{
    Attempt attempt(*this);
    const long iNumRead = m_impl._M_read(reinterpret_cast<char*>(out_pTo), in_iCount);
    if (iNumRead < 0)
        return 0;
    attempt.done();
    if (iNumRead > 0)
    {
        // Keeps the last character for putback, which then needs no seek.
        Traits::assign(*m_pIntBuffer, out_pTo[iNumRead - 1]);
        this->setg(m_pIntBuffer, m_pIntBuffer + 1, m_pIntBuffer + 1);
    }
    return iNumRead;
}

// Putting back

template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::int_type
VfsFileBuf<CharT, Traits>::pbackfail(int_type in_character)
{
    const bool bAny = Traits::eq_int_type(in_character, Traits::eof());
    CharT character = Traits::to_char_type(in_character);
    if (!enterInputMode())
        return Traits::eof();

    if (this->gptr() > this->eback())
    {
        // Only characters that were put back may be overwritten. The buffer itself must keep those
        // of the file.
        const bool bSame = bAny || Traits::eq(character, this->gptr()[-1]);
        if (bSame || m_bPutbackMode)
        {
            this->gbump(-1);
            if (!bSame)
                *this->gptr() = character;
            return Traits::to_int_type(*this->gptr());
        }
    }
    else if (bAny && m_bPutbackMode)
    {
        const std::ptrdiff_t iPlace = m_pSavedGptr - m_pSavedEback - (this->egptr() - this->gptr());
        if (iPlace <= 0)
            return Traits::eof();
        character = m_pSavedEback[iPlace - 1];
    }
    else if (bAny)
        return stepBack();

    if (!hasPlaceForPutback())
        return Traits::eof();
    if (!m_bPutbackMode)
        enterPutbackMode();
    this->setg(this->gptr() - 1, this->gptr() - 1, this->egptr());
    *this->gptr() = character;
    return Traits::to_int_type(character);
}

/// Returns whether one more character can be put back: there is room for it, and the file has a
/// character before the current position. If the position cannot be determined, it is assumed to
/// have one.
template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::hasPlaceForPutback()
{
    if (m_bPutbackMode && this->gptr() == m_putback.data())
        return false;
    const std::ptrdiff_t iInBuffer =
        m_bPutbackMode ? m_pSavedGptr - m_pSavedEback - (this->egptr() - this->gptr())
                       : this->gptr() - this->eback();
    if (iInBuffer > 0)
        return true;
    const std::streamoff iPosition = m_impl._M_seek(0, VfsFileBufImpl::cur);
    if (iPosition < 0)
        return true;
    if (!m_bConstantWidth)
        return iPosition > m_pExtEnd - m_pExtBuffer.get();
    State state;
    return iPosition - unreadBytes(state) >= m_iWidth;
}

/// Moves back by one character, to before the buffer's beginning.
template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::int_type VfsFileBuf<CharT, Traits>::stepBack()
{
    State state;
    const std::streamoff iUnread = unreadBytes(state);
    if (!m_bConstantWidth || iUnread < 0)
        return Traits::eof();
    if (goTo(-m_iWidth - iUnread, VfsFileBufImpl::cur, state) == pos_type(off_type(-1)))
        return Traits::eof();
    const int_type character = underflow();
    // After a seek beyond the end of the file there is no such character, so the move is undone.
    if (Traits::eq_int_type(character, Traits::eof()) && !m_bErrorMode)
        goTo(m_iWidth, VfsFileBufImpl::cur, state);
    return character;
}

// Output

template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::enterOutputMode()
{
    if (m_bOutputMode)
        return true;
    if (!is_open() || m_bErrorMode || (m_impl.mode() & VfsFileBufImpl::out) == 0)
        return false;
    if (m_bInputMode)
    {
        // Moves the file back to the program's position.
        State state;
        const std::streamoff iUnread = unreadBytes(state);
        if (iUnread < 0 || (iUnread != 0 && m_impl._M_seek(-iUnread, VfsFileBufImpl::cur) == -1))
            return false;
        leaveInputMode();
        m_state = state;
    }
    needBuffers();
    setPutArea(0);
    m_bOutputMode = true;
    return true;
}

/// Writes the pending characters. Returns false, in error mode, if that fails.
template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::leaveOutputMode(bool in_bUnshift)
{
    if (!flush(this->pptr(), false) || (in_bUnshift && !unshift()))
        return false;
    this->setp(nullptr, nullptr);
    m_bOutputMode = false;
    return true;
}

template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::setPutArea(std::ptrdiff_t in_iPending)
{
    // The last place is for the character that `overflow` gets, so that it is written with the
    // rest.
    this->setp(m_pIntBuffer, m_pIntBufferEnd - 1);
    this->pbump(static_cast<int>(in_iPending));
}

template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::int_type
VfsFileBuf<CharT, Traits>::overflow(int_type in_character)
{
    if (!enterOutputMode())
        return Traits::eof();
    CharT* pEnd = this->pptr();
    if (!Traits::eq_int_type(in_character, Traits::eof()))
    {
        *pEnd++ = Traits::to_char_type(in_character);
        if (pEnd <= this->epptr())
        {
            this->pbump(1);
            return in_character;
        }
    }
    return flush(pEnd, true) ? Traits::not_eof(in_character) : Traits::eof();
}

template <class CharT, class Traits>
std::streamsize VfsFileBuf<CharT, Traits>::xsputn(const CharT* in_pFrom, std::streamsize in_iCount)
{
    if (in_iCount <= 0 || !enterOutputMode())
        return 0;
    const std::ptrdiff_t iBufferSize = m_pIntBufferEnd - m_pIntBuffer;
    std::streamsize iDone = 0;
    while (iDone < in_iCount)
    {
        const std::streamsize iLeft = in_iCount - iDone;
        const bool bDirectly = m_bAlwaysNoConversion && this->pptr() == this->pbase() &&
                               iBufferSize > 1 && iLeft >= iBufferSize;
        if (bDirectly)
        {
            Attempt attempt(*this);
            if (!m_impl._M_write(reinterpret_cast<const char*>(in_pFrom + iDone), iLeft))
                break;
            attempt.done();
            iDone = in_iCount;
            break;
        }
        const std::ptrdiff_t iRoom = m_pIntBufferEnd - this->pptr();
        const std::streamsize iCount = std::min<std::streamsize>(iLeft, iRoom);
        Traits::copy(this->pptr(), in_pFrom + iDone, static_cast<std::size_t>(iCount));
        // `iRoom` includes the last place, which `pptr` must not pass. A full buffer is written
        // instead.
        if (iCount < iRoom)
            this->pbump(static_cast<int>(iCount));
        else if (!flush(m_pIntBufferEnd, true))
            break;
        iDone += iCount;
    }
    return iDone;
}

template <class CharT, class Traits>
int VfsFileBuf<CharT, Traits>::sync()
{
    if (m_bOutputMode)
        return flush(this->pptr(), true) ? 0 : -1;
    return m_bErrorMode ? -1 : 0;
}

/// Writes the put area up to a place in the internal buffer. Characters at the end that the facet
/// can convert only together with further ones are kept if `in_bMayKeepRest` is set; otherwise they
/// are a failure.
template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::flush(const CharT* in_pEnd, bool in_bMayKeepRest)
{
    Attempt attempt(*this);
    const CharT* pRest = in_pEnd;
    bool bWritten = true;
    if (!m_bAlwaysNoConversion)
        pRest = writeConverted(in_pEnd, bWritten);
    else if (in_pEnd != this->pbase())
        bWritten =
            m_impl._M_write(reinterpret_cast<const char*>(this->pbase()), in_pEnd - this->pbase());
    const std::ptrdiff_t iRest = in_pEnd - pRest;
    if (!bWritten || (iRest != 0 && (!in_bMayKeepRest || iRest == m_pIntBufferEnd - m_pIntBuffer)))
        return false;
    Traits::move(m_pIntBuffer, pRest, static_cast<std::size_t>(iRest));
    setPutArea(iRest);
    return attempt.done();
}

/// Converts and writes the put area. Returns the first character that was not converted.
template <class CharT, class Traits>
const CharT* VfsFileBuf<CharT, Traits>::writeConverted(const CharT* in_pEnd, bool& out_bWritten)
{
    char* const pBuffer = m_pExtBuffer.get();
    const CharT* pFrom = this->pbase();
    out_bWritten = true;
    while (pFrom != in_pEnd && out_bWritten)
    {
        const CharT* pFromNext = pFrom;
        char* pTo = pBuffer;
        const std::codecvt_base::result result = m_pCodecvt->out(
            m_state, pFrom, in_pEnd, pFromNext, pBuffer, pBuffer + m_uiExtBufferSize, pTo);
        if (result == std::codecvt_base::noconv)
        {
            out_bWritten = m_impl._M_write(reinterpret_cast<const char*>(pFrom), in_pEnd - pFrom);
            return in_pEnd;
        }
        // The facet needs further characters.
        if (pFromNext == pFrom && pTo == pBuffer && result != std::codecvt_base::error)
            break;
        out_bWritten = result != std::codecvt_base::error &&
                       (pTo == pBuffer || m_impl._M_write(pBuffer, pTo - pBuffer));
        pFrom = pFromNext;
    }
    return pFrom;
}

/// Writes the bytes that return the encoding to its initial state.
template <class CharT, class Traits>
bool VfsFileBuf<CharT, Traits>::unshift()
{
    if (m_bAlwaysNoConversion)
        return true;
    Attempt attempt(*this);
    char* const pBuffer = m_pExtBuffer.get();
    std::codecvt_base::result result = std::codecvt_base::partial;
    while (result == std::codecvt_base::partial)
    {
        char* pTo = pBuffer;
        result = m_pCodecvt->unshift(m_state, pBuffer, pBuffer + m_uiExtBufferSize, pTo);
        if (result == std::codecvt_base::noconv)
            break;
        const bool bStuck = result == std::codecvt_base::partial && pTo == pBuffer;
        if (result == std::codecvt_base::error || bStuck)
            return false;
        if (pTo != pBuffer && !m_impl._M_write(pBuffer, pTo - pBuffer))
            return false;
    }
    return attempt.done();
}

// Position

/// Returns the number of bytes between the program's position and the file's position, and the
/// conversion state at the former. Returns -1 if the number cannot be determined: for characters
/// that were put back before the buffer's beginning, with an encoding of variable width.
template <class CharT, class Traits>
std::streamoff VfsFileBuf<CharT, Traits>::unreadBytes(State& out_state) const
{
    out_state = m_state;
    if (!m_bInputMode)
        return 0;
    const CharT* const pBegin = m_bPutbackMode ? m_pSavedEback : this->eback();
    const CharT* const pNext = m_bPutbackMode ? m_pSavedGptr : this->gptr();
    const CharT* const pEnd = m_bPutbackMode ? m_pSavedEgptr : this->egptr();
    const std::ptrdiff_t iPutBack = m_bPutbackMode ? this->egptr() - this->gptr() : 0;
    if (m_bAlwaysNoConversion || m_bConstantWidth)
        return (pEnd - pNext + iPutBack) * m_iWidth + (m_pExtEnd - m_pExtNext);

    const std::ptrdiff_t iRead = pNext - pBegin - iPutBack;
    const std::ptrdiff_t iNumBytes = iRead < 0 ? -1 : bytesOf(iRead, out_state);
    return iNumBytes < 0 ? -1 : m_pExtEnd - m_pExtBuffer.get() - iNumBytes;
}

/// Returns the number of bytes that the first characters of the get area were converted from, and
/// the conversion state after them. Converts these bytes again and returns -1 if that gives other
/// characters.
template <class CharT, class Traits>
std::ptrdiff_t VfsFileBuf<CharT, Traits>::bytesOf(std::ptrdiff_t in_iCharacters,
                                                  State& out_state) const
{
    const char* const pBuffer = m_pExtBuffer.get();
    out_state = m_savedState;
    const std::ptrdiff_t iNumBytes = m_pCodecvt->length(out_state, pBuffer, m_pExtNext,
                                                        static_cast<std::size_t>(in_iCharacters));

    State state = m_savedState;
    std::array<CharT, 256> converted;
    const char* pFrom = pBuffer;
    std::ptrdiff_t iCompared = 0;
    while (iCompared != in_iCharacters)
    {
        const std::ptrdiff_t iCount =
            std::min<std::ptrdiff_t>(in_iCharacters - iCompared, converted.size());
        CharT* pTo = converted.data();
        const char* pFromNext = pFrom;
        convertIn(state, pFrom, pBuffer + iNumBytes, pFromNext, pTo, pTo + iCount, pTo);
        const std::ptrdiff_t iConverted = pTo - converted.data();
        if (iConverted == 0 || !std::equal(converted.data(), pTo, m_pIntBuffer + iCompared))
            return -1;
        iCompared += iConverted;
        pFrom = pFromNext;
    }
    return iNumBytes;
}

/// Returns the bytes between the program's position and the file's position.
template <class CharT, class Traits>
std::string VfsFileBuf<CharT, Traits>::unreadText() const
{
    // Characters that were put back count with the bytes that they have in the file.
    const CharT* const pBegin = m_bPutbackMode ? m_pSavedEback : this->eback();
    const CharT* const pEnd = m_bPutbackMode ? m_pSavedEgptr : this->egptr();
    const CharT* pNext = this->gptr();
    if (m_bPutbackMode)
        pNext = m_pSavedGptr - std::min(this->egptr() - this->gptr(), m_pSavedGptr - pBegin);
    if (m_bAlwaysNoConversion)
        return std::string(pNext, pEnd)
            .append(m_pExtNext, static_cast<std::size_t>(m_pExtEnd - m_pExtNext));

    State state;
    const std::ptrdiff_t iNumBytes =
        m_bConstantWidth ? (pNext - pBegin) * m_iWidth : bytesOf(pNext - pBegin, state);
    const char* const pFrom = iNumBytes < 0 ? m_pExtNext : m_pExtBuffer.get() + iNumBytes;
    return std::string(pFrom, static_cast<std::size_t>(m_pExtEnd - pFrom));
}

template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::pos_type
VfsFileBuf<CharT, Traits>::seekoff(off_type in_iOffset, std::ios_base::seekdir in_direction,
                                   std::ios_base::openmode)
{
    const pos_type failed(off_type(-1));
    std::streamoff iOffset = 0;
    if (!is_open() || (in_iOffset != 0 && !(m_bConstantWidth && m_impl._M_in_binary_mode())) ||
        __builtin_mul_overflow(in_iOffset, m_iWidth, &iOffset))
        return failed;

    // A seek by 0 from the current position only asks for the position. It leaves the input mode
    // and the encoding's state as they are.
    const bool bMoves = iOffset != 0 || in_direction != std::ios_base::cur;
    if (m_bOutputMode && !leaveOutputMode(bMoves))
        return failed;
    if (in_direction == std::ios_base::beg)
        return goTo(iOffset, VfsFileBufImpl::beg, State());
    if (in_direction == std::ios_base::end)
        return goTo(iOffset, VfsFileBufImpl::end, State());
    if (in_direction != std::ios_base::cur)
        return failed;

    State state;
    const std::streamoff iUnread = unreadBytes(state);
    if (iUnread < 0 || __builtin_sub_overflow(iOffset, iUnread, &iOffset))
        return failed;
    if (bMoves)
        return goTo(iOffset, VfsFileBufImpl::cur, state);
    const std::streamoff iPosition = m_impl._M_seek(0, VfsFileBufImpl::cur) + iOffset;
    if (iPosition < 0)
        return failed;
    m_bErrorMode = false;
    pos_type position(iPosition);
    position.state(state);
    return position;
}

template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::pos_type
VfsFileBuf<CharT, Traits>::seekpos(pos_type in_position, std::ios_base::openmode)
{
    const off_type iOffset(in_position);
    if (!is_open() || (iOffset != 0 && !m_impl._M_in_binary_mode()) ||
        (m_bOutputMode && !leaveOutputMode(true)))
        return pos_type(off_type(-1));
    return goTo(iOffset, VfsFileBufImpl::beg, in_position.state());
}

/// Moves the file, then drops the contents of the buffers. In this order, a seek that fails changes
/// nothing.
template <class CharT, class Traits>
typename VfsFileBuf<CharT, Traits>::pos_type
VfsFileBuf<CharT, Traits>::goTo(std::streamoff in_iOffset, int in_iDirection, const State& in_state)
{
    const std::streamoff iPosition = m_impl._M_seek(in_iOffset, in_iDirection);
    if (iPosition == -1)
        return pos_type(off_type(-1));
    leaveInputMode();
    m_bErrorMode = false;
    m_state = in_state;
    pos_type position(iPosition);
    position.state(in_state);
    return position;
}

template class VfsFileBuf<char>;

} // namespace Velmora

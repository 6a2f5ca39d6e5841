// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// The part of `VfsFileBuf` that converts characters to bytes and writes the file.

#include "velmora/vfs/VfsFileBuf.h"
#include "velmora/vfs/VfsFileBufAttempt.h"

#include <algorithm>

namespace Velmora
{

/// Prepares for writing: moves the file back to the program's position, makes the buffers. Returns
/// false if the file is not open for writing, in error mode, and if the position cannot be found.
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

/// Makes the internal buffer the put area, with this number of characters pending in it.
template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::setPutArea(std::ptrdiff_t in_iPending)
{
    // The last place is for the character that `overflow` gets, so that it is written with the
    // rest.
    this->setp(m_pIntBuffer, m_pIntBufferEnd - 1);
    this->pbump(static_cast<int>(in_iPending));
}

/// Stores a character. If the put area is full, writes it, this character included. Returns end of
/// file after a failure.
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

/// Writes many characters: large pieces without conversion directly to the file if nothing is
/// pending, others through the put area. Returns how many were accepted.
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

/// Writes the pending characters. Returns -1 after a failure and in error mode, otherwise 0.
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

} // namespace Velmora

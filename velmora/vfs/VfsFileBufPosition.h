// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// The part of `VfsFileBuf` that seeks, and finds the bytes that characters were converted from.

#include "velmora/vfs/VfsFileBuf.h"

#include <algorithm>
#include <array>

namespace Velmora
{

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

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// The part of `VfsFileBuf` that puts characters back.

#include "velmora/vfs/VfsFileBuf.h"

namespace Velmora
{

/// Sets the get area aside, and makes the empty putback area the get area.
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

/// Makes the area that was set aside the get area again.
template <class CharT, class Traits>
void VfsFileBuf<CharT, Traits>::leavePutbackMode()
{
    this->setg(m_pSavedEback, m_pSavedGptr, m_pSavedEgptr);
    m_bPutbackMode = false;
}

/// Puts a character back in front of the current position, or, for end of file, the one that was
/// read there. Returns end of file if there is no place or no such character.
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

} // namespace Velmora

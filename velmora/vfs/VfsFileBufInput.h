// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// The part of `VfsFileBuf` that reads the file and converts bytes to characters.

#include "velmora/vfs/VfsFileBuf.h"
#include "velmora/vfs/VfsFileBufAttempt.h"

#include <algorithm>
#include <cstring>

namespace Velmora
{

/// Prepares for reading: writes pending characters, makes the buffers. Returns false if the file is
/// not open for reading, in error mode, and after a failure to write.
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

/// Returns the next character and leaves it in the get area, which is filled if it is empty.
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

/// Does what `fill` does for an encoding that converts: converts the bytes in the external buffer,
/// and reads more only if they make no complete character.
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

/// Returns how many characters can be read without waiting: those that were put back, or, with an
/// encoding of constant width, the bytes to the end of the file. Returns 0 if that is not known,
/// and -1 while writing and if no file is open.
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

/// Reads many characters: large pieces without conversion directly from the file, others through
/// the get area. Returns how many were read.
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

} // namespace Velmora

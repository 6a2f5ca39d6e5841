// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// The part of `VfsFileBuf` that makes its buffers, and follows the locale.

#include "velmora/vfs/VfsFileBuf.h"
#include "velmora/vfs/VfsFileBufAttempt.h"

#include <algorithm>
#include <climits>

namespace Velmora
{

/// Converts by this facet from now on, and notes the properties of its encoding.
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

/// Uses the given buffer, or for null and 0 one of a single character. Does nothing once there is a
/// buffer.
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

/// Makes the internal buffer unless there is one, and the external one if the encoding converts.
/// Failure: throws `std::bad_alloc`.
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

/// Converts by the facet of another locale. Pending characters are written first; characters that
/// were read and not used are converted again. Failure: error mode.
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

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// The part of `VfsFileBuf` that opens and closes the file, and resets the modes.

#include "velmora/vfs/VfsFileBuf.h"

#include <exception>

namespace Velmora
{

/// Makes a closed buffer that converts as the global locale does.
template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>::VfsFileBuf(const TSHandle<VirtualFileSystem>& in_hFileSystem)
    : m_impl(in_hFileSystem)
{
    setCodecvt(std::use_facet<Codecvt>(this->getloc()));
}

/// Closes the file. A failure is lost.
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

/// Opens the file with that name. A new file gets the permission 0666, less the bits of the
/// process's umask. Returns null if a file is open already, or if this one cannot be opened.
template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::open(const char* in_szName, int in_iMode)
{
    return opened(m_impl._M_open(in_szName, in_iMode));
}

/// Does the same. A new file gets this permission, less the bits of the process's umask.
template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::open(const char* in_szName, int in_iMode,
                                                           long in_iPermission)
{
    return opened(m_impl._M_open(in_szName, in_iMode, in_iPermission));
}

/// Returns null: a descriptor of the operating system cannot be adopted.
template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::open(int in_iDescriptor, int in_iMode)
{
    return opened(m_impl._M_open(in_iDescriptor, in_iMode));
}

/// Returns this buffer, with its modes reset, after an open that succeeded, and null after another.
template <class CharT, class Traits>
VfsFileBuf<CharT, Traits>* VfsFileBuf<CharT, Traits>::opened(bool in_bOpened)
{
    if (!in_bOpened)
        return nullptr;
    forgetState();
    return this;
}

/// Writes what is pending and closes the file in any case. Returns null if either failed, or if no
/// file was open.
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

/// Leaves all modes and drops the contents of the buffers and the conversion state.
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

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VfsStream.h"

namespace Velmora
{

namespace
{

/// Sets the stream's state from the result of opening its buffer.
template <class Stream>
void setStateAfterOpen(Stream& inout_stream, const void* in_pOpened)
{
    if (in_pOpened != nullptr)
        inout_stream.clear();
    else
        inout_stream.setstate(std::ios_base::failbit);
}

} // namespace

// The base class is constructed before the buffer, so it gets the buffer in the constructor's body.

template <class CharT, class Traits>
basic_vfsistream<CharT, Traits>::basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem)
    : std::basic_istream<CharT, Traits>(nullptr), m_buffer(in_hFileSystem)
{
    std::basic_ios<CharT, Traits>::rdbuf(&m_buffer);
}

template <class CharT, class Traits>
basic_vfsistream<CharT, Traits>::basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                                                  const char* in_szName, int in_iMode)
    : basic_vfsistream(in_hFileSystem)
{
    open(in_szName, in_iMode);
}

template <class CharT, class Traits>
basic_vfsistream<CharT, Traits>::basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                                                  const char* in_szName, int in_iMode,
                                                  long in_iPermission)
    : basic_vfsistream(in_hFileSystem)
{
    setStateAfterOpen(*this,
                      m_buffer.open(in_szName, in_iMode | std::ios_base::in, in_iPermission));
}

template <class CharT, class Traits>
basic_vfsistream<CharT, Traits>::basic_vfsistream(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                                                  int in_iDescriptor, int in_iMode)
    : basic_vfsistream(in_hFileSystem)
{
    setStateAfterOpen(*this, m_buffer.open(in_iDescriptor, in_iMode | std::ios_base::in));
}

template <class CharT, class Traits>
basic_vfsistream<CharT, Traits>::~basic_vfsistream() = default;

template <class CharT, class Traits>
void basic_vfsistream<CharT, Traits>::open(const char* in_szName, int in_iMode)
{
    setStateAfterOpen(*this, m_buffer.open(in_szName, in_iMode | std::ios_base::in));
}

template <class CharT, class Traits>
void basic_vfsistream<CharT, Traits>::close()
{
    if (m_buffer.close() == nullptr)
        this->setstate(std::ios_base::failbit);
}

template <class CharT, class Traits>
basic_vfsostream<CharT, Traits>::basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem)
    : std::basic_ostream<CharT, Traits>(nullptr), m_buffer(in_hFileSystem)
{
    std::basic_ios<CharT, Traits>::rdbuf(&m_buffer);
}

template <class CharT, class Traits>
basic_vfsostream<CharT, Traits>::basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                                                  const char* in_szName, int in_iMode)
    : basic_vfsostream(in_hFileSystem)
{
    open(in_szName, in_iMode);
}

template <class CharT, class Traits>
basic_vfsostream<CharT, Traits>::basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                                                  const char* in_szName, int in_iMode,
                                                  long in_iPermission)
    : basic_vfsostream(in_hFileSystem)
{
    setStateAfterOpen(*this,
                      m_buffer.open(in_szName, in_iMode | std::ios_base::out, in_iPermission));
}

template <class CharT, class Traits>
basic_vfsostream<CharT, Traits>::basic_vfsostream(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                                                  int in_iDescriptor, int in_iMode)
    : basic_vfsostream(in_hFileSystem)
{
    setStateAfterOpen(*this, m_buffer.open(in_iDescriptor, in_iMode | std::ios_base::out));
}

template <class CharT, class Traits>
basic_vfsostream<CharT, Traits>::~basic_vfsostream() = default;

template <class CharT, class Traits>
void basic_vfsostream<CharT, Traits>::open(const char* in_szName, int in_iMode)
{
    setStateAfterOpen(*this, m_buffer.open(in_szName, in_iMode | std::ios_base::out));
}

template <class CharT, class Traits>
void basic_vfsostream<CharT, Traits>::close()
{
    if (m_buffer.close() == nullptr)
        this->setstate(std::ios_base::failbit);
}

template class basic_vfsistream<char>;
template class basic_vfsostream<char>;

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/DescriptorBuf.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Velmora
{

// The memory is left as it is: only what is written to it is read.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
DescriptorBuf::DescriptorBuf(int in_iDescriptor) : m_iDescriptor(in_iDescriptor)
{
    setp(m_memory.data(), m_memory.data() + m_memory.size());
}

DescriptorBuf::~DescriptorBuf() { close(); }

bool DescriptorBuf::close() noexcept
{
    const int iDescriptor = m_iDescriptor;
    if (iDescriptor < 0)
        return true;
    const bool bWritten = sync() == 0;
    const int iError = errno;
    m_iDescriptor = -1;
    setp(nullptr, nullptr);
    // Linux closes the descriptor even if a signal interrupts the call.
    const bool bClosed = ::close(iDescriptor) == 0 || errno == EINTR;
    if (!bWritten)
        errno = iError;
    return bWritten && bClosed;
}

std::streambuf* DescriptorBuf::setbuf(char* in_pMemory, std::streamsize in_iSize)
{
    if (pending() != 0)
        return nullptr;
    if (in_pMemory != nullptr && in_iSize > 0)
        setp(in_pMemory, in_pMemory + in_iSize);
    return this;
}

DescriptorBuf::int_type DescriptorBuf::overflow(int_type in_iCharacter)
{
    if (sync() != 0 || pptr() == epptr())
        return traits_type::eof();
    if (!traits_type::eq_int_type(in_iCharacter, traits_type::eof()))
    {
        *pptr() = traits_type::to_char_type(in_iCharacter);
        pbump(1);
    }
    return traits_type::not_eof(in_iCharacter);
}

std::streamsize DescriptorBuf::xsputn(const char* in_pText, std::streamsize in_iSize)
{
    if (in_iSize > epptr() - pptr()) [[unlikely]]
        return writeOut(in_pText, in_iSize);
    std::copy_n(in_pText, in_iSize, pptr());
    pbump(static_cast<int>(in_iSize));
    return in_iSize;
}

int DescriptorBuf::sync()
{
    writeOut(nullptr, 0);
    return pending() == 0 ? 0 : -1;
}

DescriptorBuf::pos_type DescriptorBuf::seekoff(off_type in_iOffset,
                                               std::ios_base::seekdir in_direction,
                                               std::ios_base::openmode /*in_which*/)
{
    if (sync() != 0)
        return pos_type(off_type(-1));
    int iWhence = SEEK_SET;
    if (in_direction == std::ios_base::cur)
        iWhence = SEEK_CUR;
    else if (in_direction == std::ios_base::end)
        iWhence = SEEK_END;
    return pos_type(::lseek(m_iDescriptor, in_iOffset, iWhence));
}

DescriptorBuf::pos_type DescriptorBuf::seekpos(pos_type in_position,
                                               std::ios_base::openmode in_which)
{
    return seekoff(off_type(in_position), std::ios_base::beg, in_which);
}

std::streamsize DescriptorBuf::writeOut(const char* in_pText, std::streamsize in_iSize) noexcept
{
    std::streamsize iOfText = 0;
    while (pending() + (in_iSize - iOfText) > 0)
    {
        const std::array<iovec, 2> parts{{{pbase(), static_cast<std::size_t>(pending())},
                                          {const_cast<char*>(in_pText) + iOfText,
                                           static_cast<std::size_t>(in_iSize - iOfText)}}};
        const ssize_t iWritten =
            in_iSize == 0 ? ::write(m_iDescriptor, parts[0].iov_base, parts[0].iov_len)
                          : ::writev(m_iDescriptor, parts.data(), static_cast<int>(parts.size()));
        if (iWritten > 0)
        {
            const std::streamsize iOfBuffer = std::min<std::streamsize>(iWritten, pending());
            dropWritten(iOfBuffer);
            iOfText += iWritten - iOfBuffer;
        }
        else if (iWritten == 0 || errno != EINTR)
            break;
    }
    return iOfText;
}

void DescriptorBuf::dropWritten(std::streamsize in_iSize) noexcept
{
    const std::streamsize iRest = pending() - in_iSize;
    std::memmove(pbase(), pbase() + in_iSize, static_cast<std::size_t>(iRest));
    setp(pbase(), epptr());
    pbump(static_cast<int>(iRest));
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <array>
#include <cstdio>
#include <ios>
#include <streambuf>

namespace Velmora
{

/// A buffer of an output stream that writes to a descriptor of its own. Does what `std::filebuf`
/// does, except that the C library does not keep it in its list of open streams: `fclose` walks
/// that list, so it takes the longer the more files are open.
///
/// Bytes are written when the stream is flushed, when the buffer is full, and when this object is
/// destroyed: with one system call, unless that is interrupted or writes only a part.
///
/// Ownership: owns its descriptor.
/// Thread-safety: none.
/// Failure: the operation of the stream fails, with the system's reason in `errno`. What could not
/// be written stays in the buffer and is written first, by the next attempt.
class DescriptorBuf final : public std::streambuf
{
  public:
    /// Takes the descriptor over.
    explicit DescriptorBuf(int in_iDescriptor);
    /// Closes without an error report; see `close`.
    ~DescriptorBuf() override;
    DescriptorBuf(const DescriptorBuf&) = delete;
    DescriptorBuf& operator=(const DescriptorBuf&) = delete;

    /// Writes what is in the buffer, and closes the descriptor even if that fails. Does nothing if
    /// the descriptor is closed.
    /// Failure: returns false, with the system's reason in `errno`.
    bool close() noexcept;

  protected:
    /// Uses the memory in place of the object's own, if there is any. The memory must outlive the
    /// object. Only works while the buffer is empty.
    std::streambuf* setbuf(char* in_pMemory, std::streamsize in_iSize) override;
    int_type overflow(int_type in_iCharacter) override;
    std::streamsize xsputn(const char* in_pText, std::streamsize in_iSize) override;
    int sync() override;
    pos_type seekoff(off_type in_iOffset, std::ios_base::seekdir in_direction,
                     std::ios_base::openmode in_which) override;
    pos_type seekpos(pos_type in_position, std::ios_base::openmode in_which) override;

  private:
    /// Writes what is in the buffer and the text behind it. Returns how much of the text has been
    /// written. Returns less than its size, or leaves bytes in the buffer, if the system refuses.
    std::streamsize writeOut(const char* in_pText, std::streamsize in_iSize) noexcept;
    void dropWritten(std::streamsize in_iSize) noexcept;
    [[nodiscard]] std::streamsize pending() const { return pptr() - pbase(); }

    int m_iDescriptor;
    /// As large as the buffer of a `std::filebuf`.
    std::array<char, BUFSIZ> m_memory;
};

} // namespace Velmora

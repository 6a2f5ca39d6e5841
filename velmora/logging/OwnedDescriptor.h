// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Velmora
{

/// Owns a descriptor, and closes it. Leaves `errno` unchanged when it does.
///
/// Thread-safety: none.
class OwnedDescriptor
{
  public:
    OwnedDescriptor() = default;
    /// Takes over the result of a system call. A negative number means that there is no descriptor.
    explicit OwnedDescriptor(int in_iNumber) noexcept : m_iNumber(in_iNumber) {}
    OwnedDescriptor(OwnedDescriptor&& inout_other) noexcept : m_iNumber(inout_other.release()) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& inout_other) noexcept
    {
        std::swap(m_iNumber, inout_other.m_iNumber);
        return *this;
    }
    ~OwnedDescriptor()
    {
        if (!isOpen())
            return;
        const int iError = errno;
        ::close(m_iNumber);
        errno = iError;
    }

    [[nodiscard]] bool isOpen() const noexcept { return m_iNumber >= 0; }
    [[nodiscard]] int number() const noexcept { return m_iNumber; }
    /// Releases the descriptor to the caller, which closes it.
    int release() noexcept { return std::exchange(m_iNumber, -1); }

  private:
    int m_iNumber = -1;
};

} // namespace Velmora

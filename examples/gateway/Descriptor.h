// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <unistd.h>

namespace GatewayExample
{

/// Owns a descriptor, which the destructor closes.
///
/// Thread-safety: none.
class Descriptor
{
  public:
    /// Takes over the result of a system call. A negative number means that there is no descriptor.
    explicit Descriptor(int in_iNumber) : m_iNumber(in_iNumber) {}
    ~Descriptor()
    {
        if (isOpen())
            close(m_iNumber);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] bool isOpen() const { return m_iNumber >= 0; }
    [[nodiscard]] int number() const { return m_iNumber; }

  private:
    const int m_iNumber;
};

} // namespace GatewayExample

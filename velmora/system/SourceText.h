// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <exception>
#include <sstream>
#include <streambuf>
#include <string>

namespace Velmora
{

/// The text of a source, read completely and at once. Reading the buffer returns what the source
/// returned, including an exception at the end, without accessing the source again. So a slow
/// source or foreign code is finished before the caller takes a lock.
///
/// Thread-safety: none.
class SourceText : public std::stringbuf
{
  public:
    SourceText() : std::stringbuf(std::ios_base::in) {}

    /// Reads the source up to its end or its exception.
    void read(std::streambuf& inout_source);

  protected:
    int_type underflow() override;

  private:
    /// The exception that the source threw, or null.
    std::exception_ptr m_pThrown;
};

} // namespace Velmora

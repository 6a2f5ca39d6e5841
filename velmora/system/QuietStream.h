// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <ios>

namespace Velmora
{

/// Keeps a caller's stream from throwing for a scope, whatever exceptions its owner has enabled by
/// `std::ios::exceptions`. Errors are in the state of the stream.
///
///     QuietStream quiet(inout_stream);
///     readAll(inout_stream);    // meets the end, which is no failure of this operation
///     quiet.end();              // throws if the owner wants that for the present state
///
/// Thread-safety: belongs to the thread that uses the stream.
class QuietStream
{
  public:
    explicit QuietStream(std::ios& inout_stream)
        : m_stream(inout_stream), m_mask(inout_stream.exceptions())
    {
        m_stream.exceptions(std::ios_base::goodbit);
    }

    /// Restores the exception mask of the stream without throwing.
    ~QuietStream();

    QuietStream(const QuietStream&) = delete;
    QuietStream& operator=(const QuietStream&) = delete;

    /// Restores the exception mask of the stream.
    /// Failure: throws `std::ios_base::failure` if the mask requires that for the state of the
    /// stream.
    void end() { m_stream.exceptions(m_mask); }

  private:
    std::ios& m_stream;
    std::ios_base::iostate m_mask;
};

} // namespace Velmora

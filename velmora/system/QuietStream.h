#pragma once

#include <ios>

namespace Velmora
{

/// Keeps a stream of the caller's from throwing while it lives, whatever its owner has asked for by
/// `std::ios::exceptions`. What would have thrown is in the state of the stream.
///
///     QuietStream quiet(inout_stream);
///     readAll(inout_stream);    // meets the end, which is no failure of this operation
///     quiet.end();              // throws, where the owner wants that for the state now
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

    /// Gives the stream back what its owner has asked for, without throwing.
    ~QuietStream();

    QuietStream(const QuietStream&) = delete;
    QuietStream& operator=(const QuietStream&) = delete;

    /// Gives the stream back what its owner has asked for.
    /// Failure: `std::ios_base::failure` where that is to throw in the state of the stream.
    void end() { m_stream.exceptions(m_mask); }

  private:
    std::ios& m_stream;
    std::ios_base::iostate m_mask;
};

} // namespace Velmora

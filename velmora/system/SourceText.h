#pragma once

#include <exception>
#include <sstream>
#include <streambuf>
#include <string>

namespace Velmora
{

/// The text of a source, read at once. Reading it again gives what the source gave, an exception at
/// the end included, without another look at the source: so a source that is slow, or foreign code,
/// is done with before a lock is taken.
///
/// Thread-safety: none.
class SourceText : public std::stringbuf
{
  public:
    SourceText() : std::stringbuf(std::ios_base::in) {}

    /// Reads all that the source has.
    void read(std::streambuf& inout_source);

  protected:
    int_type underflow() override;

  private:
    /// What the source threw.
    std::exception_ptr m_pThrown;
};

} // namespace Velmora

#pragma once

#include <fstream>
#include <istream>
#include <string>

namespace Velmora
{

/// A file that is read as a stream and keeps the system's reason where it could not be opened or
/// read: the state of a stream has none.
///
/// Thread-safety: none.
/// Failure: sets the stream's failbit where the file cannot be opened, its badbit where it cannot
/// be read, as that of a directory.
class InputFile : public std::istream
{
  public:
    explicit InputFile(const std::string& in_strPath);

    /// The reason as in `errno`; 0 while nothing has failed.
    [[nodiscard]] int error() const { return m_buffer.m_iError; }

  private:
    struct Buffer : public std::filebuf
    {
        int_type underflow() override;

        int m_iError = 0;
    };

    Buffer m_buffer;
};

} // namespace Velmora

#pragma once

#include "velmora/system/SourceText.h"

#include <istream>
#include <string>

namespace Velmora
{

/// A file that is read as a stream and keeps the system's reason where it could not be opened or
/// read: the state of a stream has none. The constructor reads all of it, so that a slow disk or a
/// named pipe holds nobody up who waits for a lock that the reader takes later.
///
/// Thread-safety: none.
/// Failure: sets the stream's failbit where the file cannot be opened, its badbit where it cannot
/// be read, as that of a directory; what stands before the place is read all the same.
class InputFile : public std::istream
{
  public:
    explicit InputFile(const std::string& in_strPath);

    /// The reason as in `errno`; 0 while nothing has failed.
    [[nodiscard]] int error() const { return m_iError; }

  private:
    SourceText m_text;
    int m_iError = 0;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/system/SourceText.h"

#include <istream>
#include <string>

namespace Velmora
{

/// A file that is read as a stream. It keeps the system's error number if the file cannot be opened
/// or read, which the state of a stream does not contain. The constructor reads the whole file. A
/// slow disk or a named pipe therefore never delays threads that wait for a lock which the reader
/// takes later.
///
/// Thread-safety: none.
/// Failure: sets the stream's failbit if the file cannot be opened, and its badbit if it cannot be
/// read, for example because it is a directory. The text before a read error is still available.
class InputFile : public std::istream
{
  public:
    explicit InputFile(const std::string& in_strPath);

    /// Returns the error as in `errno`; 0 if nothing failed.
    [[nodiscard]] int error() const { return m_iError; }

  private:
    SourceText m_text;
    int m_iError = 0;
};

} // namespace Velmora

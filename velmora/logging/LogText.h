// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <ostream>
#include <string>

namespace Velmora
{

class ReusableStream;

/// Builds the text of one log line. The stream is a reused one of the calling thread, in the state
/// of a new stream with the classic locale. A line that is built inside an argument of another one
/// gets a stream of its own.
///
/// Thread-safety: an object belongs to the thread that made it.
class VELMORA_API LogText
{
  public:
    LogText();
    ~LogText();
    LogText(const LogText&) = delete;
    LogText& operator=(const LogText&) = delete;

    [[nodiscard]] std::ostream& stream() { return *m_pStream; }

    /// Returns what has been streamed so far.
    /// Ownership: owned by this object.
    [[nodiscard]] const std::string& text() const { return *m_pText; }

  private:
    ReusableStream* m_pBuffer;
    std::ostream* m_pStream;
    const std::string* m_pText;
};

} // namespace Velmora

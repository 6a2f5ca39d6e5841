// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/LogStream.h"

#include <string>

namespace Velmora
{

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

    [[nodiscard]] LogStream& stream() { return *m_pStream; }

    /// Returns what has been streamed until the call.
    /// Ownership: owned by this object.
    [[nodiscard]] const std::string& text() const { return m_pStream->text(); }

  private:
    LogStream* m_pStream;
};

} // namespace Velmora

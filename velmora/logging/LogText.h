#pragma once

#include "velmora/Export.h"

#include <ostream>
#include <string>

namespace Velmora
{

class LogTextBuffer;

/// The text of one log line while it is built. The stream is a reused one of the calling thread, in
/// the state of a new stream of the classic locale; a line that is built inside an argument of
/// another has a stream of its own.
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

    /// What was streamed so far.
    /// Ownership: this object's.
    [[nodiscard]] const std::string& text() const { return *m_pText; }

  private:
    LogTextBuffer* m_pBuffer;
    std::ostream* m_pStream;
    const std::string* m_pText;
};

} // namespace Velmora

#pragma once

#include "velmora/Export.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Velmora
{

/// An identifier for this program's own use, made anew by each construction; it has nothing to do
/// with the published UUID formats. Its text is four decimal numbers, as in
/// "1700000000-123456-1804289383-0": the seconds and microseconds of its making, a value of
/// `rand()`, which is never seeded here, and a running number.
///
/// No two objects of a process are alike until 2^32 have been made within a microsecond, whatever
/// threads make them. The child of a `fork` has the clock and the random numbers of its parent, so
/// its running numbers go on from another number, which its process id decides: neither its parent
/// nor another child of that makes the same identifiers.
///
/// Thread-safety: objects may be made on any thread; each belongs to one thread at a time. A fork
/// waits while one is made.
/// Failure: -1 seconds and 0 microseconds when the time cannot be had.
class VELMORA_API UUID
{
  public:
    UUID();

    /// Replaces the string by the text.
    void convertTo(std::string& out_strText) const;
    operator std::string() const;

    friend VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const UUID& in_uuid);

  private:
    friend class UUIDForkHandler;

    static std::atomic<std::uint32_t> s_uiCounter;

    long m_lSeconds = -1;
    long m_lMicroseconds = 0;
    int m_iRandom;
    std::uint32_t m_uiCount;
};

} // namespace Velmora

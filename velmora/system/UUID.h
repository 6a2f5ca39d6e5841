// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Velmora
{

/// An identifier for this program's own use. Each construction makes a new one. It is not related
/// to the published UUID formats. Its text is four decimal numbers, as in
/// "1700000000-123456-1804289383-0": the seconds and microseconds of its construction, a value of
/// `rand()`, which is never seeded here, and a running number.
///
/// All objects of a process differ, unless 2^32 are made within one microsecond, on whatever
/// threads. The child of a `fork` has the clock and the random numbers of its parent. Its running
/// numbers therefore continue from another number, which depends on its process id: neither its
/// parent nor another child of the parent makes the same identifiers.
///
/// Thread-safety: objects may be made on any thread; each belongs to one thread at a time. A fork
/// waits while an object is constructed.
/// Failure: -1 seconds and 0 microseconds if the time is not available.
class VELMORA_API UUID
{
  public:
    UUID();

    /// Sets the string to the text of the identifier.
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

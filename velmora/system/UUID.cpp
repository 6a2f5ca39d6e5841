// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/UUID.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/LibraryLoggers.h"

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(UUID)

namespace Velmora
{

namespace
{

/// A permutation of the 32-bit numbers that maps 0 to itself and scatters the others.
std::uint32_t scatter(std::uint32_t in_uiNumber)
{
    in_uiNumber ^= in_uiNumber >> 16;
    in_uiNumber *= 0x85EBCA6BU;
    in_uiNumber ^= in_uiNumber >> 13;
    in_uiNumber *= 0xC2B2AE35U;
    in_uiNumber ^= in_uiNumber >> 16;
    return in_uiNumber;
}

} // namespace

constinit std::atomic<std::uint32_t> UUID::s_uiCounter{0};

class UUIDForkHandler
{
  public:
    static bool install() { return pthread_atfork(nullptr, nullptr, &leaveParentsNumbers) == 0; }

  private:
    /// A process id is not 0, so the number that is added is not 0 either. Different ids give
    /// different numbers, so no two children of a process continue from the same one.
    static void leaveParentsNumbers()
    {
        UUID::s_uiCounter.fetch_add(scatter(static_cast<std::uint32_t>(getpid())),
                                    std::memory_order_relaxed);
    }
};

namespace
{

[[maybe_unused]] const bool s_bForkHandlerInstalled = UUIDForkHandler::install();

/// Without the pass, a child that is forked while another thread is in `rand` would wait for its
/// lock forever.
int randomOutsideForks()
{
    const ProcessGate::Pass pass;
    return std::rand(); // NOLINT(cert-msc30-c,cert-msc50-cpp,concurrency-mt-unsafe)
}

} // namespace

UUID::UUID()
    : m_iRandom(randomOutsideForks()),
      m_uiCount(s_uiCounter.fetch_add(1, std::memory_order_relaxed))
{
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0)
        return;
    m_lSeconds = now.tv_sec;
    m_lMicroseconds = now.tv_usec;
}

void UUID::convertTo(std::string& out_strText) const
{
    out_strText = std::to_string(m_lSeconds);
    out_strText += '-' + std::to_string(m_lMicroseconds);
    out_strText += '-' + std::to_string(m_iRandom);
    out_strText += '-' + std::to_string(m_uiCount);
}

UUID::operator std::string() const
{
    std::string strText;
    convertTo(strText);
    return strText;
}

std::ostream& operator<<(std::ostream& out_stream, const UUID& in_uuid)
{
    return out_stream << static_cast<std::string>(in_uuid);
}

} // namespace Velmora

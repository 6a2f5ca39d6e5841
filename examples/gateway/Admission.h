// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "CallStatistics.h"
#include "ResidentMemory.h"
#include "SocketAddress.h"
#include "SourceRates.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace GatewayExample
{

/// The limits within which new calls are taken. A limit of 0 is none.
struct AdmissionLimits
{
    std::size_t uiCalls = 0;
    unsigned int uiNewFromOneSourcePerSec = 0;
    std::size_t uiMemoryMB = 0;
};

/// Decides whether a new call is taken. If a limit is reached, that is logged at WARN, once in ten
/// seconds at most for each limit, to "keswardin.gateway.Admission".
class Admission
{
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Admission(const AdmissionLimits& in_limits);

    /// Returns why a call from this source is refused now, or nothing if it is taken. A call that
    /// is taken counts for its source.
    [[nodiscard]] std::optional<Refusal> refuses(const SocketAddress& in_source,
                                                 std::size_t in_uiCalls, Time in_now);

  private:
    [[nodiscard]] bool isMemoryUsedUp(Time in_now);
    Refusal report(Refusal in_refusal, const SocketAddress& in_source, Time in_now);

    struct Reported
    {
        std::optional<Time> last;
        std::uint64_t uiCalls = 0;
    };

    const AdmissionLimits m_limits;
    SourceRates m_sources;
    ResidentMemory m_memory;
    std::optional<Time> m_memoryRead;
    bool m_bMemoryUsedUp = false;
    std::array<Reported, s_refusalNames.size()> m_reported;
};

} // namespace GatewayExample

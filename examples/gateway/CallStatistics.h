// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace GatewayExample
{

/// Why the gateway refused a call.
enum class Refusal
{
    OVERLOAD,       ///< There were too many calls at once, as the monitor of calls has it.
    BEHIND,         ///< The event loop was behind.
    FILES_BEHIND,   ///< A call waited too long for its file.
    CALLS,          ///< There were as many calls at once as are allowed.
    SOURCE_RATE,    ///< The caller's address made too many new calls.
    MEMORY,         ///< The gateway used too much memory.
    TOO_LONG,       ///< A header of the INVITE was too long.
    STOPPING,       ///< The gateway was about to stop.
    BUSY,           ///< The called party was busy.
    NO_ANSWER,      ///< The called party has not answered in time.
    NOT_ACCEPTABLE, ///< The session could not be negotiated.
    NO_RTP_PORT,    ///< No RTP port could be opened.
    FAILURE,        ///< The gateway failed, for lack of memory for example.
};

/// The name of each, as reports have it.
inline constexpr std::array<const char*, 13> s_refusalNames{
    "overload",       "loop-behind",     "files-behind", "calls-limit", "source-limit",
    "memory-limit",   "header-too-long", "stopping",     "busy",        "no-answer",
    "not-acceptable", "no-rtp-port",     "failure"};

/// Counts of calls since the start. They only grow.
struct CallStatistics
{
    /// Calls that were neither refused for load or a limit nor while the gateway stopped.
    std::uint64_t uiTaken = 0;
    std::uint64_t uiAnswered = 0;
    std::array<std::uint64_t, s_refusalNames.size()> refused{};
    /// The largest number of calls at once.
    std::size_t uiMostAtOnce = 0;
    /// Packets at the ports of RTP that were not RTP, not the caller's, or repeated too often.
    std::uint64_t uiRtpDropped = 0;

    void countRefusal(Refusal in_refusal) { ++refused[static_cast<std::size_t>(in_refusal)]; }
    /// The calls that were refused for load or a limit.
    [[nodiscard]] std::uint64_t refusalsForLoad() const
    {
        return refusals(Refusal::OVERLOAD) + refusals(Refusal::BEHIND) +
               refusals(Refusal::FILES_BEHIND) + refusals(Refusal::CALLS) +
               refusals(Refusal::SOURCE_RATE) + refusals(Refusal::MEMORY);
    }
    [[nodiscard]] std::uint64_t refusals(Refusal in_refusal) const
    {
        return refused[static_cast<std::size_t>(in_refusal)];
    }
};

} // namespace GatewayExample

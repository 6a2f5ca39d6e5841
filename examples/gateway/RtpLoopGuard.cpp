// SPDX-License-Identifier: BSD-2-Clause

#include "RtpLoopGuard.h"

namespace GatewayExample
{

namespace
{

constexpr int s_iWindow = 64;
/// A larger step means that the source has started again (MAX_DROPOUT of RFC 3550, A.1).
constexpr int s_iLargestStep = 3000;

/// Reads a number in network order.
template <class Number>
Number read(std::span<const std::byte> in_bytes)
{
    Number number = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        number = static_cast<Number>(number << 8 | std::to_integer<Number>(in_bytes[i]));
    return number;
}

} // namespace

bool RtpLoopGuard::lets(std::span<const std::byte> in_packet)
{
    const auto uiNumber = read<std::uint16_t>(in_packet.subspan(2));
    const auto uiSource = read<std::uint32_t>(in_packet.subspan(8));
    if (isNew(uiSource, uiNumber))
        return true;
    if (m_uiRepeats == s_uiRepeats)
        return false;
    ++m_uiRepeats;
    return true;
}

bool RtpLoopGuard::isNew(std::uint32_t in_uiSource, std::uint16_t in_uiNumber)
{
    const int iStep = static_cast<std::int16_t>(in_uiNumber - m_uiHighest);
    if (m_bStarted && in_uiSource == m_uiSource)
    {
        if (iStep > 0 && iStep < s_iLargestStep)
        {
            m_uiReceived = (iStep < s_iWindow ? m_uiReceived << iStep : 0) | 1;
            m_uiHighest = in_uiNumber;
            return true;
        }
        if (iStep <= 0 && iStep > -s_iWindow)
        {
            const std::uint64_t uiBit = std::uint64_t{1} << -iStep;
            const bool bReceived = (m_uiReceived & uiBit) != 0;
            m_uiReceived |= uiBit;
            return !bReceived;
        }
    }
    const bool bContinues = in_uiSource == m_uiNextSource && in_uiNumber == m_uiNextNumber;
    m_uiNextSource = in_uiSource;
    m_uiNextNumber = static_cast<std::uint16_t>(in_uiNumber + 1);
    if (m_bStarted && !bContinues)
        return false;
    m_bStarted = true;
    m_uiSource = in_uiSource;
    m_uiHighest = in_uiNumber;
    m_uiReceived = 1;
    return true;
}

} // namespace GatewayExample

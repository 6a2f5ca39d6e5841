// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/InternalHashMap.h"

#include <limits>

namespace Velmora
{

Fallible<std::size_t> InternalHashMapNoT::nextPowerOf2(std::size_t in_uiNumber)
{
    constexpr std::size_t uiHighest = std::size_t{1} << 63;
    if (in_uiNumber == 0)
        return std::size_t{0};
    if (in_uiNumber > uiHighest)
        return {};
    std::size_t uiPower = 1;
    while (uiPower < in_uiNumber)
        uiPower *= 2;
    return uiPower;
}

std::size_t InternalHashMapNoT::slotsForMany(std::size_t in_uiNumElements)
{
    // At most 80 % of the slots are in use.
    const double dSlots = static_cast<double>(in_uiNumElements) / 0.8 + 0.5;
    constexpr double dTooMany = 18446744073709551616.0; // 2 to the power 64
    // The conversion of a larger number would be undefined.
    return dSlots < dTooMany ? static_cast<std::size_t>(dSlots)
                             : std::numeric_limits<std::size_t>::max();
}

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterLineSeam.h"

#include <atomic>

namespace Velmora
{

namespace
{

constinit std::atomic<ParameterLineSeam::LineAbout> s_pLineAbout{nullptr};

} // namespace

void ParameterLineSeam::fill(LineAbout in_pLineAbout)
{
    s_pLineAbout.store(in_pLineAbout, std::memory_order_release);
}

std::string ParameterLineSeam::lineAbout(const ROConfiguration& in_configuration,
                                         const std::string& in_strName)
{
    const LineAbout pLineAbout = s_pLineAbout.load(std::memory_order_acquire);
    return pLineAbout != nullptr ? pLineAbout(in_configuration, in_strName) : std::string();
}

} // namespace Velmora

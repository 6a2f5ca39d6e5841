// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/DescriptorLimit.h"

#include <unistd.h>

#include <algorithm>

namespace Velmora::Test
{

DescriptorLimit::DescriptorLimit(rlim_t in_uiLimit)
{
    getrlimit(RLIMIT_NOFILE, &m_former);
    const rlimit limit{in_uiLimit, std::max(in_uiLimit, m_former.rlim_max)};
    m_bSet = setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

DescriptorLimit::~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_former); }

DescriptorLimit DescriptorLimit::noneLeft()
{
    // The lowest free number: all numbers below it are in use.
    const int iNext = dup(STDIN_FILENO);
    close(iNext);
    return DescriptorLimit(static_cast<rlim_t>(iNext));
}

} // namespace Velmora::Test

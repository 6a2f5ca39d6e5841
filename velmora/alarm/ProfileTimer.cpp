// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/ProfileTimer.h"

#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ProfileTimer)

namespace Velmora
{

ProfileTimerInterface::~ProfileTimerInterface() = default;

ProfileTimer::ProfileTimer() : m_pImpl(std::make_unique<LinuxProfileTimer>()) {}

ProfileTimer::~ProfileTimer() = default;

bool ProfileTimer::getSystemIdleTime(double& out_dPercent)
{
    return m_pImpl->getSystemIdleTime(out_dPercent);
}

} // namespace Velmora

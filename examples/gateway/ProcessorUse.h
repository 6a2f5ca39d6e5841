// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/ProfileTimer.h"

#include <optional>

namespace GatewayExample
{

/// Measures the load of the processors.
class ProcessorUse
{
  public:
    /// Returns the load since the last call, in percent. Returns nothing at the first call, and if
    /// the system does not report it.
    [[nodiscard]] std::optional<double> sinceLastCall();

  private:
    Velmora::ProfileTimer m_timer;
    bool m_bStarted = false;
};

} // namespace GatewayExample

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Descriptor.h"

#include <cstddef>

namespace GatewayExample
{

/// The memory of this process that is in the machine's memory, as `ps` shows it (RSS).
class ResidentMemory
{
  public:
    ResidentMemory();

    /// Returns whether there is more than a limit. Memory that was freed counts only if the system
    /// does not get it back. If the system does not say how much there is, the result is false.
    [[nodiscard]] bool exceeds(std::size_t in_uiLimitMB) const;

    /// Returns the size in bytes; 0 if the system does not say.
    [[nodiscard]] std::size_t bytes() const;

  private:
    Descriptor m_file;
};

} // namespace GatewayExample

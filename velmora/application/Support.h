// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class Logger;

/// Provides the logger for messages to the staff that supports an installation.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API Support
{
  public:
    /// Returns the logger "keswardin.support".
    [[nodiscard]] static const Logger& getLogger();
};

} // namespace Velmora

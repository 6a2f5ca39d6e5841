#pragma once

#include "velmora/Export.h"
#include "velmora/logging/Logger.h"

namespace Velmora
{

/// For what the people who support an installation want to know of it.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API Support
{
  public:
    /// The logger "keswardin.support".
    [[nodiscard]] static Logger getLogger();
};

} // namespace Velmora

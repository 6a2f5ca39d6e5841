#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class Logger;

/// For what the people who support an installation want to know of it.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API Support
{
  public:
    /// The logger "keswardin.support".
    [[nodiscard]] static const Logger& getLogger();
};

} // namespace Velmora

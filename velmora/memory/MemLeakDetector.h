#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class ROConfiguration;

/// The place where a leak detector can be put in. There is none in this library: the parameters
/// below `keswardin.mem.leak.detecting.` have no effect.
///
/// Thread-safety: the operations do nothing.
class VELMORA_API MemLeakDetector
{
  public:
    /// Gives true.
    static bool sConfigure(const ROConfiguration& in_configuration);

    static void __clear__();
};

} // namespace Velmora

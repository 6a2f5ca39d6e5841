// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class ROConfiguration;

/// The place for a leak detector. This library has none: the parameters below
/// `keswardin.mem.leak.detecting.` have no effect.
///
/// Thread-safety: the operations do nothing.
class VELMORA_API MemLeakDetector
{
  public:
    /// Returns true.
    static bool sConfigure(const ROConfiguration& in_configuration);

    static void __clear__();
};

} // namespace Velmora

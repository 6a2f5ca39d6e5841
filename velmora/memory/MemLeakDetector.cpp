// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemLeakDetector.h"

namespace Velmora
{

bool MemLeakDetector::sConfigure(const ROConfiguration&) { return true; }

void MemLeakDetector::__clear__() {}

} // namespace Velmora

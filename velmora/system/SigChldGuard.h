// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora
{

/// While a guard exists, the process handles SIGCHLD by a function that does nothing. If the signal
/// were ignored, the process could not wait for its children. The last of several guards restores
/// the handler from before the first.
///
/// Thread-safety: may be used on any thread. In a child of `fork` the handler from before the first
/// guard of its parent is restored.
class SigChldGuard
{
  public:
    SigChldGuard();
    ~SigChldGuard();
    SigChldGuard(const SigChldGuard&) = delete;
    SigChldGuard& operator=(const SigChldGuard&) = delete;
};

} // namespace Velmora

#pragma once

namespace Velmora
{

/// While one lives, the process handles SIGCHLD by a function that does nothing: then children can
/// be waited for, which where the signal is ignored they cannot. The last of several to go restores
/// what there was before the first.
///
/// Thread-safety: may be used on any thread. A child of `fork` has the signal handled as before the
/// first guard of its parent.
class SigChldGuard
{
  public:
    SigChldGuard();
    ~SigChldGuard();
    SigChldGuard(const SigChldGuard&) = delete;
    SigChldGuard& operator=(const SigChldGuard&) = delete;
};

} // namespace Velmora

#pragma once

namespace Velmora
{

/// Brings everything that lives as long as the process into being, in the one order that makes the
/// exit list right, which is the reverse: what is needed comes first and dies last. Runs when the
/// library is loaded, before the first use of any of it; later calls do nothing.
///
/// "docs/lifetime.md" shows the order and what happens at exit and at a fork.
///
/// Thread-safety: the first call happens at load, on the loading thread.
void bringUpLibrary();

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora
{

/// Creates all objects that live as long as the process, in a fixed order. The exit list destroys
/// them in the reverse order, so an object that others need is created before them and destroyed
/// after them. The function is called when the library is loaded, before the first use of any of
/// these objects. Later calls do nothing.
///
/// "docs/lifetime.md" has the order, and describes what happens at exit and at a fork.
///
/// Thread-safety: the first call is made at load, on the loading thread.
void bringUpLibrary();

} // namespace Velmora

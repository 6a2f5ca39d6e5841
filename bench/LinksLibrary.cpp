// SPDX-License-Identifier: BSD-2-Clause

// Does nothing but link the library, which is initialized and shut down.

#include "velmora/application/VersionControl.h"

int main() { return Velmora::VersionControl::getRevision() == nullptr ? 1 : 0; }

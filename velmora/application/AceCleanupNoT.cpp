// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/AceCleanupNoT.h"

#include <ace/Object_Manager.h>

namespace Velmora
{

AceCleanupNoT::AceCleanupNoT() { ACE_Object_Manager::at_exit(this, nullptr, "AceCleanupNoT"); }

AceCleanupNoT::~AceCleanupNoT() = default;

void AceCleanupNoT::cleanup(void*) { delete this; }

} // namespace Velmora

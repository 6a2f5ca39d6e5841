// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/VersionControl.h"

namespace Velmora
{

const char* VersionControl::getRevision() { return VELMORA_REVISION; }

const char* VersionControl::getBranchName() { return VELMORA_BRANCH_NAME; }

} // namespace Velmora

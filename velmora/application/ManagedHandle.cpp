// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ManagedHandle.h"

namespace Velmora
{

ReleaserBase::~ReleaserBase() = default;

} // namespace Velmora

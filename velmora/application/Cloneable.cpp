// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Cloneable.h"

namespace Velmora
{

Cloneable::~Cloneable() = default;

} // namespace Velmora

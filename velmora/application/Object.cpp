// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Object.h"

namespace Velmora
{

Object::~Object() = default;

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/SingletonRegistry.h"

namespace Velmora
{

SingletonRegistry::~SingletonRegistry() = default;

} // namespace Velmora

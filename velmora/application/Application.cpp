// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Application.h"

namespace Velmora
{

Application::~Application() = default;

} // namespace Velmora

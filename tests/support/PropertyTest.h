// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Sanitizers.h"

namespace Velmora::Test
{

/// The number of random operations of a property test. It is smaller in builds whose
/// instrumentation makes each operation several times slower.
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
constexpr int s_iRandomOperations = 100'000;
#else
constexpr int s_iRandomOperations = 1'000'000;
#endif

} // namespace Velmora::Test

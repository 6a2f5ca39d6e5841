// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/NoSizeMemAllocatorT.h"

namespace Velmora
{

extern template class VELMORA_API NoSizeMemAllocatorT<DefaultStaticMemAllocator>;

/// `DefaultStaticMemAllocator` for callers that do not know the size when they release memory.
using NoSizeMemAllocator = NoSizeMemAllocatorT<DefaultStaticMemAllocator>;

} // namespace Velmora

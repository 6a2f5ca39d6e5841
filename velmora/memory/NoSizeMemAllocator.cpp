// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/NoSizeMemAllocator.h"

namespace Velmora
{

template class NoSizeMemAllocatorT<DefaultStaticMemAllocator>;

} // namespace Velmora

#include "velmora/memory/NoSizeMemAllocator.h"

namespace Velmora
{

template class NoSizeMemAllocatorT<DefaultStaticMemAllocator>;

} // namespace Velmora

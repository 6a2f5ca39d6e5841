// SPDX-License-Identifier: BSD-2-Clause

// Instantiates `VfsFileBuf` for `char`. Only this file includes the parts of the class.

#include "velmora/vfs/VfsFileBufConversion.h"
#include "velmora/vfs/VfsFileBufInput.h"
#include "velmora/vfs/VfsFileBufOpening.h"
#include "velmora/vfs/VfsFileBufOutput.h"
#include "velmora/vfs/VfsFileBufPosition.h"
#include "velmora/vfs/VfsFileBufPutback.h"

namespace Velmora
{

template class VfsFileBuf<char>;

} // namespace Velmora

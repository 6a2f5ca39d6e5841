// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VirtualFileSystem.h"

namespace Velmora
{

VirtualFileSystem::~VirtualFileSystem() = default;
VirtualFileSystem::Entry::~Entry() = default;
VirtualFileSystem::File::~File() = default;
VirtualFileSystem::Directory::~Directory() = default;

} // namespace Velmora

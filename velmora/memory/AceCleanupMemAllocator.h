// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/memory/AccountMemAllocator.h"
#include "velmora/memory/MemAllocatorT.h"

#include <ace/Cleanup.h>

namespace Velmora
{

/// A `MemAllocator` that the ACE object manager can destroy at exit.
///
/// Ownership: the exit list's, once registered there; must be created with `new`.
template <class Mutex, unsigned long NumClasses>
class AceCleanupMemAllocator : public MemAllocator<Mutex, NumClasses>, public ACE_Cleanup
{
  public:
    using MemAllocator<Mutex, NumClasses>::MemAllocator;
};

/// An `AccountMemAllocator` that the ACE object manager can destroy at exit.
///
/// Ownership: the exit list's, once registered there; must be created with `new`.
class VELMORA_API AceCleanupAccountMemAllocator : public AccountMemAllocator, public ACE_Cleanup
{
  public:
    using AccountMemAllocator::AccountMemAllocator;
    ~AceCleanupAccountMemAllocator() override;
};

} // namespace Velmora

// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <cstddef>
#include <new>

namespace Velmora
{

/// A block of memory from `DefaultStaticMemAllocator` in which an object is about to be
/// constructed. The destructor frees the block if the constructor of the object throws. After a
/// successful construction, the owner calls `release`.
///
/// Ownership: owns the memory until `release`.
/// Failure: the constructor throws `std::bad_alloc` when there is no memory, and for a size of 0.
/// Thread-safety: belongs to one thread at a time.
class AccountMemBlock
{
  public:
    /// Allocates the block. The text of the account's name must outlive this object.
    AccountMemBlock(std::size_t in_uiSize, const char* in_szAccountName)
        : m_pMemory(DefaultStaticMemAllocator::allocate(in_uiSize, in_szAccountName)),
          m_uiSize(in_uiSize), m_szAccountName(in_szAccountName)
    {
        if (m_pMemory == nullptr) [[unlikely]]
            throw std::bad_alloc();
    }
    ~AccountMemBlock()
    {
        DefaultStaticMemAllocator::deallocate(m_pMemory, m_uiSize, m_szAccountName);
    }
    AccountMemBlock(const AccountMemBlock&) = delete;
    AccountMemBlock& operator=(const AccountMemBlock&) = delete;

    [[nodiscard]] void* get() const { return m_pMemory; }

    /// Gives up ownership of the memory.
    void release() { m_pMemory = nullptr; }

  private:
    void* m_pMemory;
    std::size_t m_uiSize;
    const char* m_szAccountName;
};

} // namespace Velmora

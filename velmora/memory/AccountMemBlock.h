#pragma once

#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <cstddef>
#include <new>

namespace Velmora
{

/// Raw memory of `DefaultStaticMemAllocator` that an object is about to be built in. It goes back
/// when the building fails; once the object stands, its owner calls `release`.
///
/// Ownership: owns the memory until `release`.
/// Failure: the constructor throws `std::bad_alloc` when there is no memory.
/// Thread-safety: belongs to one thread at a time.
class AccountMemBlock
{
  public:
    /// The account's name must outlive the block.
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

    /// Leaves the memory to the caller.
    void release() { m_pMemory = nullptr; }

  private:
    void* m_pMemory;
    std::size_t m_uiSize;
    const char* m_szAccountName;
};

} // namespace Velmora

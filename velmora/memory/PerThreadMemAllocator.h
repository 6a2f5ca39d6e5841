// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/MemAllocatorT.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace Velmora
{

/// The part of a per-thread allocator that does not depend on the type of its allocators.
class VELMORA_API PerThreadMemAllocatorNoT
{
  public:
    /// Returns the magic token, the second word of a header in use.
    static constexpr std::size_t getMagicToken() { return 0x5A7D; }

    /// Forgets the thread id that the calling thread had in the parent. Called in the child of a
    /// fork.
    static void forgetThreadId();

  protected:
    /// Returns the kernel's id of the calling thread. The id of the thread library is an address,
    /// whose lowest bits are the same for all threads.
    static unsigned int getThreadId()
    {
        const unsigned int uiThreadId = s_uiThreadId;
        return uiThreadId != 0 ? uiThreadId : askThreadId();
    }

    /// Fails an assertion with that text.
    static void reportBrokenHeader(const char* in_szCondition);

  private:
    static unsigned int askThreadId();

    /// The kernel's id of this thread; 0 until it is first needed.
    [[gnu::tls_model(
        "initial-exec")]] VELMORA_API_THREAD_LOCAL static constinit thread_local unsigned int
        s_uiThreadId;
};

/// Spreads the work over several allocators, so that threads rarely compete for one. A thread uses
/// the allocator whose index is the thread id modulo the number of allocators. A header of 16 bytes
/// in front of each block names its allocator, so that any thread may release it.
///
/// When a thread ends, its blocks stay as they are.
///
/// Ownership: owns the allocators.
/// Thread-safety: as `Alloc`, of which several threads may use one. During construction and
/// destruction no other thread may use the object.
/// Failure: `allocate` returns null when there is no memory. A block with a broken header, such as
/// a small block that was released before, fails an assertion and is left alone.
template <class Alloc>
class PerThreadMemAllocator : public PerThreadMemAllocatorNoT
{
  public:
    /// Constructs `in_uiNumber` allocators, each with the same arguments.
    template <class... Args>
    explicit PerThreadMemAllocator(std::size_t in_uiNumber, const Args&... in_args)
    {
        m_allocators.reserve(in_uiNumber);
        while (m_allocators.size() < in_uiNumber)
            m_allocators.push_back(std::make_unique<Alloc>(in_args...));
    }
    PerThreadMemAllocator(const PerThreadMemAllocator&) = delete;
    PerThreadMemAllocator& operator=(const PerThreadMemAllocator&) = delete;

    /// Destroys the allocators in their order of construction.
    ~PerThreadMemAllocator()
    {
        for (std::unique_ptr<Alloc>& pAllocator : m_allocators)
            pAllocator.reset();
    }

    /// Allocates `in_uiSize` bytes, possibly 0, aligned to 8.
    /// Ownership: the caller's, which passes the same size and account to `deallocate`.
    [[nodiscard]] void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        if (in_uiSize > s_uiLargestSize) [[unlikely]]
            return nullptr;
        Alloc& allocator = allocatorOfThread();
        auto* const pHeader =
            static_cast<Header*>(allocator.allocate(in_uiSize + sizeof(Header), in_szAccountName));
        if (pHeader == nullptr) [[unlikely]]
            return nullptr;
        *pHeader = {&allocator, getMagicToken()};
        return pHeader + 1;
    }

    /// Releases memory. Does nothing for a null pointer.
    void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        if (in_pMemory == nullptr) [[unlikely]]
            return;
        auto* const pHeader = static_cast<Header*>(in_pMemory) - 1;
        Alloc* const pAllocator = pHeader->pAllocator;
        if (pAllocator == nullptr) [[unlikely]]
            return reportBrokenHeader("*ppAllocator != 0");
        if (pHeader->uiMagic != getMagicToken()) [[unlikely]]
            return reportBrokenHeader(
                "*(ppAllocator + 1) == reinterpret_cast<AllocatorPtr> (getMagicToken())");
        pHeader->uiMagic = ~getMagicToken();
        pAllocator->deallocate(pHeader, in_uiSize + sizeof(Header), in_szAccountName);
    }

  protected:
    struct Header
    {
        Alloc* pAllocator;
        std::size_t uiMagic;
    };
    static_assert(sizeof(Header) == 16);

    /// Writes the header into a block and returns the memory behind it.
    static void* putHeader(void* out_pBlock, Alloc& in_allocator)
    {
        auto* const pHeader = static_cast<Header*>(out_pBlock);
        *pHeader = {&in_allocator, getMagicToken()};
        return pHeader + 1;
    }

    /// Returns the allocator that the calling thread allocates from.
    [[nodiscard]] Alloc& allocatorOfThread() const
    {
        return *m_allocators[getThreadId() % m_allocators.size()];
    }

    std::vector<std::unique_ptr<Alloc>> m_allocators;

  private:
    static constexpr std::size_t s_uiLargestSize =
        std::numeric_limits<std::size_t>::max() - sizeof(Header);
};

extern template class VELMORA_API
    PerThreadMemAllocator<MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>>;

} // namespace Velmora

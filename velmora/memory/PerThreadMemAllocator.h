#pragma once

#include "velmora/Export.h"
#include "velmora/memory/MemAllocatorT.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace Velmora
{

/// The part of a per-thread allocator that does not depend on the allocators that it has.
class VELMORA_API PerThreadMemAllocatorNoT
{
  public:
    /// What the second word of a live header holds.
    static constexpr std::size_t getMagicToken() { return 0x5A7D; }

    /// In the child of a fork: forgets the identifier that the calling thread had in the parent.
    static void forgetThreadId();

  protected:
    /// The kernel's identifier of the calling thread. That of the thread library is an address,
    /// whose last bits are the same for all threads.
    static unsigned int getThreadId()
    {
        const unsigned int uiThreadId = s_uiThreadId;
        return uiThreadId != 0 ? uiThreadId : askThreadId();
    }

    /// Fails an assertion.
    static void reportBrokenHeader(const char* in_szCondition);

  private:
    static unsigned int askThreadId();

    /// 0 until the thread asks for it.
    [[gnu::tls_model(
        "initial-exec")]] VELMORA_API_THREAD_LOCAL static constinit thread_local unsigned int
        s_uiThreadId;
};

/// Spreads the work over several allocators, so that threads rarely meet at one: a thread allocates
/// from that whose index is the thread's identifier modulo their number. A header of 16 bytes in
/// front of each block names the allocator that it came from, so that any thread may release it.
///
/// A thread that ends leaves its blocks as they are.
///
/// Ownership: owns the allocators.
/// Thread-safety: as `Alloc`, of which several threads may use one. Construction and destruction
/// happen while nobody else uses the object.
/// Failure: `allocate` gives null when there is no memory. A block whose header is broken, a small
/// block that has been released among them, fails an assertion and is left alone.
template <class Alloc>
class PerThreadMemAllocator : public PerThreadMemAllocatorNoT
{
  public:
    /// Makes so many allocators, each of the same arguments.
    template <class... Args>
    explicit PerThreadMemAllocator(std::size_t in_uiNumber, const Args&... in_args)
    {
        m_allocators.reserve(in_uiNumber);
        while (m_allocators.size() < in_uiNumber)
            m_allocators.push_back(std::make_unique<Alloc>(in_args...));
    }
    PerThreadMemAllocator(const PerThreadMemAllocator&) = delete;
    PerThreadMemAllocator& operator=(const PerThreadMemAllocator&) = delete;

    /// Destroys the allocators in their order.
    ~PerThreadMemAllocator()
    {
        for (std::unique_ptr<Alloc>& pAllocator : m_allocators)
            pAllocator.reset();
    }

    /// Memory of `in_uiSize` bytes, which may be 0, aligned to 8.
    /// Ownership: the caller's, who passes the same size and account to `deallocate`.
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

    /// Takes memory back. Does nothing for a null pointer.
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

    /// The memory behind the header that it puts into a block.
    static void* putHeader(void* out_pBlock, Alloc& in_allocator)
    {
        auto* const pHeader = static_cast<Header*>(out_pBlock);
        *pHeader = {&in_allocator, getMagicToken()};
        return pHeader + 1;
    }

    /// The allocator that the calling thread allocates from.
    [[nodiscard]] Alloc& allocatorOfThread() const
    {
        return *m_allocators[getThreadId() % m_allocators.size()];
    }

    std::vector<std::unique_ptr<Alloc>> m_allocators;

  private:
    static constexpr std::size_t s_uiLargestSize =
        std::numeric_limits<std::size_t>::max() - sizeof(Header);
};

extern template class VELMORA_API PerThreadMemAllocator<MemAllocator<ACE_Thread_Mutex, 32>>;

} // namespace Velmora

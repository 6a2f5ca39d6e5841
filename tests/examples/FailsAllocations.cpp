// SPDX-License-Identifier: BSD-2-Clause

// Replaces `operator new` in a program that it is preloaded into. A test writes a number to the
// file that the variable VELMORA_TEST_ALLOCATIONS names. Each allocation decrements it, and the one
// that brings it to 0 fails.

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

std::atomic<std::int64_t>* mapCount()
{
    const char* const szFile = std::getenv("VELMORA_TEST_ALLOCATIONS");
    const int iDescriptor = szFile != nullptr ? open(szFile, O_RDWR | O_CLOEXEC) : -1;
    if (iDescriptor < 0)
        return nullptr;
    void* const pMapped =
        mmap(nullptr, sizeof(std::int64_t), PROT_READ | PROT_WRITE, MAP_SHARED, iDescriptor, 0);
    close(iDescriptor);
    return pMapped == MAP_FAILED ? nullptr : static_cast<std::atomic<std::int64_t>*>(pMapped);
}

void* allocate(std::size_t in_uiSize)
{
    static std::atomic<std::int64_t>* const s_pLeft = mapCount();
    if (s_pLeft != nullptr && s_pLeft->load() > 0 && s_pLeft->fetch_sub(1) == 1)
        return nullptr;
    return std::malloc(in_uiSize);
}

} // namespace

[[gnu::visibility("default")]] void* operator new(std::size_t in_uiSize)
{
    void* const pMemory = allocate(in_uiSize);
    if (pMemory == nullptr)
        throw std::bad_alloc();
    return pMemory;
}

[[gnu::visibility("default")]] void* operator new(std::size_t in_uiSize,
                                                  const std::nothrow_t&) noexcept
{
    return allocate(in_uiSize);
}

[[gnu::visibility("default")]] void operator delete(void* in_pMemory) noexcept
{
    std::free(in_pMemory);
}

[[gnu::visibility("default")]] void operator delete(void* in_pMemory, std::size_t) noexcept
{
    std::free(in_pMemory);
}

// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemoryAfterTheEnd.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"

#include <cstdlib>
#include <new>
#include <unordered_set>

namespace Velmora
{

namespace
{

/// The memory that was allocated after the end and not yet released. Never destroyed, because it is
/// used until the process ends.
struct Given
{
    /// The heap is used while it is held; no foreign code runs.
    GatedMutex mutex;
    std::unordered_set<void*> memory VELMORA_GUARDED_BY(mutex);

    static Given& getInstance()
    {
        static Given* const s_pGiven = new Given;
        return *s_pGiven;
    }
};

} // namespace

void* MemoryAfterTheEnd::allocate(std::size_t in_uiSize)
{
    void* const pMemory = in_uiSize == 0 ? nullptr : std::malloc(in_uiSize);
    if (pMemory == nullptr)
        return nullptr;
    Given& given = Given::getInstance();
    const GatedGuard<GatedMutex> guard(given.mutex);
    try
    {
        given.memory.insert(pMemory);
    }
    catch (const std::bad_alloc&)
    {
        std::free(pMemory);
        return nullptr;
    }
    return pMemory;
}

bool MemoryAfterTheEnd::deallocate(void* in_pMemory)
{
    Given& given = Given::getInstance();
    const GatedGuard<GatedMutex> guard(given.mutex);
    if (given.memory.erase(in_pMemory) == 0)
        return false;
    std::free(in_pMemory);
    return true;
}

} // namespace Velmora

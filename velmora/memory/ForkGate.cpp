#include "velmora/memory/ForkGate.h"

#include <array>
#include <atomic>
#include <mutex>

namespace Velmora
{

namespace
{

/// The gate has several doors, so that threads rarely meet at one. Closing it locks them all. They
/// are plain mutexes, which the child may unlock; those with an owner would know it by a thread
/// number that the child does not have.
struct alignas(64) Door
{
    std::mutex mutex;
};

/// Never destroyed: threads allocate until the process is gone.
std::array<Door, 16>& doors()
{
    static auto* const s_pDoors = new std::array<Door, 16>;
    return *s_pDoors;
}

/// How many passes the calling thread holds; the door is locked with the first.
constinit thread_local unsigned s_uiPasses = 0;
constinit thread_local Door* s_pDoor = nullptr;

Door& doorOfThread()
{
    static std::atomic<std::size_t> s_uiNext{0};
    if (s_pDoor == nullptr)
        s_pDoor = &doors()[s_uiNext.fetch_add(1, std::memory_order_relaxed) % doors().size()];
    return *s_pDoor;
}

} // namespace

ForkGate::Pass::Pass()
{
    if (s_uiPasses++ == 0)
        doorOfThread().mutex.lock();
}

ForkGate::Pass::~Pass()
{
    if (--s_uiPasses == 0)
        doorOfThread().mutex.unlock();
}

void ForkGate::close()
{
    for (Door& door : doors())
        door.mutex.lock();
}

void ForkGate::open()
{
    for (Door& door : doors())
        door.mutex.unlock();
}

} // namespace Velmora

#include "velmora/memory/ForkGate.h"

#include <new>
#include <shared_mutex>

namespace Velmora
{

namespace
{

/// Never destroyed: threads allocate until the process is gone.
std::shared_mutex& gate()
{
    alignas(std::shared_mutex) static unsigned char s_storage[sizeof(std::shared_mutex)];
    static std::shared_mutex* const s_pGate = new (s_storage) std::shared_mutex;
    return *s_pGate;
}

/// How many passes the calling thread holds; the gate is passed with the first.
constinit thread_local unsigned s_uiPasses = 0;

} // namespace

ForkGate::Pass::Pass()
{
    if (s_uiPasses++ == 0)
        gate().lock_shared();
}

ForkGate::Pass::~Pass()
{
    if (--s_uiPasses == 0)
        gate().unlock_shared();
}

void ForkGate::close() { gate().lock(); }

void ForkGate::openInParent() { gate().unlock(); }

void ForkGate::openInChild()
{
    // The lock remembers its owner by a thread number that the child does not have.
    new (&gate()) std::shared_mutex;
}

} // namespace Velmora

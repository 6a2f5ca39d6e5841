#include "velmora/alarm/AggregateSystemOverloadAlarm.h"

#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/application/Singleton.h"

#include <ace/Object_Manager.h>

#include <atomic>

namespace Velmora
{

namespace
{

/// The one that sources join, while it is there.
std::atomic<AggregateSystemOverloadAlarm*> s_pOfProcess{nullptr};

AggregateSystemOverloadAlarm* makeForProcess(AlarmRegistry& inout_registry)
{
    auto* pAlarm = new AggregateSystemOverloadAlarm;
    if (inout_registry.addAlarm(pAlarm, false).isNull())
    {
        // The registry has refused and deleted it.
        pAlarm = new AggregateSystemOverloadAlarm;
        ACE_Object_Manager::at_exit(pAlarm, &deleteCleanupFunc<AggregateSystemOverloadAlarm>,
                                    nullptr, "AggregateSystemOverloadAlarm");
    }
    s_pOfProcess.store(pAlarm, std::memory_order_release);
    return pAlarm;
}

} // namespace

AggregateSystemOverloadAlarm::AggregateSystemOverloadAlarm()
    : AlarmImpl(ERROR_SEVERITY), AggregateAlarmImpl(WARN_SEVERITY)
{
}

AggregateSystemOverloadAlarm::~AggregateSystemOverloadAlarm()
{
    AggregateSystemOverloadAlarm* pThis = this;
    s_pOfProcess.compare_exchange_strong(pThis, nullptr);
}

AggregateSystemOverloadAlarm* AggregateSystemOverloadAlarm::sGetRegistryInstance()
{
    if (!sIsThere())
        if (AlarmRegistryImpl* const pRegistry = AlarmRegistryImpl::ifAlive())
        {
            // Before the guard of the static, as a source behind a handle has the mutex already.
            const AlarmRegistryImpl::Lock lock(*pRegistry);
            [[maybe_unused]] static const AggregateSystemOverloadAlarm* const s_pMade =
                makeForProcess(*pRegistry);
        }
    return s_pOfProcess.load(std::memory_order_acquire);
}

bool AggregateSystemOverloadAlarm::sIsThere()
{
    return s_pOfProcess.load(std::memory_order_acquire) != nullptr;
}

} // namespace Velmora

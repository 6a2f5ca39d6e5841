// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AggregateSystemOverloadAlarm.h"

#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/application/Singleton.h"

#include <ace/Object_Manager.h>

#include <atomic>

namespace Velmora
{

namespace
{

/// The alarm that sources join. Null before it is made and after it is deleted.
std::atomic<AggregateSystemOverloadAlarm*> s_pOfProcess{nullptr};

AggregateSystemOverloadAlarm* makeForProcess(AlarmRegistry& inout_registry)
{
    auto* pAlarm = new AggregateSystemOverloadAlarm;
    if (inout_registry.addAlarm(pAlarm, false).isNull())
    {
        // The id is taken by another alarm, so the registry has deleted this one. Sources still
        // need an alarm to join. The exit list deletes the new one.
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
            // The mutex is taken before the compiler's guard of the static. A source that is set
            // through its handle already holds the mutex here; the other order could deadlock with
            // it. As a static, the alarm is made once only, even after `clear`.
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

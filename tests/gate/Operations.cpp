// SPDX-License-Identifier: BSD-2-Clause

#include "Operations.h"

#include "velmora/application/Object.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/system/OS.h"

#include "tests/support/Alarms.h"
#include "tests/support/ConfigurationText.h"

#include <ace/Log_Msg.h>

namespace Velmora::Test
{

namespace
{

class SharedThing : public virtual Object
{
};

constexpr const char* s_szAlarm = "alarm of the operations";
constexpr const char* s_szShared = "thing of the operations";

} // namespace

void Operations::prepare()
{
    AlarmRegistry::getInstance().addAlarm(new NamedAlarm<>(s_szAlarm), false);
    RegistrationSingleton::registerInstance(s_szShared, TSHandle<Object>(new SharedThing));
    RWGlobalConfig::getInstance()->addDefaults(false);
    useSingletons();
}

LimitedObjPtr<Alarm> Operations::alarm()
{
    return AlarmRegistry::getInstance().getAlarm(s_szAlarm);
}

void Operations::logThroughACE() { ACE_ERROR((LM_ERROR, "line of ACE")); }

void Operations::allocate()
{
    // More than the magazines of a thread hold, so that the lock of the size class is taken.
    constexpr std::size_t uiChunks = 1100;
    constexpr std::size_t uiSize = 24;
    std::array<void*, uiChunks> chunks{};
    for (void*& pChunk : chunks)
        pChunk = DefaultStaticMemAllocator::allocate(uiSize, "test");
    for (void* const pChunk : chunks)
        DefaultStaticMemAllocator::deallocate(pChunk, uiSize, "test");
    void* const pMemory = StaticPerThreadMemAllocator::allocate(uiSize, "test");
    StaticPerThreadMemAllocator::deallocate(pMemory, uiSize, "test");
}

void Operations::readConfiguration()
{
    std::string strValue;
    GlobalConfig::getInstance()->getStringParameter("keswardin.run.mode", strValue);
    ParameterTrie logging;
    GlobalConfig::getInstance()->convertTo(logging, "keswardin.infra");
}

void Operations::setConfiguration()
{
    RWGlobalConfig::getInstance()->setStringParameter("keswardin.run.mode", "development");
}

void Operations::loadConfiguration()
{
    // The load warns of the misspelt name.
    loadGlobal("keswardin.run.mode=production\nkeswardin.run.moed=1\n");
}

void Operations::useCall()
{
    CallLogger logger("keswardin.test.Operations.call");
    logger.callStart("call of the operations");
    VELMORA_LOG(logger, WARN_LOG_LEVEL, "line of a call");
    logger.callEnd();
}

void Operations::setAlarm()
{
    const LimitedObjPtr<Alarm> pAlarm = alarm();
    pAlarm->setState(Alarm::ALARM_ON);
    pAlarm->setState(Alarm::ALARM_OFF);
}

void Operations::shareObject()
{
    const TSHandle<RWGlobalConfig> first = RWGlobalConfig::getInstance();
    const TSHandle<RWGlobalConfig> second = first;
    static_cast<void>(TSHandle<Object>(new SharedThing));
}

void Operations::useSingletons()
{
    static_cast<void>(OnDemandSingleton<MadeOnDemand>::getInstance());
    static_cast<void>(RegistrationSingleton::getInstances(s_szShared));
    static_cast<void>(SingletonRegistry::getInstance()->find("nothing of this name"));
}

void Operations::runCommand()
{
    std::string strCommand = "true";
    OS::executeCommand(strCommand);
}

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

// A module that uses the library which it is linked with. Two modules are built from this file,
// each with its own copy of the library.

#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <log4cplus/nullappender.h>

#include <ostream>
#include <string>
#include <vector>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.CopyUser")

namespace
{

constexpr const char* s_szCallLogger = "keswardin.test.CopyUser.call";

/// Never released: the exit list ends the call.
Velmora::CallDataRegistry::CallDataHandle* s_phCall = nullptr;

void wantFilesOfCallsIn(const char* in_szDirectory)
{
    Velmora::ParameterTrie configuration;
    configuration.setStringParameter("log4cplus.appender.CALL_LOG_APPENDER.Directory",
                                     in_szDirectory);
    Velmora::CallDataRegistry::getInstance()->configure(configuration);
    log4cplus::SharedAppenderPtr pMark(new log4cplus::NullAppender);
    pMark->setName("CALL_LOG_APPENDER");
    Velmora::Logger(s_szCallLogger).addAppender(pMark);
}

/// An alarm that holds memory from this copy of the library.
class CopyAlarm : public Velmora::AggregateAlarmImpl
{
  public:
    explicit CopyAlarm(const char* in_szId) : m_szId(in_szId) {}
    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << m_szId;
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override { return out_stream; }

  private:
    const char* m_szId;
};

/// Registers two alarms and leaves them in the registry, which has those of the other copy, too.
void haveAlarms(const char* in_szId)
{
    Velmora::AlarmRegistry& registry = Velmora::AlarmRegistry::getInstance();
    auto* const pWatching = new CopyAlarm(in_szId);
    auto* const pWatched = new CopyAlarm("watched");
    pWatching->addAlarm(*pWatched);
    registry.addAlarm(pWatching, false)->set();
    registry.addAlarm(pWatched, true);
    std::vector<Velmora::LimitedObjPtr<Velmora::Alarm>> alarms;
    registry.getAllAlarms(alarms);
    VELMORA_FILE_LOG_WARN("alarms: " << alarms.size());
}

bool registerParameter(const std::string& in_strName)
{
    const std::vector<Velmora::ProgramParameter> parameters{
        {.szName = in_strName.c_str(),
         .type = Velmora::ParameterValue::STRING_TYPE,
         .szDefault = "a default that is longer than what a text holds in place"}};
    return Velmora::ParameterInfoDB::registerParameters(parameters);
}

} // namespace

/// Logs, allocates, registers a parameter, and leaves alarms and a call with an open file.
extern "C" [[gnu::visibility("default")]] void useLibrary(const char* in_szDirectory,
                                                          const char* in_szCallId)
{
    VELMORA_FILE_LOG_WARN("used");
    void* const pMemory = Velmora::DefaultStaticMemAllocator::allocate(40, "test");
    Velmora::DefaultStaticMemAllocator::deallocate(pMemory, 40, "test");
    haveAlarms(in_szCallId);
    registerParameter(std::string("copy.") + in_szCallId);
    wantFilesOfCallsIn(in_szDirectory);
    s_phCall = new Velmora::CallDataRegistry::CallDataHandle(
        Velmora::CallDataRegistry::getInstance()->getCallData(in_szCallId));
    Velmora::CallLogger logger(s_szCallLogger);
    logger.callStart(in_szCallId);
    VELMORA_LOG(logger, Velmora::WARN_LOG_LEVEL, "in a call");
    logger.callStart("ending");
}

/// Logs the registered parameters, with a note where this copy has no default for one, and whether
/// more can be registered.
extern "C" [[gnu::visibility("default")]] void logParameters()
{
    const Velmora::ParameterInfoDB& table = Velmora::ParameterInfoDB::getInstance();
    Velmora::GlobalConfig::getInstance()->addDefaults(false);
    std::vector<Velmora::ParameterInfoWithName> infos;
    table.retrieve("^copy", infos);
    // The second call replaces a result that contains rows of the other copy.
    table.retrieve("^copy", infos);
    std::string strNames;
    for (const Velmora::ParameterInfoWithName& info : infos)
    {
        std::string strValue;
        Velmora::GlobalConfig::getInstance()->getStringParameter(info.m_strName.c_str(), strValue);
        strNames += ' ' + info.m_strName + (strValue.empty() ? " without" : "");
    }
    const bool bMore = registerParameter("copy.late");
    VELMORA_FILE_LOG_WARN("parameters:" << strNames << ", more " << bMore);
}

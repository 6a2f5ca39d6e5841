// SPDX-License-Identifier: BSD-2-Clause

// Ends with alarms in the registry, one of which logs in its destructor and uses the registry
// there. With "close", the program runs the exit list itself. Then, in a static destructor, it
// changes a source of overload after the system's alarm has been deleted with the registry.
//
// leaves-alarms [close]

#include "tests/support/NamedAlarm.h"
#include "velmora/alarm/AggregateSystemOverloadAlarm.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/SystemOverloadAlarmImpl.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Object_Manager.h>

#include <iostream>
#include <string>

using namespace Velmora;

namespace
{

/// Logs its destruction, through a logger of its own and through that of the alarms.
class Leaving : public Test::NamedAlarm<>
{
  public:
    using NamedAlarm::NamedAlarm;
    ~Leaving() override
    {
        VELMORA_LOG(m_logger, WARN_LOG_LEVEL, "destructor of " << *this);
        reset();
        set();
        std::cout << "alarms left: "
                  << (AlarmRegistry::getInstance().getAlarm("leaving").isNull() ? 0 : 1)
                  << std::endl;
    }

  private:
    Logger m_logger{"keswardin.test.alarm"};
};

class Source : public SystemOverloadAlarmImpl
{
  public:
    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << "source";
    }
    ~Source() override
    {
        std::cout << "aggregate is there: " << AggregateSystemOverloadAlarm::sIsThere()
                  << std::endl;
        reset();
        set();
        std::cout << "state: " << getState() << std::endl;
    }
};

} // namespace

int main(int argc, char**)
{
    // Made before the statics that the library makes on first use, so that it is destroyed after
    // them.
    static Source s_source;
    Logger().setLogLevel(WARN_LOG_LEVEL);
    log4cplus::Logger::getRoot().setLogLevel(WARN_LOG_LEVEL);
    AlarmRegistry::getInstance().addAlarm(new Leaving("leaving"), false)->set();
    s_source.set();
    if (argc > 1)
        ACE_Object_Manager::instance()->fini();
    return 0;
}

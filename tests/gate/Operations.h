#pragma once

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/application/Handle.h"
#include "velmora/application/OnDemandSingleton.h"
#include "velmora/application/RegistrationSingleton.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticPerThreadMemAllocator.h"
#include "velmora/system/UUID.h"

#include <array>
#include <cstddef>
#include <functional>
#include <sstream>
#include <string>

namespace Velmora::Test
{

/// Made when it is first asked for, which takes the mutex of all such objects.
class MadeOnDemand
{
  public:
    static constexpr const char* s_szSingletonName = "MadeOnDemand::Singleton";
};

/// What a program does with the library, one thing a function: as code of an appender, an observer
/// or a destructor does it.
class Operations
{
  public:
    struct Operation
    {
        const char* szName;
        std::function<void()> work;
    };

    static const std::array<Operation, 10>& all()
    {
        static const std::array<Operation, 10> s_all = {
            {{"logs", &log},
             {"allocates", &allocate},
             {"readsConfiguration", &readConfiguration},
             {"setsConfiguration", &setConfiguration},
             {"loadsConfiguration", &loadConfiguration},
             {"usesCall", &useCall},
             {"setsAlarm", &setAlarm},
             {"sharesObject", &shareObject},
             {"usesSingletons", &useSingletons},
             {"makesUuid", [] { static_cast<void>(UUID()); }}}};
        return s_all;
    }

    /// Once, before threads do all that.
    static void prepare();

    /// The alarm that `setAlarm` changes.
    static LimitedObjPtr<Alarm> alarm();

    static void log() { VELMORA_LOG(Logger("keswardin.test.Operations"), WARN_LOG_LEVEL, "line"); }
    static void allocate();
    static void readConfiguration();
    static void setConfiguration();
    static void loadConfiguration();
    static void useCall();
    static void setAlarm();
    static void shareObject();
    static void useSingletons();

    /// Not among all: the child of a fork may find ACE's own lock taken.
    static void logThroughACE();
    /// Not among all: it takes long, and others wait for a thread that is inside.
    static void runCommand();
};

} // namespace Velmora::Test

// SPDX-License-Identifier: BSD-2-Clause

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
#include <string>

namespace Velmora::Test
{

/// An on-demand singleton. The first request makes it, under the mutex of all on-demand singletons.
class MadeOnDemand
{
  public:
    static constexpr const char* s_szSingletonName = "MadeOnDemand::Singleton";
};

/// The operations of the library that a program uses, one in each function. The tests run them in
/// appenders, observers and destructors.
///
/// Thread-safety: all functions except `prepare` may be called on any thread.
class Operations
{
  public:
    struct Operation
    {
        const char* szName;
        std::function<void()> work;
    };

    /// Returns the operations that a child of a fork may run too.
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

    /// Makes the objects that the operations use. Must be called once, before the first operation.
    static void prepare();

    /// Returns the alarm that `setAlarm` switches on and off.
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

    /// Not in `all`: the child of a fork may find ACE's own lock taken.
    static void logThroughACE();
    /// Not in `all`: it takes long, and a fork waits for threads that are inside the gate.
    static void runCommand();
};

} // namespace Velmora::Test

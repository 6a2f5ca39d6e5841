// SPDX-License-Identifier: BSD-2-Clause

// Forks in an observer of an alarm, with the registry's mutex locked twice. The child continues in
// the observer, changes another alarm, returns from the observer, and has another thread use the
// registry. The parent then does the same. Both end through exit(). The child's output comes first.

#include "tests/support/ForkedChild.h"
#include "tests/support/NamedAlarm.h"
#include "velmora/alarm/AlarmRegistryImpl.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

using namespace Velmora;

class Velmora::Test::AlarmRegistryPeer
{
  public:
    /// Returns whether this thread can lock the mutex, which no other thread then holds.
    static bool isFree()
    {
        ACE_Recursive_Thread_Mutex& mutex = AlarmRegistryImpl::getInstance()->m_mutex;
        const bool bFree = mutex.tryacquire() == 0;
        if (bFree)
            mutex.release();
        return bFree;
    }
};

namespace
{

const char* s_szProcess = "parent";

AlarmRegistry& registry() { return AlarmRegistry::getInstance(); }

void lookAtMutexOnAnotherThread(const char* in_szWhere)
{
    std::thread(
        [in_szWhere]
        {
            std::printf("%s: mutex %s is free %d\n", s_szProcess, in_szWhere,
                        Test::AlarmRegistryPeer::isFree() ? 1 : 0);
        })
        .join();
}

class Forking : public Alarm::Observer
{
  public:
    void newAlarmState(const Alarm&, Alarm::State in_state) override
    {
        if (in_state != Alarm::ALARM_ON)
            return;
        const pid_t pid = Test::forkChild();
        if (pid == 0)
            s_szProcess = "child";
        else
            std::printf("child ended with status %d\n", Test::waitForChild(pid));
        registry().setAlarm("other");
        lookAtMutexOnAnotherThread("in the observer");
    }
};

/// Sets the alarm "forking" when the alarm "first" goes on. The mutex is then locked twice when the
/// observer of "forking" forks.
class Relay : public AlarmRegistry::Observer
{
  public:
    void newAlarmState(const Alarm& in_alarm) override
    {
        std::string strId;
        in_alarm.getAlarmId(strId);
        if (strId == "first" && in_alarm.getState() == Alarm::ALARM_ON)
        {
            registry().setAlarm("forking");
            lookAtMutexOnAnotherThread("between");
        }
    }
};

void useOnAnotherThread()
{
    std::thread(
        []
        {
            const bool bOther = registry().getAlarm("other")->getState() == Alarm::ALARM_ON;
            registry().resetAlarm("other");
            std::printf("%s: other alarm was on %d, is on %d\n", s_szProcess, bOther ? 1 : 0,
                        registry().getAlarm("other")->getState() == Alarm::ALARM_ON ? 1 : 0);
        })
        .join();
}

} // namespace

int main()
{
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    Forking forking;
    Relay relay;
    for (const char* const szId : {"first", "forking", "other"})
        registry().addAlarm(new Test::NamedAlarm<>(szId), false);
    registry().getAlarm("forking")->addObserver(&forking);
    registry().addObserver(&relay);
    registry().setAlarm("first");
    lookAtMutexOnAnotherThread("behind");
    useOnAnotherThread();
    registry().removeObserver(&relay);
    registry().clear();
    std::exit(0);
}

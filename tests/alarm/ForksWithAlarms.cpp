// Forks again and again while other threads set and reset alarms behind handles; each child uses
// the registry and these alarms, on two threads, and ends through exit().
//
// forks-with-alarms <number of forks>

#include "tests/alarm/ProcessAlarm.h"

#include "velmora/Sanitizers.h"
#include "velmora/alarm/AlarmRegistry.h"

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <thread>
#include <vector>

using namespace Velmora;

namespace
{

constexpr int s_iThreads = 2;

bool s_bIsChild = false;

/// Counts the changes, so that there is something to do under the mutex.
class Counter : public AlarmRegistry::Observer
{
  public:
    void newAlarmState(const Alarm&) override { ++m_iChanges; }

    int m_iChanges = 0;
};

void change(Alarm& inout_alarm)
{
    inout_alarm.set();
    inout_alarm.reset();
}

void useRegistryInChild(const std::vector<LimitedObjPtr<Alarm>>& in_alarms)
{
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    for (const LimitedObjPtr<Alarm>& pAlarm : in_alarms)
        change(*pAlarm);
    registry.addAlarm(new ProcessAlarm("of the child"), false)->set();
#if VELMORA_THREAD_SANITIZER
    // It knows no threads of a child whose parent has several.
    registry.resetAlarm("of the child");
#else
    std::thread([&registry] { registry.resetAlarm("of the child"); }).join();
#endif
    if (registry.getAlarm("of the child")->getState() != Alarm::ALARM_OFF)
        std::_Exit(3);
}

} // namespace

/// LeakSanitizer asks this. A child takes over what the stacks of its parent's threads pointed to,
/// and not the threads, so that all of it looks leaked.
extern "C" [[gnu::visibility("default")]] int __lsan_is_turned_off() { return s_bIsChild ? 1 : 0; }

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    // No line is wanted, and none is built, which would allocate: the malloc of AddressSanitizer
    // does not survive a fork in the middle of a call.
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    Counter counter;
    registry.addObserver(&counter);
    std::vector<LimitedObjPtr<Alarm>> alarms;
    for (int iAlarm = 0; iAlarm < s_iThreads; ++iAlarm)
        alarms.push_back(
            registry.addAlarm(new ProcessAlarm("alarm" + std::to_string(iAlarm)), false));

    std::atomic<bool> bStop{false};
    std::latch warm(s_iThreads);
    std::vector<std::thread> threads;
    for (const LimitedObjPtr<Alarm>& pAlarm : alarms)
        threads.emplace_back(
            [&bStop, &warm, pAlarm]
            {
                change(*pAlarm);
                warm.count_down();
                while (!bStop)
                    change(*pAlarm);
            });
    warm.wait();

    int iStatus = 0;
    for (int iFork = 0; iFork < std::atoi(argv[1]) && iStatus == 0; ++iFork)
    {
        const pid_t pid = fork();
        if (pid == 0)
        {
            alarm(20);
            s_bIsChild = true;
            useRegistryInChild(alarms);
            std::exit(0);
        }
        waitpid(pid, &iStatus, 0);
    }
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
    registry.removeObserver(&counter);
    std::printf("last child ended with status %d, each observed: %d\n", iStatus,
                counter.m_iChanges % 2 == 0 ? 1 : 0);
    return 0;
}

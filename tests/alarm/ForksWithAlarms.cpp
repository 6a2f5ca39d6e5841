// SPDX-License-Identifier: BSD-2-Clause

// Forks repeatedly while other threads set and reset alarms through handles. Each child uses the
// registry and these alarms, on two threads, and ends through exit().
//
// forks-with-alarms <number of forks>

#include "tests/support/ForkedChild.h"
#include "tests/support/NamedAlarm.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "tests/support/Threads.h"
#include "velmora/Sanitizers.h"
#include "velmora/alarm/AlarmRegistry.h"

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

using namespace Velmora;

namespace
{

constexpr int s_iThreads = 2;

/// Counts the changes, so that the threads spend some time under the mutex.
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
    registry.addAlarm(new Test::NamedAlarm<>("of the child"), false)->set();
#if VELMORA_THREAD_SANITIZER
    // ThreadSanitizer does not support threads in the child of a parent that has several.
    registry.resetAlarm("of the child");
#else
    std::thread([&registry] { registry.resetAlarm("of the child"); }).join();
#endif
    if (registry.getAlarm("of the child")->getState() != Alarm::ALARM_OFF)
        std::_Exit(3);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    // Without a log no line is built, so the threads do not allocate. A child may hang in malloc
    // of AddressSanitizer if the fork happens while another thread is inside that function.
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    Counter counter;
    registry.addObserver(&counter);
    const std::vector<LimitedObjPtr<Alarm>> alarms = Test::addNumberedAlarms("alarm", s_iThreads);

    Test::RepeatingThreads threads(s_iThreads, [&alarms](std::size_t in_uiThread)
                                   { change(*alarms[in_uiThread]); });

    int iCode = 0;
    for (int iFork = 0; iFork < std::atoi(argv[1]) && iCode == 0; ++iFork)
        iCode = Test::exitCodeOfChild(
            [&]
            {
                useRegistryInChild(alarms);
                std::exit(0);
            });
    threads.stop();
    registry.removeObserver(&counter);
    std::printf("last child ended with status %d, each observed: %d\n", iCode,
                counter.m_iChanges % 2 == 0 ? 1 : 0);
    return 0;
}

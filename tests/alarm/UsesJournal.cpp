// SPDX-License-Identifier: BSD-2-Clause

// Ends with a journal and with an alarm that is on.
//
// uses-journal static       the journal is a static object of the program
// uses-journal close        the same; the program runs the exit list before, which ends the
// registry uses-journal leave        the journal is never destroyed uses-journal late         the
// journal is made after the exit list has run uses-journal fork <n>     forks n times while other
// threads change alarms; each child uses the
//                           journal and ends through exit()

#include "tests/support/ForkedChild.h"
#include "tests/support/NamedAlarm.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "tests/support/Threads.h"
#include "velmora/alarm/AlarmJournal.h"
#include "velmora/alarm/AlarmRegistry.h"

#include <ace/Object_Manager.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

using namespace Velmora;

namespace
{

LimitedObjPtr<Alarm> add(const std::string& in_strId)
{
    return AlarmRegistry::getInstance().addAlarm(new Test::NamedAlarm<>(in_strId), false);
}

void print(const char* in_szWhen, AlarmJournal& inout_journal)
{
    inout_journal.poll();
    std::cout << in_szWhen << " : " << inout_journal.activeAlarms().size() << " of "
              << inout_journal.alarms().size() << " on" << std::endl;
}

/// Has a journal, which it prints when it is destroyed.
struct Owner
{
    Owner() = default;
    ~Owner() { print("end", journal); }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    AlarmJournal journal;
};

void useInChild(AlarmJournal& inout_journal)
{
    const LimitedObjPtr<Alarm> pAlarm = add("of the child");
    pAlarm->set();
    inout_journal.poll();
    const std::vector<AlarmJournal::Change> history = inout_journal.history("of the child");
    if (history.size() != 1 || inout_journal.content().alarms.size() != 3)
        std::_Exit(3);
}

int forkRepeatedly(int in_iForks)
{
    // Without a log the threads do not allocate. A child may hang in malloc of AddressSanitizer if
    // the fork happens while another thread is inside that function.
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    const std::vector<LimitedObjPtr<Alarm>> alarms = Test::addNumberedAlarms("alarm", 2);
    AlarmJournal journal;
    Test::RepeatingThreads threads(2,
                                   [&alarms](std::size_t in_uiThread)
                                   {
                                       alarms[in_uiThread]->set();
                                       alarms[in_uiThread]->reset();
                                   });
    int iCode = 0;
    for (int iFork = 0; iFork < in_iForks && iCode == 0; ++iFork)
        iCode = Test::exitCodeOfChild(
            [&]
            {
                useInChild(journal);
                std::exit(0);
            });
    threads.stop();
    std::cout << "last child ended with status " << iCode << std::endl;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    const std::string strMode = argv[1];
    if (strMode == "fork")
        return argc == 3 ? forkRepeatedly(std::atoi(argv[2])) : 2;
    log4cplus::Logger::getRoot().setLogLevel(WARN_LOG_LEVEL);
    if (strMode == "late")
    {
        ACE_Object_Manager::instance()->fini();
        static Owner s_owner;
        return 0;
    }
    if (strMode == "leave")
    {
        static AlarmJournal& s_journal = *new AlarmJournal;
        add("a")->set();
        print("main", s_journal);
        return 0;
    }
    static Owner s_owner;
    add("a")->set();
    print("main", s_owner.journal);
    if (strMode == "close")
        ACE_Object_Manager::instance()->fini();
    return 0;
}
